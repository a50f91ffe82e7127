#include "settings.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string_view>

#include "ampl_library.h"

namespace qzlpAmpl {

namespace {

std::string lowered(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// The word at the beginning of the text.
std::string firstWord(const char* text) {
  const std::string_view all(text);
  return std::string(all.substr(0, all.find_first_of(" \t\r\n")));
}

}  // namespace

Settings::Settings() : banner_(std::string("qzlp ") + qzlp_version()), version_(banner_) {
  for (int k = 0; k < qzlp_optionCount(); ++k) {
    const qzlp_option* option = qzlp_optionAt(k);
    addKeyword(lowered(option->name), option->description, {option});
  }
  addKeyword("tol", "tolPrimal, tolDual and tolOptimality at once",
             {qzlp_findOption("tolPrimal"), qzlp_findOption("tolDual"), qzlp_findOption("tolOptimality")});
  addKeyword("objno", "the objective: 1 the first one (the default), 2 the second, ...; 0 none", {});
  addKeyword("wantsol", "without -AMPL: 1 write the .sol file, 2 print the variables, 4 the duals, 8 no message", {});
  sortKeywords();
  info.sname = solver_.data();
  info.bsname = banner_.data();
  info.opname = variable_.data();
  info.version = version_.data();
  info.keywds = keywords_.data();
  info.n_keywds = static_cast<int>(keywords_.size());
  info.uinfo = reinterpret_cast<char*>(this);
}

qzlpApp::OptionValues Settings::values() const {
  qzlpApp::OptionValues all = common_;
  all.insert(all.end(), single_.begin(), single_.end());
  return all;
}

void Settings::addKeyword(const std::string& name, const std::string& description,
                          std::vector<const qzlp_option*> options) {
  known_.push_back({name, description, std::move(options)});
  Keyword& own = known_.back();
  keyword word{own.name.data(), setOption, &own, own.description.data()};
  if (name == "objno") word = {own.name.data(), I_val, &objective_, own.description.data()};
  if (name == "wantsol") word = {own.name.data(), WS_val, nullptr, own.description.data()};
  keywords_.push_back(word);
}

// The library searches them by halves.
void Settings::sortKeywords() {
  std::sort(keywords_.begin(), keywords_.end(),
            [](const keyword& a, const keyword& b) { return std::string_view(a.name) < std::string_view(b.name); });
}

char* Settings::setOption(Option_Info* info, keyword* word, char* value) {
  auto* settings = reinterpret_cast<Settings*>(info->uinfo);
  const auto* own = static_cast<const Keyword*>(word->info);
  const std::string text = firstWord(value);
  try {
    auto& place = own->options.size() > 1 ? settings->common_ : settings->single_;
    for (const qzlp_option* option : own->options) place.emplace_back(option->name, qzlpApp::valueOf(*option, text));
  } catch (const qzlpApp::OptionError& error) {
    std::fprintf(stderr, "%s: %s\n", word->name, error.what());
    badopt_ASL(info);
  }
  return value + text.size();
}

}  // namespace qzlpAmpl

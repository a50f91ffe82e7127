#include "options.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>

#include "text.h"

namespace qzlpApp {

namespace {

struct Vocabulary {
  const char* option;
  std::vector<std::string> words;
};

// "1e-6" rather than "1e-06".
std::string shortNumber(double value) {
  std::array<char, 40> buffer;
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  std::string text(buffer.data(), result.ptr);
  const size_t zero = text.find("e-0");
  if (zero != std::string::npos) text.erase(zero + 2, 1);
  return text;
}

bool readWhole(const std::string& text, double& value) {
  const size_t sign = !text.empty() && text[0] == '+' ? 1 : 0;
  const char* last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data() + sign, last, value);
  return error == std::errc() && end == last && !std::isnan(value);
}

std::string trimmed(const std::string& text) {
  const char* const blanks = " \t\r";
  const size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

const qzlp_option* findOption(const std::string& name) {
  for (int i = 0; i < qzlp_optionCount(); ++i) {
    const qzlp_option* option = qzlp_optionAt(i);
    if (name == option->name || name == flagName(option->name)) return option;
  }
  return nullptr;
}

const std::array<const char*, 3> tolerances{"tolPrimal", "tolDual", "tolOptimality"};

void addSetting(const std::string& name, const std::string& text, OptionValues& common, OptionValues& single) {
  if (name == "tol") {
    for (const char* one : tolerances) common.emplace_back(one, valueOf(*findOption(one), text));
    return;
  }
  const qzlp_option* option = findOption(name);
  if (option == nullptr) throw OptionError("there is no option '" + name + "'");
  single.emplace_back(option->name, valueOf(*option, text));
}

}  // namespace

std::string flagName(const std::string& optionName) {
  std::string name;
  for (const char c : optionName) {
    if (std::isupper(static_cast<unsigned char>(c)) != 0) name += '-';
    name += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return name;
}

const std::vector<std::string>& wordsOf(const qzlp_option& option) {
  static const std::vector<std::string> none;
  static const std::array<Vocabulary, 2> vocabularies{
      {{"method", {"augmented", "normal"}}, {"scaling", {"standard", "row"}}}};
  for (const Vocabulary& one : vocabularies)
    if (std::strcmp(one.option, option.name) == 0) return one.words;
  return none;
}

double valueOf(const qzlp_option& option, const std::string& text) {
  const std::vector<std::string>& words = wordsOf(option);
  for (size_t i = 0; i < words.size(); ++i)
    if (text == words[i]) return static_cast<double>(i);
  double value = 0.0;
  if (!readWhole(text, value)) {
    std::string choice;
    for (const std::string& word : words) choice.append(choice.empty() ? "" : "|").append(word);
    throw OptionError("'" + text + "' is not " + (words.empty() ? "a number" : "one of " + choice));
  }
  if (option.type == QZLP_OPTION_INT && value != std::trunc(value))
    throw OptionError("'" + text + "' is not a whole number");
  if (value < option.minimum || value > option.maximum)
    throw OptionError(
        formatted("'%s' is out of the range %.12g to %.12g", text.c_str(), option.minimum, option.maximum));
  return value;
}

std::string textOf(const qzlp_option& option, double value) {
  const std::vector<std::string>& words = wordsOf(option);
  if (value >= 0.0 && value < static_cast<double>(words.size())) return words[static_cast<size_t>(value)];
  return shortNumber(value);
}

OptionValues parseOptions(const std::string& text) {
  OptionValues common, single;
  std::istringstream lines(text);
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    line = trimmed(line.substr(0, line.find('#')));
    if (line.empty()) continue;
    const size_t equals = line.find('=');
    try {
      if (equals == std::string::npos) throw OptionError("'" + line + "' is not of the form name = value");
      const std::string name = trimmed(line.substr(0, equals));
      addSetting(name, trimmed(line.substr(equals + 1)), common, single);
    } catch (const OptionError& error) {
      throw OptionError(formatted("line %d: %s", number, error.what()));
    }
  }
  common.insert(common.end(), single.begin(), single.end());
  return common;
}

OptionValues readOptionsFile(const std::string& path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  std::string text;
  if (file)
    for (int c = std::fgetc(file.get()); c != EOF; c = std::fgetc(file.get())) text += static_cast<char>(c);
  if (!file || std::ferror(file.get()) != 0) throw OptionError(path + ": " + std::strerror(errno));
  try {
    return parseOptions(text);
  } catch (const OptionError& error) {
    throw OptionError(path + ": " + error.what());
  }
}

std::string optionsFileText(const OptionValues& set) {
  constexpr size_t width = 100;
  std::string text = formatted("# Options of qzlp %s, to be read by qzlp --options FILE.\n", qzlp_version());
  for (int i = 0; i < qzlp_optionCount(); ++i) {
    const qzlp_option& option = *qzlp_optionAt(i);
    double value = option.defaultValue;
    for (const auto& [name, itsValue] : set)
      if (name == option.name) value = itsValue;
    text.append("\n").append(wrapped(option.description, width, "# ")).append("\n");
    text += formatted("# %s to %s, default %s\n", shortNumber(option.minimum).c_str(),
                      shortNumber(option.maximum).c_str(), textOf(option, option.defaultValue).c_str());
    text.append(option.name).append(" = ").append(textOf(option, value)).append("\n");
  }
  return text;
}

std::string wrapped(const std::string& text, size_t width, const std::string& indent) {
  std::istringstream words(text);
  std::string result = indent;
  size_t length = indent.size();
  bool first = true;
  for (std::string word; words >> word; first = false) {
    if (!first && length + 1 + word.size() > width) {
      result.append("\n").append(indent);
      length = indent.size();
      first = true;
    }
    if (!first) result += ' ';
    result += word;
    length += word.size() + (first ? 0 : 1);
  }
  return result;
}

}  // namespace qzlpApp

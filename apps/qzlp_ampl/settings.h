// What the user of a modelling system sets: words "name=value" of the command line and of the environment variable
// qzlp_options. Names are those of the library, in either case; `tol` is the three tolerances at once.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "qzlp.h"
#include "qzlp/options.h"

#include "ampl_library.h"

namespace qzlpAmpl {

class Settings {
 public:
  Settings();
  Settings(const Settings&) = delete;  // the keywords point into it
  Settings& operator=(const Settings&) = delete;

  // What getstub, getopts and write_sol of the AMPL library take.
  Option_Info info{};

  int objective() const { return objective_; }  // from 1; 0 for none
  // Names of the library with values, in the order to set them.
  qzlpApp::OptionValues values() const;

 private:
  struct Keyword {
    std::string name;  // in lower case, as the library looks it up
    std::string description;
    std::vector<const qzlp_option*> options;  // that it sets
  };

  void addKeyword(const std::string& name, const std::string& description, std::vector<const qzlp_option*> options);
  void sortKeywords();
  static char* setOption(Option_Info* info, keyword* word, char* value);

  std::deque<Keyword> known_;
  std::vector<keyword> keywords_;
  qzlpApp::OptionValues common_, single_;  // an option of its own wins over `tol`
  int objective_ = 1;
  std::string solver_ = "qzlp_ampl", banner_, variable_ = "qzlp_options", version_;
};

}  // namespace qzlpAmpl

// What the program says about a solve: the banner, the summary, the JSON object, the solution file.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "arguments.h"
#include "journal.h"
#include "model_files/model_file.h"
#include "qzlp.h"
#include "residuals.h"

namespace qzlpApp {

using qzfiles::ModelFile;

// The answer of a solve as it is reported.
struct Outcome {
  int status = 0;  // never 0: a solve that came back without a status is a failed one
  std::string file;
  double readTime = 0.0;               // seconds
  std::optional<Residuals> residuals;  // when there is a point
  std::vector<std::string> warnings;   // about the model
};

// True when the status leaves a point behind that is worth showing.
bool hasPoint(int status);

// The command with the date and the machine, for the log file alone.
void logCommand(Journal& journal, const Arguments& arguments);

// Version, size and statistics of the model, and the warnings.
void printBanner(Journal& journal, const std::string& file, const ModelFile& model,
                 const std::vector<std::string>& warnings);

void printSummary(Journal& journal, const Outcome& outcome, const qzlp* lp);
void printJson(const Outcome& outcome, const ModelFile& model, const qzlp* lp);

// "column NAME VALUE REDUCED_COST" and "row NAME ACTIVITY DUAL", a line each, 17 significant digits. False when the
// file could not be written to its end.
bool writeSolution(std::FILE* file, const ModelFile& model, const qzlp* lp);

}  // namespace qzlpApp

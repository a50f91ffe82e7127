// A picture of how the measures of the iterations go down, drawn by the program gnuplot.
#pragma once

#include <string>
#include <vector>

#include "qzlp.h"

namespace qzlpApp {

// True when gnuplot can be started.
bool hasPlotter();

// The gnuplot script that draws the iterations on a logarithmic scale into the SVG file `path`, with a line at each of
// the tolerances. A measure of 0 has no place on such a scale and is left out.
std::string plotScript(const std::string& path, const std::string& title, const std::vector<qzlp_progress>& iterations,
                       const std::vector<double>& tolerances);

// Runs the script. False when gnuplot failed.
bool runPlotter(const std::string& script);

}  // namespace qzlpApp

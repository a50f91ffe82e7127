// Text from a format of printf.
#pragma once

#include <string>

namespace qzlpApp {

std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace qzlpApp

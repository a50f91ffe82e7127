// The texts of the messages that the solver sends by code.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qzhost {

// One message. The conversions of the text take the arguments of the code in their order: %d an int32, %e %f %g a
// double.
struct CatalogueEntry {
  uint32_t code;
  int32_t level;  // at which the solver sends it
  std::string_view text;
};

// All entries, in rising order of their codes.
const CatalogueEntry* catalogueBegin();
size_t catalogueSize();

// The entry of a code, or null.
const CatalogueEntry* findMessage(uint32_t code);

// The line of a message. A code that the catalogue lacks gives "Message 0x...".
std::string messageLine(uint32_t code, va_list arguments);

}  // namespace qzhost

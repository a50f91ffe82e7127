// The modules that this library was linked with.
#pragma once

namespace qzhost {

// Makes them known to the loader. May be called any number of times.
void registerBuiltinModules();

}  // namespace qzhost

// The host's module loader: modules that the program was linked with first, then shared objects <name>.so along a path.
//
// A module is loaded once and counted: every load but the first hands out the same module object, and the last unload
// (slot 16 of the module object, which the loader writes) destroys the object and closes the shared object. Shared
// objects are opened with their symbols local, because all modules export the same common names.
#pragma once

#include <cstdint>
#include <string>

#include "qzipsolve/builtin.h"
#include "qzipsolve/host.h"

namespace qzhost {

// Slot 72 of the service table. Null when there is no such module, when it needs another host, or when memory is short;
// loaderError tells which.
QzModule* loadExtension(QzHostTable* table, const wchar_t* name, int64_t length, int64_t zero);

// Why the last load in this thread failed; empty when it did not.
const std::string& loaderError();
void clearLoaderError();

// Adds a module that the program was linked with. The record must stay. A second one of the same name is ignored.
void registerBuiltin(const QzBuiltinModule* module);

// Whether built-in modules are looked at, true at the start.
void useBuiltins(bool use);

// Folders separated by ':'. At the start: the folder of this library and, beside it, ../lib and ../lib/qzipsolve.
void setModulePath(const std::string& path);
std::string modulePath();

// Loads that were not unloaded yet, of all modules together.
int64_t loadedModules();

}  // namespace qzhost

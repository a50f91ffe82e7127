#include "host/loader.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <map>
#include <mutex>
#include <sstream>
#include <vector>

#include "host/faults.h"
#include "host/service_table.h"

namespace qzhost {

namespace {

struct Loaded {
  QzModule* module = nullptr;
  void* library = nullptr;  // of dlopen, null for a built-in module
  int64_t count = 0;
};

struct Registry {
  std::recursive_mutex mutex;  // a module may load another one while its object is made
  std::map<std::string, Loaded> loaded;
  std::map<std::string, const QzBuiltinModule*> builtins;
  bool builtinsInUse = true;
  std::string path;
};

thread_local std::string lastError;

std::string folderOf(const std::string& file) {
  char resolved[4096];
  if (realpath(file.c_str(), resolved) == nullptr) return {};
  const std::string full(resolved);
  return full.substr(0, full.rfind('/'));
}

std::string defaultPath() {
  Dl_info info{};
  std::string folder;
  if (dladdr(reinterpret_cast<void*>(&loadExtension), &info) != 0 && info.dli_fname != nullptr &&
      std::strchr(info.dli_fname, '/') != nullptr)
    folder = folderOf(info.dli_fname);
  if (folder.empty()) folder = folderOf("/proc/self/exe");
  return folder + ":" + folder + "/../lib:" + folder + "/../lib/qzipsolve";
}

Registry& registry() {
  static Registry* instance = [] {
    auto* made = new Registry;  // never destroyed: modules are unloaded until the program ends
    made->path = defaultPath();
    return made;
  }();
  return *instance;
}

// The name as the file system and the linker know it; empty for a null, empty or odd name. Only letters, digits and
// the underscore may stand in one, so a name never leads out of the path.
std::string narrowName(const wchar_t* name, int64_t length) {
  std::string narrow;
  if (name == nullptr) return narrow;
  for (int64_t i = 0; i < length; ++i) {
    const wchar_t c = name[i];
    const bool good = (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || (c >= L'0' && c <= L'9') || c == L'_';
    if (!good) return {};
    narrow.push_back(static_cast<char>(c));
  }
  return narrow;
}

// The host speaks version 5.1 of the service table.
constexpr int32_t kHostMajor = 5;
constexpr int32_t kHostMinor = 1;

bool speaksOurVersion(QzModule* module, const std::string& name) {
  int32_t major = 0;
  int32_t minor = 0;
  int32_t fix = 0;
  if (module->getReqVersion(module, &major, &minor, &fix) != 0 || major != kHostMajor || minor > kHostMinor) {
    lastError =
        "module " + name + " needs version " + std::to_string(major) + "." + std::to_string(minor) + " of the host";
    return false;
  }
  return true;
}

// Takes the module object of either origin. False when there is none that can be used.
bool takeModule(QzModule* module, const std::string& name, Loaded& out) {
  if (module == nullptr) {
    lastError = "module " + name + ": its object could not be made";
    return false;
  }
  if (std::memcmp(module->tag, "nevo", sizeof(module->tag)) != 0) {
    lastError = "module " + name + ": its object does not carry the mark of a module";
    return false;  // what it is we do not know, so nothing in it is called
  }
  if (!speaksOurVersion(module, name)) {
    module->realDestroy(module);
    return false;
  }
  out.module = module;
  return true;
}

bool loadBuiltin(const QzBuiltinModule* builtin, const std::string& name, Loaded& out) {
  if (builtin->extent(hostTable()) != 0) {
    lastError = "module " + name + " refused the host";
    return false;
  }
  return takeModule(builtin->make(nullptr, nullptr), name, out);
}

template <class Function>
Function symbol(void* library, const char* name) {
  return reinterpret_cast<Function>(dlsym(library, name));
}

bool bindLibrary(void* library, const std::string& name, Loaded& out) {
  using ExtentVersion = int32_t (*)(QzHostTable*, int32_t*, int32_t*);
  using Extent = int32_t (*)(QzHostTable*);
  using Make = QzModule* (*)(void*, QzPool*);
  const auto extentVersion = symbol<ExtentVersion>(library, "qzextver");
  const auto extent = symbol<Extent>(library, "qzextent");
  const auto make = symbol<Make>(library, name.c_str());
  if ((extentVersion == nullptr && extent == nullptr) || make == nullptr) {
    lastError = "module " + name + ": the shared object lacks its entries";
    return false;
  }
  int32_t major = 0;
  int32_t minor = 0;
  const int32_t rc = extentVersion != nullptr ? extentVersion(hostTable(), &major, &minor) : extent(hostTable());
  if (rc != 0 || (extentVersion != nullptr && major != kHostMajor)) {
    lastError = "module " + name + " refused the host";
    return false;
  }
  return takeModule(make(nullptr, nullptr), name, out);
}

bool loadShared(const std::string& path, const std::string& name, Loaded& out) {
  std::string reason;
  std::stringstream folders(path);
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (folder.empty()) continue;
    const std::string file = folder.append("/").append(name).append(".so");
    void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
      const char* text = dlerror();
      reason.append(reason.empty() ? "" : "; ").append(text != nullptr ? text : file.c_str());
      continue;
    }
    if (bindLibrary(library, name, out)) {
      out.library = library;
      return true;
    }
    dlclose(library);
    return false;
  }
  lastError = "module " + name + " was not found" + (reason.empty() ? ": the module path is empty" : ": " + reason);
  return false;
}

void unload(QzModule* module) {
  Registry& all = registry();
  const std::lock_guard<std::recursive_mutex> guard(all.mutex);
  for (auto entry = all.loaded.begin(); entry != all.loaded.end(); ++entry) {
    Loaded& loaded = entry->second;
    if (loaded.module != module) continue;
    if (--loaded.count > 0) return;
    module->realDestroy(module);
    if (loaded.library != nullptr) dlclose(loaded.library);
    all.loaded.erase(entry);
    return;
  }
}

}  // namespace

QzModule* loadExtension(QzHostTable* /*table*/, const wchar_t* name, int64_t length, int64_t /*zero*/) {
  const std::string narrow = narrowName(name, length);
  if (narrow.empty()) {
    lastError = "not a name of a module";
    return nullptr;
  }
  if (requestFails(Request::kModule)) {
    lastError = "module " + narrow + " was made to fail";
    return nullptr;
  }
  Registry& all = registry();
  const std::lock_guard<std::recursive_mutex> guard(all.mutex);
  const auto found = all.loaded.find(narrow);
  if (found != all.loaded.end()) {
    ++found->second.count;
    return found->second.module;
  }
  Loaded loaded;
  const auto builtin = all.builtins.find(narrow);
  const bool good = all.builtinsInUse && builtin != all.builtins.end() ? loadBuiltin(builtin->second, narrow, loaded)
                                                                       : loadShared(all.path, narrow, loaded);
  if (!good) return nullptr;
  loaded.count = 1;
  loaded.module->unload = unload;
  all.loaded[narrow] = loaded;
  return loaded.module;
}

const std::string& loaderError() {
  return lastError;
}

void clearLoaderError() {
  lastError.clear();
}

void registerBuiltin(const QzBuiltinModule* module) {
  const std::string name = narrowName(module->name, static_cast<int64_t>(std::wcslen(module->name)));
  Registry& all = registry();
  const std::lock_guard<std::recursive_mutex> guard(all.mutex);
  all.builtins.emplace(name, module);
}

void useBuiltins(bool use) {
  Registry& all = registry();
  const std::lock_guard<std::recursive_mutex> guard(all.mutex);
  all.builtinsInUse = use;
}

void setModulePath(const std::string& path) {
  Registry& all = registry();
  const std::lock_guard<std::recursive_mutex> guard(all.mutex);
  all.path = path;
}

std::string modulePath() {
  Registry& all = registry();
  const std::lock_guard<std::recursive_mutex> guard(all.mutex);
  return all.path;
}

int64_t loadedModules() {
  Registry& all = registry();
  const std::lock_guard<std::recursive_mutex> guard(all.mutex);
  int64_t count = 0;
  for (const auto& [name, loaded] : all.loaded) count += loaded.count;
  return count;
}

}  // namespace qzhost

#include "host/option_store.h"

#include <sched.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <utility>

namespace qzhost {

namespace {

struct Store {
  std::mutex mutex;
  std::map<std::wstring, int64_t> values;
  Store() {
    values[QZ_OPTION_CPUCOUNT] = machineProcessors();
    values[QZ_OPTION_CPUCORECOUNT] = machineCores();
  }
};

Store& store() {
  static auto* instance = new Store;  // never destroyed: modules may ask until the program ends
  return *instance;
}

cpu_set_t affinity() {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(0, sizeof(set), &set) != 0) CPU_SET(0, &set);
  return set;
}

// Processors' worth of time that the container may use, rounded up; 0 without a limit.
int64_t containerQuota() {
  std::ifstream file("/sys/fs/cgroup/cpu.max");
  std::string quota;
  double period = 0.0;
  if (!(file >> quota >> period) || quota == "max" || !(period > 0.0)) return 0;
  const double time = std::strtod(quota.c_str(), nullptr);
  return time > 0.0 ? static_cast<int64_t>(std::ceil(time / period)) : 0;
}

int64_t readTopology(int processor, const char* field) {
  std::ifstream file("/sys/devices/system/cpu/cpu" + std::to_string(processor) + "/topology/" + field);
  int64_t value = -1;
  return file >> value ? value : -1;
}

bool validName(const wchar_t* name, int64_t length) {
  return name != nullptr && length > 0;
}

}  // namespace

int64_t machineProcessors() {
  const cpu_set_t set = affinity();
  const int64_t processors = std::max<int64_t>(1, CPU_COUNT(&set));
  const int64_t quota = containerQuota();
  return quota > 0 ? std::min(quota, processors) : processors;
}

int64_t machineCores() {
  const cpu_set_t set = affinity();
  std::set<std::pair<int64_t, int64_t>> cores;
  for (int processor = 0; processor < CPU_SETSIZE; ++processor) {
    if (!CPU_ISSET(processor, &set)) continue;
    const int64_t core = readTopology(processor, "core_id");
    if (core < 0) return machineProcessors();  // the machine does not tell
    cores.emplace(readTopology(processor, "physical_package_id"), core);
  }
  return std::clamp<int64_t>(static_cast<int64_t>(cores.size()), 1, machineProcessors());
}

int32_t optionExists(QzHostTable* /*table*/, const wchar_t* name, int64_t length) {
  return validName(name, length) && hostOption(std::wstring(name, static_cast<size_t>(length))) ? 1 : 0;
}

int32_t getOption(QzHostTable* /*table*/, const wchar_t* name, int64_t length, int32_t type, void* value,
                  int64_t* size) {
  if (!validName(name, length) || type != QZ_OPTION_INTEGER || value == nullptr || size == nullptr) return 1;
  const std::optional<int64_t> found = hostOption(std::wstring(name, static_cast<size_t>(length)));
  if (!found || *size < static_cast<int64_t>(sizeof(int64_t))) return 1;
  std::memcpy(value, &*found, sizeof(int64_t));
  *size = sizeof(int64_t);
  return 0;
}

void setHostOption(const std::wstring& name, int64_t value) {
  Store& all = store();
  const std::lock_guard<std::mutex> guard(all.mutex);
  all.values[name] = value;
}

void removeHostOption(const std::wstring& name) {
  Store& all = store();
  const std::lock_guard<std::mutex> guard(all.mutex);
  all.values.erase(name);
}

std::optional<int64_t> hostOption(const std::wstring& name) {
  Store& all = store();
  const std::lock_guard<std::mutex> guard(all.mutex);
  const auto found = all.values.find(name);
  return found == all.values.end() ? std::nullopt : std::optional<int64_t>(found->second);
}

}  // namespace qzhost

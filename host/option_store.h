// The host's options: 64-bit integers by name, common to the program. At the start it holds
//   host.cpucount      processors that the program may use: its affinity, cut by the container's quota
//   host.cpucorecount  the cores that these processors belong to
// both at least 1.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "qzipsolve/host.h"

namespace qzhost {

// Slots 104 and 112 of the service table. getOption needs the type QZ_OPTION_INTEGER and room for 8 bytes, and returns
// 0, or 1 without writing anything.
int32_t optionExists(QzHostTable* table, const wchar_t* name, int64_t length);
int32_t getOption(QzHostTable* table, const wchar_t* name, int64_t length, int32_t type, void* value, int64_t* size);

void setHostOption(const std::wstring& name, int64_t value);
void removeHostOption(const std::wstring& name);
std::optional<int64_t> hostOption(const std::wstring& name);

// What the machine says, at least 1.
int64_t machineProcessors();
int64_t machineCores();

}  // namespace qzhost

// The service table of the stand-alone host: one for the program.
#pragma once

#include "qzipsolve/host.h"

namespace qzhost {

QzHostTable* hostTable();

}  // namespace qzhost

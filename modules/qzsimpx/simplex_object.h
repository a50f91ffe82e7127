// The module and its object behind the interface (qzipsolve/simplex_module.h).
#pragma once

#include "qzipsolve/host.h"

namespace qzsimpx {

// The module object; null when memory is short or the host is not known.
QzModule* makeModule(QzPool* parent);

}  // namespace qzsimpx

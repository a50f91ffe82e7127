// The host's clock.
#pragma once

#include <cstdint>

namespace qzhost {

// Slot 264 of the service table: date and time as seconds since 1970 and the zone's offset in seconds east of
// Greenwich, into a QzClockBuffer. The time never runs backwards and knows no jumps of the machine's date: it is the
// date at the first call plus what a monotone clock has counted since. Returns 0, or 1 for another selector or a null
// buffer.
int32_t readClock(int32_t selector, void* buffer, uint32_t flags);

}  // namespace qzhost

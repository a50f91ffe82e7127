// The second half of a constrained nested dissection: minimum fill inside the groups that the dissection found.
#pragma once

namespace qz {

// Off until that second half exists; the analyses then ask for plain nested dissection.
constexpr bool constrainedOrderingAvailable = false;

}  // namespace qz

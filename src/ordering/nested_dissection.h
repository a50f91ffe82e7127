// Multilevel nested dissection: a separator is numbered last, and what it leaves is dissected in turn; small pieces go
// to multiple minimum degree.
//
// George, "Nested dissection of a regular finite element mesh", SIAM J. Numer. Anal. 10 (1973); Lipton, Rose and
// Tarjan, "Generalized nested dissection", SIAM J. Numer. Anal. 16 (1979).
#pragma once

#include <cstdint>

#include "ordering/ordering_records.h"

namespace qz {

// Orders the graph, whose vertices get the positions lastPos - numVertices to lastPos - 1 in invPerm, by their labels;
// the separators are listed in control->separatorList. In constrained mode invPerm is left alone, and groupId tells for
// each label the group: leaf pieces from 0 up, separators from numTopVertices - 1 down.
//
// Frees the three blocks of the graph in any case. LA_OK, LA_NO_MEMORY, LA_CANCELLED, or ND_NO_CONTRACTION when the
// graph, or a piece hardly smaller than the top one, doesn't contract; after these no position is valid.
[[nodiscard]] int32_t NestedDissection(OrderingControl* control, OrderingGraph* graph, int32_t* invPerm,
                                       int32_t lastPos);

}  // namespace qz

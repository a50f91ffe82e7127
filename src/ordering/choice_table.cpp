#include "ordering/choice_table.h"

#include <limits>

#include "ordering/order_graph.h"

namespace qz {
namespace {

constexpr int32_t AMD = ORDER_AMD;
constexpr int32_t AMF = ORDER_AMF;
constexpr int32_t ND = ORDER_NESTED_DISSECTION;
constexpr double ALL = std::numeric_limits<double>::infinity();

// Below `below` (strictly) the engine is `engine`; the first band that fits counts, the last one takes all.
struct Band {
  double below;
  int32_t engine;
};

// By number of vertices.
constexpr Band NORMAL_SIZES[] = {{2500, AMF}};
constexpr Band KIND_TWO_SIZES[] = {{3500, AMF}};
constexpr Band OTHER_SIZES[] = {{4100, AMD}, {11000, AMF}, {ALL, ND}};

// By average degree.
constexpr Band NORMAL_DEGREES[] = {{13.4, AMF},  {26.5, ND},  {29.2, AMF},  {45.0, ND},   {61.0, AMF}, {80.0, ND},
                                   {118.0, AMF}, {210.0, ND}, {330.0, AMF}, {375.0, AMD}, {ALL, ND}};
constexpr Band AUGMENTED_DEGREES[] = {{3.593, ND},  {3.65, AMD}, {3.73, ND}, {3.96, AMF}, {4.4, ND},
                                      {4.638, AMF}, {5.84, ND},  {6.0, AMF}, {6.25, ND},  {8.5, AMD},
                                      {17.0, ND},   {19.0, AMD}, {25.0, ND}, {30.0, AMF}, {ALL, ND}};
constexpr Band KIND_TWO_DEGREES[] = {{3.75, ND}, {4.69, AMF}, {5.6, ND}, {6.5, AMF}, {7.0, AMD}, {ALL, ND}};
constexpr Band OTHER_LDL_DEGREES[] = {{5.0, AMF},  {6.1, ND},  {7.72, AMF}, {8.22, ND},  {12.0, AMF}, {74.0, ND},
                                      {79.0, AMF}, {80.0, ND}, {85.0, AMF}, {87.0, AMD}, {ALL, ND}};

// First band of the table that fits, or -1.
template <int N>
int32_t lookUp(const Band (&table)[N], double key) {
  for (const Band& band : table) {
    if (key < band.below) return band.engine;
  }
  return -1;
}

// Small graphs by size, the others by degree.
template <int N, int M>
int32_t lookUp(const Band (&sizes)[N], const Band (&degrees)[M], int32_t n, double avg) {
  const int32_t bySize = lookUp(sizes, n);
  return bySize >= 0 ? bySize : lookUp(degrees, avg);
}

struct Balance {
  double above;
  double factor;
};
constexpr Balance DENSE_BALANCES[] = {{1600, 1.2}, {1000, 1.25}, {440, 1.3}, {360, 1.35}};
constexpr double SPARSE_BELOW = 4.0;
constexpr double SPARSE_BALANCE = 1.45;
constexpr double USUAL_BALANCE = 1.4;

}  // namespace

int32_t chooseOrdering(int32_t problemKind, int32_t isLDL, int32_t n, double avg) {
  switch (problemKind) {
    case 0:
      return lookUp(NORMAL_SIZES, NORMAL_DEGREES, n, avg);
    case 1:
      return lookUp(AUGMENTED_DEGREES, avg);
    case 2:
      return lookUp(KIND_TWO_SIZES, KIND_TWO_DEGREES, n, avg);
    default:
      return isLDL != 0 ? lookUp(OTHER_LDL_DEGREES, avg) : lookUp(OTHER_SIZES, n);
  }
}

double chooseBalanceFactor(double avg) {
  for (const Balance& row : DENSE_BALANCES) {
    if (avg > row.above) return row.factor;
  }
  return avg < SPARSE_BELOW ? SPARSE_BALANCE : USUAL_BALANCE;
}

}  // namespace qz

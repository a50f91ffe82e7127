#include "sparse/elimination_tree.h"

#include <algorithm>

namespace qz {

void BuildETree(int32_t n, const TrianglePattern& lower, int32_t* parent, int32_t* work) {
  int32_t* ancestor = work;
  for (int32_t j = 0; j < n; ++j) {
    parent[j] = -1;
    ancestor[j] = -1;
    for (int32_t p = lower.begin[j]; p < lower.begin[j + 1]; ++p) {
      int32_t i = lower.index[p];
      while (ancestor[i] != -1 && ancestor[i] != j) {
        const int32_t up = ancestor[i];
        ancestor[i] = j;
        i = up;
      }
      if (ancestor[i] == -1) {
        ancestor[i] = j;
        parent[i] = j;
      }
    }
  }
}

int32_t DFS(const int32_t* roots, int32_t numRoots, int32_t* head, const int32_t* next, int32_t* order,
            int32_t* stack) {
  int32_t count = 0;
  for (int32_t r = 0; r < numRoots; ++r) {
    int32_t top = 0;
    stack[0] = roots[r];
    while (top >= 0) {
      const int32_t node = stack[top];
      const int32_t child = head[node];
      if (child == -1) {
        order[count++] = node;
        --top;
      } else {
        head[node] = next[child];
        stack[++top] = child;
      }
    }
  }
  return count;
}

void PostOrder(int32_t n, int32_t* parent, SymbolicFactor* symbolic, int32_t* work) {
  int32_t* head = work;
  int32_t* next = head + n;
  int32_t* roots = next + n;
  int32_t* order = roots + n;
  int32_t* stack = order + n;
  std::fill(head, head + n, -1);
  int32_t numRoots = 0;
  for (int32_t j = n - 1; j >= 0; --j) {
    if (parent[j] == -1) {
      roots[n - 1 - numRoots++] = j;
    } else {
      next[j] = head[parent[j]];
      head[parent[j]] = j;
    }
  }
  DFS(roots + (n - numRoots), numRoots, head, next, order, stack);

  int32_t* newNumber = head;
  int32_t* composed = next;
  for (int32_t k = 0; k < n; ++k) newNumber[order[k]] = k;
  for (int32_t k = 0; k < n; ++k) {
    const int32_t up = parent[order[k]];
    composed[k] = up == -1 ? -1 : newNumber[up];
  }
  std::copy(composed, composed + n, parent);
  for (int32_t k = 0; k < n; ++k) composed[k] = symbolic->perm[order[k]];
  for (int32_t k = 0; k < n; ++k) {
    symbolic->perm[k] = composed[k];
    symbolic->invPerm[composed[k]] = k;
  }
  if (symbolic->pivotKind == nullptr) return;
  for (int32_t k = 0; k < n; ++k) composed[k] = symbolic->pivotKind[order[k]];
  std::copy(composed, composed + n, symbolic->pivotKind);
}

namespace {

// Root of the set of `node` in the disjoint sets of `ancestor` (a root points at itself), with path compression.
int32_t findSet(int32_t* ancestor, int32_t node) {
  int32_t root = node;
  while (ancestor[root] != root) root = ancestor[root];
  while (ancestor[node] != root) {
    const int32_t up = ancestor[node];
    ancestor[node] = root;
    node = up;
  }
  return root;
}

int32_t wrappedColumnFlops(int32_t c) {
  return static_cast<int32_t>(static_cast<uint32_t>(c) * (static_cast<uint32_t>(c) - 1U));
}

}  // namespace

void FindColCounts(int32_t n, const TrianglePattern& upper, const int32_t* parent, int32_t* colCount, double* nnzL,
                   double* flops, int32_t* work) {
  int32_t* firstDescendant = work;
  int32_t* lastFirst = firstDescendant + n;  // first descendant of the last leaf met in each row subtree
  int32_t* lastLeaf = lastFirst + n;         // that leaf
  int32_t* ancestor = lastLeaf + n;
  std::fill(work, work + 3 * static_cast<int64_t>(n), -1);
  for (int32_t j = 0; j < n; ++j) {
    ancestor[j] = j;
    colCount[j] = firstDescendant[j] == -1 ? 1 : 0;  // a leaf of the tree counts its own diagonal
    for (int32_t k = j; k != -1 && firstDescendant[k] == -1; k = parent[k]) firstDescendant[k] = j;
  }
  for (int32_t j = 0; j < n; ++j) {
    if (parent[j] != -1) --colCount[parent[j]];
    for (int32_t p = upper.begin[j]; p < upper.begin[j + 1]; ++p) {
      const int32_t k = upper.index[p];
      if (firstDescendant[j] <= lastFirst[k]) continue;  // no leaf of the row subtree of k
      ++colCount[j];
      if (lastLeaf[k] != -1) --colCount[findSet(ancestor, lastLeaf[k])];
      lastFirst[k] = firstDescendant[j];
      lastLeaf[k] = j;
    }
    if (parent[j] != -1) ancestor[j] = parent[j];
  }
  double nonzeros = 0.0;
  double products = 0.0;
  for (int32_t j = 0; j < n; ++j) {
    if (parent[j] != -1) colCount[parent[j]] += colCount[j];
    nonzeros += colCount[j];
    products += wrappedColumnFlops(colCount[j]);
  }
  *nnzL = nonzeros - n;
  *flops = products;
}

}  // namespace qz

// What a factored supernode takes from its ancestors in the serial LDL sweep.
#pragma once

#include <cstdint>

#include "sparse/factor.h"

namespace qz {

// Scratch of the serial sweep, cut from the scratch of the two records.
struct LDLSweepScratch {
  double* update;     // d * d entries, d the largest number of rows below a supernode
  double* product;    // L D of the supernode at work, leading dimension its height
  int32_t* position;  // numRows: of a row in the list of the supernode at work or of a target; others hold stale ones
  int32_t* relative;  // numRows: positions of the rows below in the list of one target
  uint8_t* touched;   // numSupernodes: 1 once a supernode's values were cleared
};

// Clears the values of a supernode at its first touch.
void touchSupernode(const SymbolicFactor* symbolic, int32_t supernode, uint8_t* touched);

// Subtracts L D L' of the rows below supernode s from the supernodes that own these rows. scratch.product holds L D.
void updateAncestors(const SymbolicFactor* symbolic, const NumericFactor* numeric, int32_t s,
                     const LDLSweepScratch& scratch);

}  // namespace qz

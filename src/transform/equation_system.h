// Sparse symmetric indefinite systems, such as the augmented matrix of a starting point or of an exact point on a face:
// thinned by a presolve of their own, which costs next to nothing, and solved by the sparse LDL factorisation.
//
// Row i and column i of a system are the same unknown, and the matrix is stored in full, both triangles. Inside, the
// system wears the dress of a model (typeModel IPM_MODEL_EQUATIONS, rows of sense E, free columns, no objective), so
// that the reductions of a model's presolve serve it.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "transform/presolver.h"

namespace qz {

// How eqnSolve solves what its presolve leaves.
enum : int32_t {
  EQN_PLAIN = 0,       // as it stands
  EQN_REGULARISE = 1,  // each stored diagonal entry of magnitude below 1e-6 becomes 1e-6 first
  EQN_TO_POINT = 100   // `start` is a reference: the solution is taken only when it lies near it in every entry
};

// Solves M x = rhs in place. begin has numDim + 1 entries; index, value and begin are overwritten by the reduced system
// when the presolve removes anything, so arrays that live on must not be passed. rhs (numDim) returns the solution.
// start (numDim, may be null unless mode is EQN_TO_POINT) gives the values of unknowns that no equation holds, 0
// without it.
//
// The first numCol unknowns are columns of a model and the others its rows, which names the verdict on an equation
// without solution: 3 (primal infeasible) when it stands in a row position, 4 in a column position. Otherwise 0, -1086,
// 12 for a cancelled factorisation, or 10 for any other failure. Memory comes from the instance's pool.
//
// In mode EQN_TO_POINT the whole solution is replaced by the reference when some entry differs from it by more than
// both the reference's magnitude and 1e-4.
[[nodiscard]] int32_t eqnSolve(double infinity, double tol, Env* env, int32_t numDim, int32_t numCol, int32_t numThread,
                               int32_t* begin, int32_t* index, double* value, double* rhs, const double* start,
                               int32_t debugLevel, int32_t mode);

// The presolve of eqnSolve. `model` is the system as told above, `presolver` a zeroed record. Removes noise elements,
// empty rows, singleton rows, and rows of two elements by elimination of the unknown with the diagonal; rewrites the
// model's matrix and right-hand side in place when rows were removed (preControl PRECONTROL_REDUCED), and sets its
// dimensions. postdetList then names the unknowns to determine afterwards, last first, from the presolver's row copy
// and rhs: that of row lbMap[c] gives column c. 0, 3 with infeasRow, 4 with infeasCol, -1086, or 10 for a matrix that
// is not symmetric.
[[nodiscard]] int32_t eqnPresolve(Env* env, Model* model, IpmOption* options, Presolver* presolver);

// Answers a model that has only E rows and only free columns: its optimality conditions are one linear system,
//   Q x - A'y = -c,   A x = b.
// Fills `solution` (primal, dual; all slacks and bound duals 0), the model's measures, objValue (in the caller's sense,
// constant included), numIter 0, and model->status by getSolutionStatus. usePresolve 1 goes through eqnSolve, 0 calls
// the factorisation directly. 0, or the error of the solve, which leaves model->status alone.
[[nodiscard]] int32_t ipmSpecSolve(Env* env, Model* model, const IpmOption* options, Solution* solution,
                                   int32_t usePresolve);

}  // namespace qz

// `Ipm`: the state of the interior-point engine.
//
// The engine solves, on rows of sense E and G only,
//     minimise  c'x + 1/2 x'Qx   subject to   A x - s = b,   x - lowerSlack = l,   x + upperSlack = u
// with s = ineqnSlack >= 0 on G rows and 0 on E rows. lowerDual, upperDual and the dual of G rows are positive.
// Vectors of numDim entries hold the column part first and the row part behind it.
#pragma once

#include <cstdint>

#include "shell/records.h"
#include "shell/timer.h"
#include "sparse/factor.h"
#include "sparse/la_env.h"

namespace qz {

// Bits of Ipm::statusBound.
enum : uint8_t {
  BOUND_FREE = 1,
  BOUND_UPPER = 2,
  BOUND_LOWER = 4,       // a lower bound of magnitude at least 1e-10
  BOUND_LOWER_ZERO = 8,  // a lower bound of smaller magnitude, which counts as zero
  BOUND_ANY_LOWER = BOUND_LOWER | BOUND_LOWER_ZERO
};

// Values of Ipm::stopState.
enum : int32_t {
  STOP_ITERATE = 0,
  STOP_NOW = 1,
  STOP_NOT_STARTED = 2,
  STOP_RESET_GO_ON = 3,  // the pairs have separated: leave the scaled terms and go on, or end when optimal
  STOP_RESET_STOP = 4    // try a reset, stop in any case
};

// The least Theta_j that the normal equations count, as a share of 1 / (1 + |x_j|).
inline constexpr double kLeastTheta = 1e-10;

struct Ipm {
  int32_t typeModel;  // IPM_MODEL_...
  int32_t numRow;     // the engine's dimensions
  int32_t numCol;
  int32_t numFreeVar;    // columns with no bound; with freeVarPlus, the number of pairs
  int32_t* freeVarPlus;  // the columns of split free variables, of the Hub; null where there are none
  int32_t* freeVarMinus;
  double* obj;  // model, like the next ten
  double* lower;
  double* upper;
  double* rhs;
  char* rowSense;
  int32_t numCoef;
  int32_t* colBegin;
  int32_t* colLength;
  int32_t* rowIndex;
  double* matValue;
  int32_t numQuadCoef;
  int32_t* quadColBegin;  // model: strict lower triangle and diagonal of Q
  int32_t* quadColLength;
  int32_t* quadRowIndex;
  double* quadMatValue;
  double* quadDiag;
  double* primal;            // x, solution
  double* dual;              // y, solution
  int32_t typeMethod;        // IPM_METHOD_...
  int32_t numDim;            // numRow + numCol
  int32_t numIpmCoef;        // elements of the system matrix; at first its capacity
  int32_t systemDim;         // largest numDim of the models of this solve: what the system's arrays are made for
  int32_t systemCapacity;    // and their largest number of elements
  int32_t* ipmColBegin;      // numDim + 1, own: the system matrix, both triangles
  int32_t* ipmRowIndex;      // own
  double* ipmMatValue;       // own
  int32_t* ineqnDiagIndex;   // numRow, own: position of row i's diagonal in the system matrix, -1 for none
  int32_t* varBndDiagIndex;  // numCol, own: position of column j's diagonal, augmented system only
  double* rhsPredictor;      // numDim, own: first right-hand side, then the predictor (dx, dy)
  double* rhsCorrector;      // numDim, own: second right-hand side, then the combined direction
  double* rhsWork;           // numDim, own: work vector of the starting point
  int32_t numIneqn;          // rows of sense G
  int32_t* ineqnIndex;       // numRow, own: those rows
  double* ineqnSlack;        // solution: s, 0 on E rows
  double* ineqnSlackDelta;   // numRow, own
  uint8_t* statusBound;      // numCol, own: BOUND_...
  int32_t numLower;          // columns with a lower bound
  int32_t numUpper;
  double* lowerSlack;  // solution
  double* upperSlack;
  double* lowerDual;
  double* upperDual;
  double* lowerSlackDelta;  // numCol, own
  double* upperSlackDelta;
  double* lowerDualDelta;
  double* upperDualDelta;
  int32_t numCompl;  // complementary pairs: numIneqn + numLower + numUpper
  double mu;
  double muAffine;
  double sigma;
  double alphaPrimal;  // steps of the current direction, before the step factor
  double alphaDual;
  double minPositive;    // smallest of all bound slacks and the duals of G rows after the last step
  int32_t* ipmRowBegin;  // own: the matrix by rows, for the normal equations
  int32_t* ipmRowLength;
  int32_t* ipmColIndex;
  double* ipmRowValue;
  double* normalDiag;   // numCol, own
  double* normalWork;   // numRow, own
  int32_t* normalPos;   // numRow, own
  double* normalScale;  // numRow, own: S, where ipmMatValue holds S M S; 1 until the matrix is balanced
  double* refineWork;   // refinementWorkEntries, own: vectors of the refinement
  double* refineRhs;    // numDim, own: the right-hand side that is being solved
  int32_t status;       // of the iterate
  int32_t stopState;    // STOP_...
  int32_t crossover;    // from IpmOption, like the next two
  int32_t initOption;
  int32_t unscaleCheck;
  int32_t countGoodStep;  // consecutive iterations with both steps above 0.9
  int32_t countBadStep;   // iterations that improved nothing
  int32_t countStall;     // consecutive iterations with a small mu and no progress
  double firstMu;         // mu at iteration 0
  double prevMu;          // measures of the previous iteration
  double prevGap;
  double prevPrimalInfeas;
  double prevBoundInfeas;
  double prevDualInfeas;
  double complRatio;  // how far the complementary pairs are from having separated, 0 to 1
  int32_t numReset;   // resets that failed to finish the solve; accumulates over the solve
  double maxPrimal;   // largest |x| and |y| after the last step
  double maxDual;
  double stepFactor;    // 0.99
  double freeVarLimit;  // 1000
  int32_t maxIter;
  IPM_timer* timer;  // given
  double tolPrimal;
  double tolDual;
  double tolOptimality;
  double tolComplement;  // equal to tolOptimality
  double infinityValue;  // 1e20
  double denseRatio;     // 0.5: the share above which a loop walks all rows and not the list
  double muLimit;        // 1e-20
  double positiveLimit;  // 1e-50
  double startFloor;     // least shift of the starting point; 0 leaves it to the rule of the start
  double normMatrix;     // norms of the data
  double normObj;
  double normRhs;
  double normLower;
  double normUpper;
  int32_t numIter;
  double objValuePrimal;  // measures of the iterate
  double objValueDual;
  double dualityGap;
  double primalInfeas;
  double dualInfeas;
  double boundInfeas;
  double complementarity;
  Env* env;  // given, like the next three
  Model* model;
  IpmOption* option;
  Solution* solution;
  int32_t logFrequency;
  int32_t printLevel;
  int32_t debugLevel;
  int32_t numThread;
  QzBreakCallback checkSolverBreak;
  void* callerDataStruct;
  LAEnv* laEnv;               // own
  SymbolicFactor* ldlFactor;  // own: the handles of the LDL solver
  NumericFactor* ldlMemory;
  double timeLdlAnalyze;  // seconds accumulated
  double timeLdlFactor;
  double timeLdlSolve;
  SymbolicFactor* cholFactor;  // own: the handles of the Cholesky solver
  NumericFactor* cholMemory;
  double timeCholAnalyze;
  double timeCholFactor;
  double timeCholSolve;
  int32_t blockPrimal;  // index that blocked the last step, -1 when none did
  int32_t blockDual;
  double* workReal1;  // max(numRow, numCol), own: scratch
  double* workReal2;
  int32_t* workInt;
};

}  // namespace qz

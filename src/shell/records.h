// The records that every stage passes: the working model, the options of one solve, the solution in the interior
// point's own terms.
#pragma once

#include <cstdint>

#include "qzipsolve/record.h"
#include "qzipsolve/status.h"
#include "shell/host_table.h"

namespace qz {

struct Hub;

// Magnitude from which a bound or right-hand side is infinite.
inline constexpr double kInfinity = 1e20;

enum : int32_t { IPM_MODEL_LP = 1, IPM_MODEL_QP = 2, IPM_MODEL_EQUATIONS = 10 };  // Model::typeModel
enum : int32_t { IPM_METHOD_AUGMENTED = 11, IPM_METHOD_NORMAL = 12 };             // IpmOption::typeMethod
inline constexpr int32_t kInitOptionSubmodel = 4096;  // IpmOption::initOption: presolve runs again on a submodel

// Options of one solve, made from LpOptions.
struct IpmOption {
  int32_t presolveMode;
  int32_t debugLevel;
  int32_t timeType;
  double tolPrimal;
  double tolDual;
  double tolOptimality;
  double infinityValue;  // kInfinity
  int32_t maxIter;
  double timeLimit;  // what remains behind the external presolve, seconds
  int32_t logFrequency;
  int32_t printLevel;  // lowered to 1 when iteration lines were asked for but logFrequency is below 1
  int32_t crossover;   // cleared when the crossover is not run
  int32_t initOption;  // 0, 1, or kInitOptionSubmodel
  int32_t numThread;
  int32_t threadMode;
  int32_t typeMethod;    // IPM_METHOD_...
  int32_t unscaleCheck;  // 1: a point optimal in scaled terms must be confirmed after unscaling
  int32_t submodelOff;   // 1: no screening for big values, no submodels
};

// The working model; the stages transform it in place. It owns no array unless a reduction replaced them.
//   minimise  obj'x + 1/2 x'Qx  subject to rows of A x and lower <= x <= upper
// Q is split into its diagonal and the strict lower triangle. Columns stand by begin and length; room may stand free
// behind a column.
struct Model {
  int32_t typeModel;  // IPM_MODEL_LP or IPM_MODEL_QP
  int32_t numRow;
  int32_t numCol;
  int32_t numCoef;
  int32_t* colBegin;
  int32_t* colLength;
  int32_t* rowIndex;
  double* matValue;
  int32_t numQuadCoef;
  double* quadDiag;  // numCol
  int32_t* quadColBegin;
  int32_t* quadColLength;
  int32_t* quadRowIndex;
  double* quadMatValue;
  int32_t objSense;
  double objConstant;  // added to the objective value
  double objValue;     // result
  double* obj;
  char* rowSense;
  double* rhs;
  double* range;
  double* lower;
  double* upper;
  uint8_t* relaxColBound;  // one byte per column, marks columns whose bounds may be relaxed; may be null
  double* solPrimal;
  double* solDual;
  double* reducedCost;
  double* rowActivity;
  int32_t status;
  double solveTime;      // seconds in ipmMain
  double crossoverTime;  // seconds in the crossover
  int32_t numIter;
  double primalInfeas;  // measures of the last iterate
  double dualInfeas;
  double boundInfeas;
  double dualityGap;
  double complementarity;
  QzBreakCallback checkSolverBreak;
  void* callerDataStruct;
};

// A solution in the interior point's own terms.
struct Solution {
  double* primal;      // numCol, not owned: usually the model's solPrimal
  double* dual;        // numRow, not owned: usually the model's solDual
  double* lowerSlack;  // numCol, owned like all below
  double* upperSlack;  // numCol
  double* lowerDual;   // numCol, non-negative
  double* upperDual;   // numCol, non-negative inside the solver; FormatSolution turns its sign
  double* ineqnSlack;  // numRow
};

// The last direction of a solve, for the crossover: the two steps, then seven arrays in the shape of a solution.
struct KeptSolution {
  double alphaPrimal;
  double alphaDual;
  double* primalDelta;  // all owned
  double* dualDelta;
  double* lowerSlackDelta;
  double* upperSlackDelta;
  double* lowerDualDelta;
  double* upperDualDelta;
  double* ineqnSlackDelta;
};

// Makes a solution with five zero-filled arrays and the two given ones. 0, or -1086 with everything given back.
[[nodiscard]] int32_t NewSolution(Env* env, Solution** solution, int32_t numRow, int32_t numCol, double* primal,
                                  double* dual);
// Frees the owned arrays and the record and clears the pointer; null is no fault.
void FreeSolution(Env* env, Solution** solution);

// Turns the solution to the caller's signs: upperDual (also of the kept direction) is negated, and
// reducedCost[j] = lowerDual[j] + upperDual[j].
void FormatSolution(Model* model, Solution* solution, Hub* hub);

// Give the records back; their arrays are not touched.
void DestroyModel(QzPool* pool, Model* model);
void DestroyOption(QzPool* pool, IpmOption* option);

}  // namespace qz

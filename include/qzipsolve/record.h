/* `LpRecord`: the caller's problem and answer. All arrays belong to the caller.
 *
 *   minimise or maximise  obj'x + objConstant
 *   subject to            row i of A x  =, <=, >= rhs[i]  (E, L, G), or in [rhs[i] - range[i], rhs[i]]  (R)
 *                         lower <= x <= upper
 *
 * The matrix stands by columns: column j holds colLength[j] elements from position colBegin[j]. A magnitude of 1e20
 * or more in a bound or right-hand side is infinite. Senses are the bytes E, L, G, R, in either case; N is a free
 * row. Duals are of the objective as written: reducedCost = obj - A' solDual. */
#ifndef QZIPSOLVE_RECORD_H
#define QZIPSOLVE_RECORD_H

#include "qzipsolve/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Given callerDataStruct; non-zero stops the solve with status 12. */
typedef int32_t (*QzBreakCallback)(void* callerDataStruct);

/* Where a column or a row stands in a basis. A row stands for its activity, whose bounds are the row's sides. */
enum {
  QZ_BASIS_NONE = 0,  /* there is no basis */
  QZ_BASIS_BASIC = 1, /* as many columns and rows as there are rows */
  QZ_BASIS_LOWER = 2, /* at its lower bound, also when both bounds are one */
  QZ_BASIS_UPPER = 3,
  QZ_BASIS_FREE = 4 /* without a bound, at 0 */
};

typedef struct LpRecord {
  int32_t objSense; /* 0: in, 1 minimise, -1 maximise */
  int32_t numRow;   /* 4: in */
  int32_t reserved8;
  int32_t numCol;  /* 12: in */
  int32_t numCoef; /* 16: in, elements of the matrix */
  int32_t reserved20;
  double* matValue;   /* 24: in, numCoef */
  int32_t* rowIndex;  /* 32: in, numCoef */
  int32_t* colBegin;  /* 40: in, numCol */
  int32_t* colLength; /* 48: in, numCol */
  double* obj;        /* 56: in, numCol */
  double* rhs;        /* 64: in, numRow */
  double* range;      /* 72: in, numRow or null */
  double* lower;      /* 80: in, numCol */
  double* upper;      /* 88: in, numCol */
  char* rowSense;     /* 96: in, numRow */
  double* solPrimal;  /* 104: out, numCol */
  double* solDual;    /* 112: out, numRow */
  double objValue;    /* 120: in for a reduced record (its objective constant); out the objective value */
  uint64_t reserved128;
  double objConstant; /* 136: in */
  uint8_t* colBasis;  /* 144: out, numCol or null: QZ_BASIS_..., written by the sibling modules behind a crossover */
  uint8_t* rowBasis;  /* 152: out, numRow or null */
  uint64_t reserved160[4];
  double* reducedCost; /* 192: out, numCol */
  double* rowActivity; /* 200: out, numRow */
  int32_t reserved208;
  int32_t status; /* 212: out */
  int32_t reserved216;
  int32_t numIter;        /* 220: out */
  int32_t numSimplexIter; /* 224: out, basis changes of the crossover, written by the sibling modules */
  int32_t reserved228;
  double primalInfeas; /* 232: out, relative */
  double dualInfeas;   /* 240: out, relative */
  double boundInfeas;  /* 248: out, relative */
  double presolveTime; /* 256: out, seconds in the presolver module */
  double totalTime;    /* 264: out, presolve, solve and crossover */
  int32_t returnCode;  /* 272: out, of the presolver module's postsolve */
  int32_t reserved276;
  double dualityGap;      /* 280: out, relative */
  double complementarity; /* 288: out */
  uint64_t reserved296;
  QzBreakCallback checkSolverBreak; /* 304: in, may be null */
  void* callerDataStruct;           /* 312: in, null exactly when the callback is null */
} LpRecord;

QZ_ASSERT_SIZE(LpRecord, 320);
QZ_ASSERT_OFFSET(LpRecord, objSense, 0);
QZ_ASSERT_OFFSET(LpRecord, numRow, 4);
QZ_ASSERT_OFFSET(LpRecord, numCol, 12);
QZ_ASSERT_OFFSET(LpRecord, numCoef, 16);
QZ_ASSERT_OFFSET(LpRecord, matValue, 24);
QZ_ASSERT_OFFSET(LpRecord, rowIndex, 32);
QZ_ASSERT_OFFSET(LpRecord, colBegin, 40);
QZ_ASSERT_OFFSET(LpRecord, colLength, 48);
QZ_ASSERT_OFFSET(LpRecord, obj, 56);
QZ_ASSERT_OFFSET(LpRecord, rhs, 64);
QZ_ASSERT_OFFSET(LpRecord, range, 72);
QZ_ASSERT_OFFSET(LpRecord, lower, 80);
QZ_ASSERT_OFFSET(LpRecord, upper, 88);
QZ_ASSERT_OFFSET(LpRecord, rowSense, 96);
QZ_ASSERT_OFFSET(LpRecord, solPrimal, 104);
QZ_ASSERT_OFFSET(LpRecord, solDual, 112);
QZ_ASSERT_OFFSET(LpRecord, objValue, 120);
QZ_ASSERT_OFFSET(LpRecord, objConstant, 136);
QZ_ASSERT_OFFSET(LpRecord, colBasis, 144);
QZ_ASSERT_OFFSET(LpRecord, rowBasis, 152);
QZ_ASSERT_OFFSET(LpRecord, reducedCost, 192);
QZ_ASSERT_OFFSET(LpRecord, rowActivity, 200);
QZ_ASSERT_OFFSET(LpRecord, status, 212);
QZ_ASSERT_OFFSET(LpRecord, numIter, 220);
QZ_ASSERT_OFFSET(LpRecord, numSimplexIter, 224);
QZ_ASSERT_OFFSET(LpRecord, primalInfeas, 232);
QZ_ASSERT_OFFSET(LpRecord, dualInfeas, 240);
QZ_ASSERT_OFFSET(LpRecord, boundInfeas, 248);
QZ_ASSERT_OFFSET(LpRecord, presolveTime, 256);
QZ_ASSERT_OFFSET(LpRecord, totalTime, 264);
QZ_ASSERT_OFFSET(LpRecord, returnCode, 272);
QZ_ASSERT_OFFSET(LpRecord, dualityGap, 280);
QZ_ASSERT_OFFSET(LpRecord, complementarity, 288);
QZ_ASSERT_OFFSET(LpRecord, checkSolverBreak, 304);
QZ_ASSERT_OFFSET(LpRecord, callerDataStruct, 312);

#ifdef __cplusplus
}
#endif
#endif

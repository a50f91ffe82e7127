/* `LpOptions`: what a caller may choose. Made by the instance's createLpOptions, filled with the defaults below. */
#ifndef QZIPSOLVE_OPTIONS_H
#define QZIPSOLVE_OPTIONS_H

#include "qzipsolve/base.h"

typedef struct LpOptions {
  uint8_t optionByte; /* 0: 0, passed on to the presolver module like all fields named option... */
  uint8_t reserved1[3];
  int32_t presolveMode; /* 4: -1. 0 runs the solver's own presolve, any other value the light path */
  int32_t modeCheck;    /* 8: 3. Any other value draws a warning */
  int32_t reserved12[3];
  int32_t countCheck;  /* 24: -1. Any other value draws a warning */
  int32_t optionInt28; /* 28: -1 */
  int32_t maxIter;     /* 32: 0x7fffffff. Iteration limit, status 7 */
  int32_t reserved36;
  double timeLimit;     /* 40: 8.988465674311578e+307. Remaining seconds; a solve lowers it by what it used */
  int32_t timeType;     /* 48: 0 CPU time, 1 real time */
  int32_t optionInt52;  /* 52: 0 */
  int32_t methodOption; /* 56: 100. 1 the normal equations, any other value the augmented system */
  int32_t logFrequency; /* 60: 1. An iteration line every so many iterations */
  int32_t printLevel;   /* 64: 2. 0 silent, 1 summary, 2 with iteration lines */
  int32_t reserved68;
  double optionTol72;  /* 72: 1e-6 */
  double optionTol80;  /* 80: 1e-6 */
  int32_t optionInt88; /* 88: 2000 */
  int32_t reserved92;
  double optionTol96; /* 96: 1e-20 */
  uint64_t reserved104;
  int32_t optionInt112; /* 112: 0 */
  int32_t reserved116[2];
  int32_t debugLevel;   /* 124: 0. 1 and above runs the verification layer */
  int32_t optionInt128; /* 128: 0 */
  int32_t crossover;    /* 132: 0. Non-zero asks for a basic solution; bit 0 selects the simplex start mode */
  int32_t reserved136;
  int32_t optionInt140; /* 140: 0 */
  int32_t optionInt144; /* 144: 1 */
  int32_t reserved148;
  double optionReal152; /* 152: 0 */
  double optionReal160; /* 160: 0 */
  double tolOptimality; /* 168: 1e-6, at least 1e-15. Relative duality gap and complementarity */
  double tolPrimal;     /* 176: 1e-6, at least 1e-15. Primal and bound infeasibility */
  double tolDual;       /* 184: 1e-6, at least 1e-15. Dual infeasibility */
  int32_t initOption;   /* 192: 0 the standard scaling, 1 the row scaling */
  int32_t optionInt196; /* 196: 0 */
  int32_t numThread;    /* 200: host.cpucount, 1 without it. Threads of the linear algebra */
  int32_t threadMode;   /* 204: 0. 2 draws a warning with more than one thread */
  uint64_t reserved208;
  double optionReal216; /* 216: 0 */
  double optionReal224; /* 224: 0 */
  double usedTime;      /* 232: 0. Accumulates the seconds spent */
  uint64_t reserved240[3];
} LpOptions;

QZ_ASSERT_SIZE(LpOptions, 264);
QZ_ASSERT_OFFSET(LpOptions, optionByte, 0);
QZ_ASSERT_OFFSET(LpOptions, presolveMode, 4);
QZ_ASSERT_OFFSET(LpOptions, modeCheck, 8);
QZ_ASSERT_OFFSET(LpOptions, countCheck, 24);
QZ_ASSERT_OFFSET(LpOptions, optionInt28, 28);
QZ_ASSERT_OFFSET(LpOptions, maxIter, 32);
QZ_ASSERT_OFFSET(LpOptions, timeLimit, 40);
QZ_ASSERT_OFFSET(LpOptions, timeType, 48);
QZ_ASSERT_OFFSET(LpOptions, optionInt52, 52);
QZ_ASSERT_OFFSET(LpOptions, methodOption, 56);
QZ_ASSERT_OFFSET(LpOptions, logFrequency, 60);
QZ_ASSERT_OFFSET(LpOptions, printLevel, 64);
QZ_ASSERT_OFFSET(LpOptions, optionTol72, 72);
QZ_ASSERT_OFFSET(LpOptions, optionTol80, 80);
QZ_ASSERT_OFFSET(LpOptions, optionInt88, 88);
QZ_ASSERT_OFFSET(LpOptions, optionTol96, 96);
QZ_ASSERT_OFFSET(LpOptions, optionInt112, 112);
QZ_ASSERT_OFFSET(LpOptions, debugLevel, 124);
QZ_ASSERT_OFFSET(LpOptions, optionInt128, 128);
QZ_ASSERT_OFFSET(LpOptions, crossover, 132);
QZ_ASSERT_OFFSET(LpOptions, optionInt140, 140);
QZ_ASSERT_OFFSET(LpOptions, optionInt144, 144);
QZ_ASSERT_OFFSET(LpOptions, optionReal152, 152);
QZ_ASSERT_OFFSET(LpOptions, optionReal160, 160);
QZ_ASSERT_OFFSET(LpOptions, tolOptimality, 168);
QZ_ASSERT_OFFSET(LpOptions, tolPrimal, 176);
QZ_ASSERT_OFFSET(LpOptions, tolDual, 184);
QZ_ASSERT_OFFSET(LpOptions, initOption, 192);
QZ_ASSERT_OFFSET(LpOptions, optionInt196, 196);
QZ_ASSERT_OFFSET(LpOptions, numThread, 200);
QZ_ASSERT_OFFSET(LpOptions, threadMode, 204);
QZ_ASSERT_OFFSET(LpOptions, optionReal216, 216);
QZ_ASSERT_OFFSET(LpOptions, optionReal224, 224);
QZ_ASSERT_OFFSET(LpOptions, usedTime, 232);

#endif

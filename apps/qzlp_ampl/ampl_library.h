// The AMPL solver library (D. M. Gay, Hooking Your Solver to AMPL, 1997). Its names are macros over a variable `asl`,
// so this header comes last, behind all others.
#pragma once

#define NO_STDIO1  // leaves printf and its kin alone
#include <getstub.h>
#undef filename
#undef strtod

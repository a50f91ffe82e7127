// A short list out of the collections, small enough for every change.
#include "models/collection.h"

namespace {

using namespace models;

std::string netlib(const char* name) {
  return std::string("lp/netlib/").append(name).append(".mps.bz2");
}
std::string infeasible(const char* name) {
  return std::string("lp/infeasible/").append(name).append(".mps.bz2");
}

// Each for a reason: free and range rows, degenerate, badly scaled, free columns, dense columns.
TEST_F(Collection, ShortList) {
  for (const char* name :
       {"blend", "sc50a",  "sc50b",    "share2b", "share1b", "stocfor1", "scagr7", "boeing2", "bore3d",   "capri",
        "e226",  "recipe", "vtp.base", "brandy",  "agg",     "lotfi",    "grow7",  "degen2",  "standata", "beaconfd"})
    check(netlib(name));
}

TEST_F(Collection, ShortListWithNormalEquations) {
  if (!hasNormalEquations()) GTEST_SKIP() << "this build's solver has no normal equations";
  for (const char* name :
       {"blend", "sc50a", "share2b", "stocfor1", "scagr7", "e226", "capri", "agg", "degen2", "scfxm2", "cycle"})
    check(netlib(name), {{"method", 1}});
}

TEST_F(Collection, ShortListWithOwnPresolve) {
  for (const char* name : {"blend", "sc50a", "share2b", "stocfor1", "scagr7", "e226", "capri", "agg", "degen2"})
    check(netlib(name), {{"presolve", 0}});
}

// Singular and diagonal Hessians, free columns, networks whose implied bounds grow without end, ranges, large
// multipliers.
TEST_F(Collection, ShortQuadratic) {
  for (const char* name : {"HS21",    "HS35MOD", "HS53",     "HS268",    "ZECEVIC2", "QPTEST",  "DUALC1",
                           "DUAL4",   "VALUES",  "CVXQP1_S", "CVXQP3_S", "GOULDQP2", "AUG3DQP", "QSCAGR7",
                           "QBRANDY", "QRECIPE", "QSEBA",    "QGFRDXPN", "PRIMAL1",  "STADAT2"})
    check(std::string("qp/").append(name).append(".qps.bz2"));
}

TEST_F(Collection, ShortInfeasible) {
  for (const char* name : {"itest2", "itest6", "bgprtr", "klein1"}) check(infeasible(name));
}

}  // namespace

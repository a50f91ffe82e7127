// Every model of the netlib collections and of the collection of quadratic programs. Slow: minutes to an hour.
#include "models/collection.h"

namespace {

using models::Collection;

TEST_F(Collection, Netlib) {
  checkFolder("lp/netlib/");
}
TEST_F(Collection, Quadratic) {
  checkFolder("qp/");
}
TEST_F(Collection, Infeasible) {
  checkFolder("lp/infeasible/");
}

}  // namespace

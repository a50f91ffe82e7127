#include "api_fixture.h"

#include "host/builtin_modules.h"
#include "host/quadratic_solve.h"

namespace {

int32_t extent(QzHostTable*) {
  return 0;
}
const QzBuiltinModule fakeSolver = {L"qzipsolve", extent, apitest::FakeSolver::make};

}  // namespace

void qzhost::registerBuiltinModules() {
  qzhost::registerBuiltin(&fakeSolver);
}

int32_t qzhost::solveQuadratic(ModelData& data, LpOptions* options, QzLog*) {
  return apitest::FakeSolver::solveQuadratic(data, options);
}

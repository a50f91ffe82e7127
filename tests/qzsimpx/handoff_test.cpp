// The hand-off between the real presolver module and the real simplex module.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "models/generators.h"
#include "qzipsolve/builtin.h"
#include "qzipsolve/presolve_module.h"
#include "qzsimpx/interior_record.h"
#include "shell/crossover.h"
#include "support/test_host.h"

extern "C" const QzBuiltinModule qzpresol_builtin;
extern "C" const QzBuiltinModule qzsimpx_builtin;

namespace {

using qztest::InteriorRecord;

template <class T>
std::vector<T> copied(const T* array, int32_t count) {
  return std::vector<T>(array, array + count);
}

// All arrays of a record's model.
struct ModelCopy {
  std::vector<double> matValue, obj, rhs, range, lower, upper;
  std::vector<int32_t> rowIndex, colBegin, colLength;
  std::string rowSense;

  explicit ModelCopy(const LpRecord& r)
      : matValue(copied(r.matValue, r.numCoef)),
        obj(copied(r.obj, r.numCol)),
        rhs(copied(r.rhs, r.numRow)),
        range(copied(r.range, r.numRow)),
        lower(copied(r.lower, r.numCol)),
        upper(copied(r.upper, r.numCol)),
        rowIndex(copied(r.rowIndex, r.numCoef)),
        colBegin(copied(r.colBegin, r.numCol)),
        colLength(copied(r.colLength, r.numCol)),
        rowSense(r.rowSense, r.rowSense + r.numRow) {}
  bool operator==(const ModelCopy&) const = default;
};

TEST(Handoff, ModelArraysAreWhatTheyWereBitForBit) {
  qztest::TestHost host;
  host.table()->loadExtension = [](QzHostTable* table, const wchar_t*, int64_t, int64_t) -> QzModule* {
    qzsimpx_builtin.extent(table);
    QzModule* module = qzsimpx_builtin.make(nullptr, nullptr);
    module->unload = [](QzModule* self) { self->realDestroy(self); };
    return module;
  };
  qzpresol_builtin.extent(host.table());
  QzModule* module = qzpresol_builtin.make(nullptr, nullptr);
  auto* presolver = static_cast<QzPresolveObject*>(module->create_instance());
  int numScaled = 0;
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    models::Recipe recipe;
    recipe.scaleDecades = 3;
    recipe.ranges = 0.2;
    recipe.freeColumns = 0.1;
    const models::KnownOptimum known = models::knownOptimum(recipe, seed);
    InteriorRecord data(known.program, known.primal, known.dual, 0.0, seed);
    LpOptions options{};
    options.tolPrimal = options.tolDual = 1e-6;
    int32_t rc = 55;
    QzPresolveHandle* handle = presolver->prepare(presolver, &options, &rc);
    ASSERT_EQ(rc, 0);
    QzPresolveResult* result = presolver->reduce(presolver, handle, 3, &data.record, &rc);
    ASSERT_EQ(rc, 0);
    LpRecord& reduced = *result->reduced;
    ASSERT_EQ(reduced.numCol, data.record.numCol);
    ASSERT_EQ(reduced.numRow, data.record.numRow);
    std::copy_n(data.record.solPrimal, reduced.numCol, reduced.solPrimal);
    std::copy_n(data.record.solDual, reduced.numRow, reduced.solDual);
    const ModelCopy before(reduced);

    qz::Env env{};
    env.pool = host.pool();
    env.options = &options;
    env.presolveObject = presolver;
    env.presolveHandle = handle;
    qz::IpmOption option{};
    option.crossover = 1;
    option.timeLimit = 1e6;
    qz::Solution* solution = nullptr;
    ASSERT_EQ(qz::NewSolution(&env, &solution, reduced.numRow, reduced.numCol, reduced.solPrimal, reduced.solDual), 0);
    EXPECT_EQ(qz::iplpCrossover(&env, &reduced, solution, nullptr, &option, 1), 0);
    EXPECT_EQ(reduced.status, 1);
    EXPECT_TRUE(ModelCopy(reduced) == before);
    const double expected = known.objective - known.program.constant;
    EXPECT_NEAR(reduced.objValue, expected, 1e-8 * (1.0 + std::fabs(expected)));

    double rowScale[64], colScale[64];
    std::fill_n(rowScale, 64, 1.0);
    std::fill_n(colScale, 64, 1.0);
    ASSERT_LT(reduced.numCol, 64);
    ASSERT_EQ(presolver->scale(presolver, -1, reduced.numRow, reduced.numCol, reduced.numCoef, reduced.colBegin, 1e-6,
                               reduced.colLength, reduced.rowIndex, reduced.matValue, reduced.obj, reduced.lower,
                               reduced.upper, rowScale, colScale, nullptr, nullptr, reduced.rhs, reduced.rowSense,
                               reduced.range, nullptr, nullptr, nullptr, nullptr),
              0);
    numScaled += ModelCopy(reduced) == before ? 0 : 1;

    qz::FreeSolution(&env, &solution);
    presolver->freeResult(presolver, &result);
    void* field = handle;
    presolver->freeHandle(presolver, &field);
  }
  EXPECT_EQ(numScaled, 20) << "the scaling does something on these models";
  presolver->destroy(presolver);
  module->realDestroy(module);
  EXPECT_EQ(host.outstanding(), 0);
}

}  // namespace

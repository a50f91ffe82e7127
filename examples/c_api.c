/* Builds a model from arrays, solves it, and prints the answer: the workshop of workshop.lp.
 *
 * In the build tree of ./dev build:
 *   cc -Iinclude examples/c_api.c -Lbuild/release/lib -lqzlp -Wl,-rpath,build/release/lib -o c_api && ./c_api */
#include <stdio.h>

#include "qzlp.h"

static void showLine(int level, uint32_t code, const char* line, void* userData) {
  (void)level;
  (void)code;
  fprintf((FILE*)userData, "%s\n", line);
}

int main(void) {
  /* Columns: tables, chairs. Rows: wood, time, match. */
  const int32_t colBegin[] = {0, 3, 6};
  const int32_t rowIndex[] = {0, 1, 2, 0, 1, 2};
  const double matValue[] = {3.0, 1.0, 1.0, 2.0, 2.0, -1.0};
  const double profit[] = {6.0, 5.0};
  const double lower[] = {0.0, 0.0};
  const double upper[] = {1e20, 1e20};
  const double rhs[] = {24.0, 16.0, 4.0};
  const double range[] = {0.0, 0.0, 8.0}; /* match lies in [4 - 8, 4] */

  qzlp_model model = {0};
  model.numRow = 3;
  model.numCol = 2;
  model.numCoef = 6;
  model.objSense = -1;
  model.objConstant = -10.0;
  model.colBegin = colBegin;
  model.rowIndex = rowIndex;
  model.matValue = matValue;
  model.obj = profit;
  model.lower = lower;
  model.upper = upper;
  model.rowSense = "LLR";
  model.rhs = rhs;
  model.range = range;

  qzlp* lp = qzlp_create();
  if (lp == NULL) {
    fprintf(stderr, "%s\n", qzlp_error(NULL));
    return 1;
  }
  if (qzlp_setLogCallback(lp, showLine, stdout) != QZLP_OK || qzlp_setDoubleOption(lp, "timeLimit", 60.0) != QZLP_OK ||
      qzlp_loadModel(lp, &model) != QZLP_OK || qzlp_solve(lp) != QZLP_OK) {
    fprintf(stderr, "%s\n", qzlp_error(lp));
    qzlp_destroy(lp);
    return 1;
  }
  const int status = qzlp_status(lp);
  printf("%s, objective %.10g after %d iterations\n", qzlp_statusName(status), qzlp_objective(lp), qzlp_iterations(lp));
  for (int32_t j = 0; j < model.numCol; ++j)
    printf("column %d: %.10g, reduced cost %.10g\n", (int)j, qzlp_primal(lp)[j], qzlp_reducedCost(lp)[j]);
  for (int32_t i = 0; i < model.numRow; ++i)
    printf("row %d: %.10g, dual %.10g\n", (int)i, qzlp_rowActivity(lp)[i], qzlp_dual(lp)[i]);
  qzlp_destroy(lp);
  return status == QZLP_STATUS_OPTIMAL ? 0 : 1;
}

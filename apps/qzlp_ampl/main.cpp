// qzlp_ampl: solves what AMPL, Pyomo, JuMP and other modelling systems write as .nl files, and answers by .sol files.
//
//   qzlp_ampl STUB -AMPL [name=value ...]     reads STUB.nl, writes STUB.sol
#include <algorithm>
#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "nl_problem.h"
#include "qzlp.h"
#include "qzlp/interrupt.h"
#include "settings.h"

#include "ampl_library.h"

namespace {

using namespace qzlpAmpl;

struct Destroy {
  void operator()(qzlp* lp) const { qzlp_destroy(lp); }
};
using Solver = std::unique_ptr<qzlp, Destroy>;

// What a modelling system takes as the outcome: below 100 solved, then for each hundred: solved perhaps, infeasible,
// unbounded, stopped by a limit, failed.
enum ResultCode {
  resultRefused = 510  // a problem of a kind that this solver can't take
};

int resultCodeOf(int status) {
  switch (status) {
    case QZLP_STATUS_OPTIMAL:
      return 0;
    case QZLP_STATUS_NEAR_OPTIMAL:
      return 100;
    case QZLP_STATUS_BOTH_INFEASIBLE:
      return 201;
    case QZLP_STATUS_DUAL_INFEASIBLE:
      return 300;
    case QZLP_STATUS_ITERATION_LIMIT:
      return 400;
    case QZLP_STATUS_TIME_LIMIT:
      return 401;
    case QZLP_STATUS_INTERRUPTED:
      return 402;
    case QZLP_STATUS_NOT_CONVEX:
      return 501;
    case QZLP_STATUS_OUT_OF_MEMORY:
      return 502;
    case QZLP_STATUS_PRIMAL_INFEASIBLE:
    case 256:  // the same under another number
      return 200;
    default:
      return 500;
  }
}

void check(const Solver& lp, int code) {
  if (code != QZLP_OK) throw std::runtime_error(qzlp_error(lp.get()));
}

void showLine(int level, uint32_t, const char* line, void*) {
  if (level != QZLP_LOG_DEBUG) std::puts(line);
}

Solver prepare(const Settings& settings, const qzfiles::ModelFile& model) {
  Solver lp(qzlp_create());
  if (lp == nullptr) throw std::runtime_error(qzlp_error(nullptr));
  check(lp, qzlp_setIntOption(lp.get(), "printLevel", 0));  // the modelling system shows the message
  for (const auto& [name, value] : settings.values()) check(lp, qzlp_setDoubleOption(lp.get(), name.c_str(), value));
  int32_t printLevel = 0;
  check(lp, qzlp_getIntOption(lp.get(), "printLevel", &printLevel));
  if (printLevel > 0) check(lp, qzlp_setLogCallback(lp.get(), showLine, nullptr));
  check(lp, qzlp_setBreakCallback(lp.get(), qzlpApp::wasInterrupted, nullptr));
  const qzlp_model view = model.view();
  check(lp, qzlp_loadModel(lp.get(), &view));
  const qzlp_quadratic quadratic = model.quadraticView();
  if (model.isQuadratic()) check(lp, qzlp_loadQuadratic(lp.get(), &quadratic));
  return lp;
}

// Statuses of a basis as modelling systems number them, in the order of QZLP_BASIS_...: basic, at the lower bound, at
// the upper one, free.
int basisNumber(uint8_t place) {
  constexpr int numbers[] = {0, 1, 3, 4, 6};
  return place < std::size(numbers) ? numbers[place] : 0;
}

char basisSuffix[] = "sstatus";
char basisTable[] =
    "\n0\tnone\tno status known\n1\tbas\tbasic\n2\tsup\tsuperbasic\n3\tlow\tat the lower bound\n4\tupp\tat the upper "
    "bound\n5\tequ\tfixed\n6\tbtw\tbetween the bounds\n";

void declareBasis(ASL* asl) {
  static SufDecl table[] = {{basisSuffix, basisTable, ASL_Sufkind_var, 1},
                            {basisSuffix, basisTable, ASL_Sufkind_con, 1}};
  suf_declare(table, 2);
}

std::vector<int> basisNumbers(const uint8_t* places, int32_t count) {
  std::vector<int> numbers(static_cast<size_t>(count));
  std::transform(places, places + count, numbers.begin(), basisNumber);
  return numbers;
}

// A point, and the basis behind a crossover.
struct Solution {
  std::vector<double> primal, dual;
  std::vector<int> columnBasis, rowBasis;
};

Solution solutionOf(const qzlp* lp) {
  Solution solution;
  if (qzlp_hasPoint(lp) == 0) return solution;
  solution.primal.assign(qzlp_primal(lp), qzlp_primal(lp) + qzlp_numCol(lp));
  solution.dual.assign(qzlp_dual(lp), qzlp_dual(lp) + qzlp_numRow(lp));
  if (qzlp_columnBasis(lp) == nullptr) return solution;
  solution.columnBasis = basisNumbers(qzlp_columnBasis(lp), qzlp_numCol(lp));
  solution.rowBasis = basisNumbers(qzlp_rowBasis(lp), qzlp_numRow(lp));
  return solution;
}

std::string messageOf(const qzlp* lp) {
  const int status = qzlp_status(lp);
  std::string text = qzlp_statusName(status);
  char number[64];
  if (qzlp_hasPoint(lp) != 0) {
    std::snprintf(number, sizeof(number), "; objective %.12g", qzlp_objective(lp));
    text += number;
  }
  std::snprintf(number, sizeof(number), "\n%d iterations", qzlp_iterations(lp));
  text += number;
  if (qzlp_simplexIterations(lp) > 0)
    text += ", " + std::to_string(qzlp_simplexIterations(lp)) + " of them of the simplex method";
  return status == QZLP_STATUS_OPTIMAL ? text : text + "\n" + qzlp_statusText(status);
}

void answer(ASL* asl, Settings& settings, int code, const std::string& message, Solution solution) {
  if (!solution.columnBasis.empty()) {
    suf_iput(basisSuffix, ASL_Sufkind_var, solution.columnBasis.data());
    suf_iput(basisSuffix, ASL_Sufkind_con, solution.rowBasis.data());
  }
  solve_result_num = code;
  obj_no = settings.objective() - 1;
  const std::string whole = std::string(settings.info.bsname) + ": " + message;
  write_sol(whole.c_str(), solution.primal.empty() ? nullptr : solution.primal.data(),
            solution.dual.empty() ? nullptr : solution.dual.data(), &settings.info);
}

std::string notesOf(const qzfiles::ModelFile& model) {
  std::string text;
  for (const std::string& note : model.notes) text += "\n" + note;
  return text;
}

void solve(ASL* asl, char* stub, Settings& settings) {
  declareBasis(asl);
  const NlProblem problem = readNlProblem(asl, stub, settings.objective());
  if (!problem.refusal.empty()) {
    answer(asl, settings, resultRefused, "not a linear or quadratic program: " + problem.refusal, {});
    return;
  }
  const Solver lp = prepare(settings, problem.model);
  qzlpApp::catchInterrupts();
  const int code = qzlp_solve(lp.get());
  std::string message = messageOf(lp.get()) + notesOf(problem.model);
  if (code != QZLP_OK) message += std::string("\n") + qzlp_error(lp.get());
  answer(asl, settings, resultCodeOf(qzlp_status(lp.get())), message, solutionOf(lp.get()));
}

}  // namespace

int main(int, char** argv) {
  Settings settings;
  ASL* asl = ASL_alloc(ASL_read_fg);
  char* stub = getstub(&argv, &settings.info);
  if (stub == nullptr) usage_ASL(&settings.info, 1);
  if (getopts(argv, &settings.info) != 0) return 1;
  try {
    solve(asl, stub, settings);
    ASL_free(&asl);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qzlp_ampl: %s\n", error.what());
    return 1;
  }
}

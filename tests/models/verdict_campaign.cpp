#include "models/verdict_campaign.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <optional>
#include <stdexcept>

#include "models/big_values.h"
#include "models/certificate.h"
#include "models/generators.h"
#include "models/oracle.h"
#include "models/presolve_differential.h"
#include "models/quadratic_programs.h"

namespace models {

namespace {

constexpr double kTolerance = 1e-6;
constexpr double kLooseTolerance = 1e-4;  // of reduced accuracy

std::string format(const char* pattern, ...) {
  char text[400];
  va_list arguments;
  va_start(arguments, pattern);
  std::vsnprintf(text, sizeof(text), pattern, arguments);
  va_end(arguments);
  return text;
}

// ---- What is drawn ----

struct Drawn {
  LinearProgram program;
  std::optional<Verdict> known;  // else Clp is asked
};

Drawn withKnownOptimum(KnownOptimum&& known) {
  return {std::move(known.program), Verdict{Kind::kOptimal, known.objective, true}};
}

Recipe drawRecipe(Random& random) {
  Recipe recipe;
  recipe.numRow = random.whole(1, 25);
  recipe.numCol = random.whole(2, 40);
  recipe.entriesPerColumn = random.whole(1, 6);
  recipe.freeColumns = random.chance(0.5) ? random.uniform(0.0, 0.4) : 0.0;
  recipe.boxedColumns = random.uniform(0.0, 0.5);
  recipe.fixedColumns = random.chance(0.3) ? random.uniform(0.0, 0.3) : 0.0;
  recipe.upperColumns = random.uniform(0.0, 0.3);
  recipe.equations = random.uniform(0.0, 1.0);
  recipe.ranges = random.uniform(0.0, 0.4);
  recipe.freeRows = random.chance(0.2) ? 0.1 : 0.0;
  recipe.maximise = random.chance(0.5);
  return recipe;
}

Drawn drawAny(uint64_t seed) {
  return {anyProgram(seed), std::nullopt};
}

Drawn drawForPresolve(uint64_t seed) {
  return {presolveProgram(seed), std::nullopt};
}

Drawn drawMixed(uint64_t seed) {
  Random random(seed);
  return withKnownOptimum(knownOptimum(drawRecipe(random), seed));
}

Drawn drawDegenerate(uint64_t seed) {
  Random random(seed);
  Recipe recipe = drawRecipe(random);
  recipe.degenerate = random.uniform(0.2, 0.9);
  return withKnownOptimum(knownOptimum(recipe, seed));
}

Drawn drawBadlyScaled(uint64_t seed) {
  Random random(seed);
  Recipe recipe = drawRecipe(random);
  recipe.scaleDecades = random.whole(1, 3);
  return withKnownOptimum(knownOptimum(recipe, seed));
}

Drawn drawNetwork(uint64_t seed) {
  Random random(seed);
  if (random.chance(0.5)) return withKnownOptimum(transport(random.whole(1, 6), random.whole(1, 8), seed));
  return withKnownOptimum(multiPeriod(random.whole(1, 15), seed));
}

Drawn drawBigValues(uint64_t seed) {
  Random random(seed);
  const auto share = [&random] { return random.chance(0.5) ? random.uniform(0.0, 0.4) : 0.0; };
  BigRecipe recipe;
  recipe.numRow = random.whole(2, 16);
  recipe.numCol = random.whole(3, 24);
  recipe.equations = random.uniform(0.0, 1.0);
  recipe.freeColumns = random.uniform(0.0, 0.5);
  recipe.boxedColumns = random.uniform(0.0, 0.5);
  recipe.variable = share();
  recipe.farBound = share();
  recipe.rowSlack = share();
  recipe.rowDual = share();
  recipe.boundDual = share();
  recipe.size = std::pow(10.0, random.uniform(3.0, 8.0));
  return withKnownOptimum(knownBigOptimum(recipe, seed));
}

Drawn drawInfeasible(uint64_t seed) {
  Random random(seed);
  const int numRow = random.whole(2, 12), numCol = random.whole(2, 15);
  return {infeasible(numRow, numCol, seed).program, Verdict{Kind::kInfeasible, 0.0, true}};
}

Drawn drawUnbounded(uint64_t seed) {
  Random random(seed);
  const int numRow = random.whole(1, 12), numCol = random.whole(2, 15);
  return {unbounded(numRow, numCol, seed).program, Verdict{Kind::kUnbounded, 0.0, false}};
}

// An infeasible program beside an unbounded one in rows and columns of its own: neither a point nor a dual point.
Drawn drawBoth(uint64_t seed) {
  Random random(seed);
  LinearProgram program = infeasible(random.whole(2, 8), random.whole(2, 10), seed).program;
  const int rowSize = random.whole(1, 8), colSize = random.whole(2, 10);
  const LinearProgram other = unbounded(rowSize, colSize, seed).program;
  const int firstRow = program.numRow();
  for (size_t i = 0; i < other.rowLower.size(); ++i) program.addRow(other.rowLower[i], other.rowUpper[i]);
  for (size_t j = 0; j < other.cost.size(); ++j) {
    program.addColumn(other.cost[j], other.lower[j], other.upper[j]);
    for (auto k = static_cast<size_t>(other.colBegin[j]); k < static_cast<size_t>(other.colBegin[j + 1]); ++k)
      program.addEntry(firstRow + other.rowIndex[k], other.value[k]);
  }
  return {program, Verdict{Kind::kInfeasible, 0.0, false}};
}

struct Shape {
  const char* name;
  Drawn (*draw)(uint64_t seed);
};

constexpr Shape kLinearShapes[] = {
    {"any", drawAny},
    {"for presolve", drawForPresolve},
    {"mixed", drawMixed},
    {"degenerate", drawDegenerate},
    {"badly scaled", drawBadlyScaled},
    {"network", drawNetwork},
    {"big values", drawBigValues},
    {"infeasible", drawInfeasible},
    {"unbounded", drawUnbounded},
    {"infeasible on both sides", drawBoth},
};

// Squares over a program of any kind.
template <Drawn (*draw)(uint64_t)>
Drawn curved(uint64_t seed) {
  Drawn drawn{draw(seed).program, std::nullopt};
  addSquares(drawn.program, seed);
  return drawn;
}

// The known optimal pair x, y of a linear program stays optimal when Q x is taken from the costs.
template <bool degenerate, int scaleDecades>
Drawn curvedAround(uint64_t seed) {
  Random random(seed);
  Recipe recipe = drawRecipe(random);
  recipe.degenerate = degenerate ? 0.5 : 0.0;
  recipe.scaleDecades = scaleDecades;
  KnownOptimum known = knownOptimum(recipe, seed);
  LinearProgram& program = known.program;
  addSquares(program, seed);
  double half = 0.0;  // x'Qx / 2
  for (const Curvature& entry : program.curvature) {
    const auto i = static_cast<size_t>(entry.row), j = static_cast<size_t>(entry.col);
    program.cost[i] -= entry.value * known.primal[j];
    if (i != j) program.cost[j] -= entry.value * known.primal[i];
    half += (i == j ? 0.5 : 1.0) * entry.value * known.primal[i] * known.primal[j];
  }
  known.objective -= half;  // - x'Qx from the costs, + x'Qx / 2 from the squares
  return withKnownOptimum(std::move(known));
}

constexpr Shape kQuadraticShapes[] = {
    {"any", curved<drawAny>},
    {"for presolve", curved<drawForPresolve>},
    {"mixed", curvedAround<false, 0>},
    {"degenerate", curvedAround<true, 0>},
    {"badly scaled", curvedAround<false, 1>},
    {"infeasible", curved<drawInfeasible>},
    {"unbounded", curved<drawUnbounded>},
    {"infeasible on both sides", curved<drawBoth>},
};

template <size_t count>
const Shape& shapeOf(const Shape (&shapes)[count], uint64_t seed) {
  return shapes[seed % count];
}

// Every combination of the routes comes up.
std::vector<Choice> drawChoices(uint64_t seed, bool quadratic) {
  Random random(seed ^ 0xc401ceULL);
  std::vector<Choice> choices{{"threads", 1}};
  choices.push_back({"method", 1.0 * random.whole(0, 1)});
  choices.push_back({"presolve", 1.0 * random.whole(-1, 0)});
  if (random.chance(0.15)) choices.push_back({"scaling", 1});
  if (!quadratic && random.chance(0.15)) choices.push_back({"crossover", 1.0 * random.whole(1, 3)});
  return choices;
}

// ---- What is judged ----

struct Judged {
  Outcome outcome;
  std::string text;  // of what is not right
};

// Where the optimal value is known it decides in place of the gap: a multiplier of the size of rounding on the wrong
// side of a far bound weighs down the gap, but not the answer.
bool isCertified(const Certificate& certificate, double tolerance, bool reachesOptimum) {
  Certificate measures = certificate;
  if (reachesOptimum) measures.gap = 0.0;
  return measures.holds(tolerance);
}

// What the solver promises of an optimum, without the gap, whose terms it takes at the nearer sides.
bool holdsByNorms(const Certificate& certificate, double tolerance) {
  Certificate measures = certificate;
  measures.gap = measures.worstRow = 0.0;
  return measures.holds(tolerance);
}

Judged judgeOptimum(const LinearProgram& program, const Verdict& verdict, const Answer& answer) {
  const bool loose = answer.status == 15;
  const double tolerance = loose ? kLooseTolerance : kTolerance;
  if (verdict.kind != Kind::kOptimal) return {Outcome::kWrong, "a program without an optimum is claimed to have one"};
  const bool known = !std::isnan(verdict.objective);
  const double distance = std::fabs(answer.objective - verdict.objective) / (1.0 + std::fabs(verdict.objective));
  const Certificate certificate = certify(program, answer);
  if (isCertified(certificate, tolerance, known && distance <= tolerance) && (!known || distance <= 2.0 * tolerance))
    return {loose ? Outcome::kNearly : Outcome::kRight, ""};
  const Outcome outcome = holdsByNorms(certificate, tolerance) ? Outcome::kByNorms : Outcome::kWrong;
  return {outcome, format("status %d: ", answer.status) + certificate.text() +
                       format("; objective %.12g, and it is %.12g", answer.objective, verdict.objective)};
}

Judged judgeAnswer(const LinearProgram& program, const Verdict& verdict, const Answer& answer) {
  if (answer.status == 10) return {Outcome::kGivenUp, ""};
  if (answer.status == 1 || answer.status == 15) return judgeOptimum(program, verdict, answer);
  if (isTrueStatus(verdict, answer.status)) return {Outcome::kRight, ""};
  const char* const kinds[] = {"has an optimum", "is infeasible", "is unbounded"};
  return {Outcome::kWrong,
          format("status %d, and the program %s%s", answer.status, kinds[static_cast<int>(verdict.kind)],
                 verdict.hasDualPoint ? " and has a dual point" : "")};
}

// A convex quadratic program of the given kind. Whether an infeasible one has a dual point is left open: both verdicts
// count as true then.
Verdict quadraticVerdict(const LinearProgram& program) {
  const Kind kind = quadraticKind(program);
  return {kind, std::nan(""), kind == Kind::kOptimal};
}

void add(CampaignTable& table, const char* shape, const Verdict* verdict, Outcome outcome) {
  auto row =
      std::find_if(table.shapes.begin(), table.shapes.end(), [&](const ShapeTally& t) { return t.shape == shape; });
  if (row == table.shapes.end()) row = table.shapes.insert(row, ShapeTally{shape});
  ++row->count[static_cast<int>(outcome)];
  if (verdict == nullptr) return;
  row->optimal += verdict->kind == Kind::kOptimal ? 1 : 0;
  row->infeasible += verdict->kind == Kind::kInfeasible ? 1 : 0;
  row->unbounded += verdict->kind == Kind::kUnbounded ? 1 : 0;
}

std::string text(const std::vector<Choice>& choices) {
  std::string all;
  for (const Choice& choice : choices) all += format(" %s %g", choice.name.c_str(), choice.value);
  return all;
}

void runSeed(CampaignTable& table, const Shape& shape, uint64_t seed, bool quadratic) {
  const Drawn drawn = shape.draw(seed);
  Verdict verdict{};
  try {
    verdict = drawn.known ? *drawn.known : quadratic ? quadraticVerdict(drawn.program) : askOracle(drawn.program);
  } catch (const std::runtime_error&) {
    add(table, shape.name, nullptr, Outcome::kNoOracle);
    return;
  }
  const std::vector<Choice> choices = drawChoices(seed, quadratic);
  const Judged judged = judgeAnswer(drawn.program, verdict, solve(drawn.program, choices));
  add(table, shape.name, &verdict, judged.outcome);
  if (judged.outcome == Outcome::kGivenUp) table.givenUp.push_back(seed);
  if (judged.outcome == Outcome::kNearly) table.nearly.push_back(seed);
  if (judged.outcome == Outcome::kWrong || judged.outcome == Outcome::kByNorms)
    (judged.outcome == Outcome::kWrong ? table.wrong : table.byNorms)
        .push_back(
            format("seed %llu (%s;%s): ", static_cast<unsigned long long>(seed), shape.name, text(choices).c_str()) +
            judged.text);
}

std::string listed(const char* title, const std::vector<uint64_t>& seeds) {
  constexpr size_t kShown = 40;
  if (seeds.empty()) return {};
  std::string line(title);
  for (size_t k = 0; k < std::min(seeds.size(), kShown); ++k) line.append(" ").append(std::to_string(seeds[k]));
  return line + (seeds.size() > kShown ? " ...\n" : "\n");
}

}  // namespace

CampaignCase linearCase(uint64_t seed) {
  const Shape& shape = shapeOf(kLinearShapes, seed);
  return {shape.name, shape.draw(seed).program, drawChoices(seed, false)};
}

CampaignCase quadraticCase(uint64_t seed) {
  const Shape& shape = shapeOf(kQuadraticShapes, seed);
  return {shape.name, shape.draw(seed).program, drawChoices(seed, true)};
}

CampaignTable runLinearCampaign(uint64_t first, uint64_t last) {
  CampaignTable table;
  for (uint64_t seed = first; seed <= last; ++seed) runSeed(table, shapeOf(kLinearShapes, seed), seed, false);
  return table;
}

CampaignTable runQuadraticCampaign(uint64_t first, uint64_t last) {
  CampaignTable table;
  for (uint64_t seed = first; seed <= last; ++seed) runSeed(table, shapeOf(kQuadraticShapes, seed), seed, true);
  return table;
}

int CampaignTable::total(Outcome outcome) const {
  int sum = 0;
  for (const ShapeTally& tally : shapes) sum += tally.count[static_cast<int>(outcome)];
  return sum;
}

int CampaignTable::programs() const {
  int sum = 0;
  for (const ShapeTally& tally : shapes)
    for (const int count : tally.count) sum += count;
  return sum;
}

std::string CampaignTable::text() const {
  std::string all = format("%-25s %8s %9s | %8s %8s %8s %8s %8s %9s\n", "shape (optimal,", "infeas.,", "unbounded)",
                           "right", "nearly", "by norms", "given up", "WRONG", "no oracle");
  for (const ShapeTally& t : shapes)
    all += format("%-25s %6d %6d %6d | %8d %8d %8d %8d %8d %9d\n", t.shape.c_str(), t.optimal, t.infeasible,
                  t.unbounded, t.count[0], t.count[1], t.count[2], t.count[3], t.count[4], t.count[5]);
  all += format("%-25s %20d | %8d %8d %8d %8d %8d %9d\n", "all", programs(), total(Outcome::kRight),
                total(Outcome::kNearly), total(Outcome::kByNorms), total(Outcome::kGivenUp), total(Outcome::kWrong),
                total(Outcome::kNoOracle));
  all += listed("nearly:", nearly) + listed("given up:", givenUp);
  for (const std::string& line : byNorms) all += "by norms: " + line + "\n";
  for (const std::string& line : wrong) all += "WRONG: " + line + "\n";
  return all;
}

}  // namespace models

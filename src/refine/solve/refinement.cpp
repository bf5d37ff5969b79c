#include "refine/solve/refinement.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "refine/solve/conjugate_gradients.h"
#include "refine/structure/atom_names.h"

namespace marvik {
namespace {

constexpr int kGradientIterations = 12;
constexpr double kLargestMove = 0.4;      // Å in one cycle; beyond it all shifts are scaled down
constexpr double kLargestUChange = 0.15;  // Å²

// BLOC n1 n2 atoms: in cycle n (counted round to the largest n of all) only the coordinates (n > 0) or the other
// parameters (n < 0) of the atoms that are named for it move, among those that any BLOC names.
struct Block {
  int cycle;
  bool coordinates;
  std::vector<int> sites;
};

std::vector<Block> BlocksOf(const Job& job, const Structure& structure) {
  std::vector<Block> blocks;
  for (const Command& command : job.commands) {
    if (command.keyword != "BLOC") continue;
    std::vector<int> sites;
    for (const int residue : ResiduesOf(structure, command)) {
      for (const SiteImage& i : ResolveAtoms(structure, command, job.commands, command.words, residue).images)
        sites.push_back(i.site);
    }
    for (size_t i = 0; command.words.empty() && i < structure.sites.size(); ++i) sites.push_back(static_cast<int>(i));
    for (size_t i = 0; i < command.numbers.size() && i < 2; ++i) {
      const int n = WholeNumber(command.numbers[i]);
      if (n != 0) blocks.push_back({std::abs(n), n > 0, sites});
    }
  }
  return blocks;
}

std::vector<bool> FrozenParameters(const std::vector<Block>& blocks, const Parametrisation& parametrisation,
                                   int cycle) {
  std::vector<bool> frozen(parametrisation.Size());
  int last = 0;
  for (const Block& b : blocks) last = std::max(last, b.cycle);
  if (last == 0) return frozen;
  const int now = (cycle - 1) % last + 1;
  if (std::none_of(blocks.begin(), blocks.end(), [&](const Block& b) { return b.cycle == now; })) return frozen;
  for (size_t p = 0; p < parametrisation.Size(); ++p) {
    const Parameter& parameter = parametrisation.parameters[p];
    if (parameter.site < 0) continue;
    const bool coordinate = parameter.kind != ParameterKind::Occupancy && parameter.kind != ParameterKind::Displacement;
    bool named = false;
    bool moves = false;
    for (const Block& b : blocks) {
      if (b.coordinates != coordinate || std::find(b.sites.begin(), b.sites.end(), parameter.site) == b.sites.end())
        continue;
      named = true;
      moves = moves || b.cycle == now;
    }
    frozen[p] = named && !moves;
  }
  return frozen;
}

void Freeze(const std::vector<bool>& frozen, NormalSystem& system) {
  for (size_t p = 0; p < frozen.size(); ++p) {
    if (!frozen[p]) continue;
    system.gradient[p] = 0.0;
    for (size_t i = 0; i < p; ++i) system.matrix.At(i, p) = 0.0;
    for (size_t j = p + 1; j < frozen.size(); ++j) system.matrix.At(p, j) = 0.0;
  }
}

double RestrainedGoof(const Residuals& r, size_t parameters, const RestraintSums& sums) {
  const double n = static_cast<double>(r.all) - static_cast<double>(parameters);
  const double total = r.goof * r.goof * std::max(0.0, n) + sums.scale * sums.sum;
  const double all = n + sums.restraints;
  return all > 0.0 ? std::sqrt(total / all) : 0.0;
}

class Cycler {
 public:
  Cycler(const Job& job, Structure& structure, Parametrisation& parametrisation, const Observations& observations,
         const RestraintList& restraints)
      : job_(job),
        structure_(structure),
        parametrisation_(parametrisation),
        restraints_(restraints),
        pass_(structure, observations, job.weights),
        solver_(MakeCholeskySolver()),
        blocks_(BlocksOf(job, structure)) {}

  // Shifts at the present model, which is calculated on the way.
  Solution Shifts(int cycle, Calculated& calculated) {
    const std::vector<bool> frozen = FrozenParameters(blocks_, parametrisation_, cycle);
    if (!job_.conjugateGradients) {
      NormalSystem system = Assemble(calculated);
      Freeze(frozen, system);
      return solver_->Solve(system, job_.damping);
    }
    parametrisation_.Refresh(structure_);
    pass_.Run(calculated);
    Solution solution;
    solution.shifts = ConjugateGradientShifts(pass_, parametrisation_, MakeAllEquations(calculated),
                                              kGradientIterations, frozen, calculated);
    solution.variances.assign(parametrisation_.Size(), 0.0);
    return solution;
  }

  // Figures and covariance of the final model.
  void Finish(RefinementResult& result) {
    const size_t n = parametrisation_.Size();
    if (job_.conjugateGradients) {
      pass_.Run(result.calculated);
      MakeAllEquations(result.calculated);
    } else {
      const NormalSystem system = Assemble(result.calculated);
      result.covariance = solver_->Inverse(system);
      const double s2 = std::pow(MakeResiduals(result.calculated, n).goof, 2);
      for (double& v : result.covariance) v *= s2;
      for (size_t p = 0; p < n; ++p) result.sigmas.push_back(std::sqrt(std::max(0.0, result.covariance[p * n + p])));
    }
    result.final = MakeResiduals(result.calculated, n);
    result.restrainedGoof = RestrainedGoof(result.final, n, sums_);
    result.restraints = static_cast<size_t>(std::lround(sums_.restraints));
  }

  // Normal equations at the present model.
  NormalSystem Assemble(Calculated& calculated) {
    const size_t n = parametrisation_.Size();
    parametrisation_.Refresh(structure_);
    while (systems_.size() < DataPass::kThreads) systems_.emplace_back(n);
    for (NormalSystem& s : systems_) {
      s.matrix.Clear();
      std::fill(s.gradient.begin(), s.gradient.end(), 0.0);
    }
    pass_.Run(calculated, &parametrisation_, [&](int thread, const double* rows, const Lanes& residual) {
      NormalSystem& s = systems_[static_cast<size_t>(thread)];
      s.matrix.Update(rows);
      for (size_t p = 0; p < n; ++p) {
        const double* row = rows + p * kBlock;
        double sum = 0.0;
        for (size_t i = 0; i < kBlock; ++i) sum += row[i] * residual[i];
        s.gradient[p] += sum;
      }
    });
    NormalSystem total = systems_[0];
    for (size_t t = 1; t < systems_.size(); ++t) {
      total.matrix.Add(systems_[t].matrix);
      for (size_t p = 0; p < n; ++p) total.gradient[p] += systems_[t].gradient[p];
    }
    std::vector<ParameterEquation> equations = MakeAllEquations(calculated);
    double strength = 1.0;
    for (size_t p = 0; p < n; ++p) strength = std::max(strength, total.matrix.At(p, p));
    const size_t before = equations.size();
    AddOriginEquations(structure_, parametrisation_, strength, equations);
    sums_.restraints += static_cast<double>(equations.size() - before);
    AddEquations(equations, total);
    return total;
  }

  std::vector<ParameterEquation> MakeAllEquations(const Calculated& calculated) {
    const Residuals r = MakeResiduals(calculated, parametrisation_.Size());
    // Restraints count against the mean weighted square of the residuals.
    const double freedom = 1.0 - static_cast<double>(parametrisation_.Size()) / static_cast<double>(r.all);
    sums_ = {};
    sums_.scale = std::max(1e-3, r.goof * r.goof * std::max(0.0, freedom));
    return MakeEquations(structure_, parametrisation_, restraints_, sums_);
  }

  const RestraintSums& Sums() const { return sums_; }
  DataPass& Pass() { return pass_; }

 private:
  const Job& job_;
  Structure& structure_;
  Parametrisation& parametrisation_;
  const RestraintList& restraints_;
  DataPass pass_;
  std::unique_ptr<NormalSolver> solver_;
  std::vector<Block> blocks_;
  std::vector<NormalSystem> systems_;
  RestraintSums sums_;
};

// Factor that brings the largest move of an atom and change of U into bounds.
double StepLimit(const Structure& structure, const Parametrisation& parametrisation, const std::vector<double>& shifts,
                 CycleReport& report) {
  const auto change = [&](int site, int raw) {
    double sum = 0.0;
    for (const Term& t : parametrisation.RowOf(site, raw)) sum += t.factor * shifts[static_cast<size_t>(t.parameter)];
    return sum;
  };
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    const int site = static_cast<int>(i);
    const Fractional d{change(site, 0), change(site, 1), change(site, 2)};
    const double move = std::sqrt(structure.metric.DistanceSquared(d, {}));
    if (!(move <= report.largestMove)) report.largestMove = move, report.movedAtom = structure.sites[i].label;
    for (int k = 0; k < (structure.sites[i].anisotropic ? 6 : 1); ++k) {
      const double du = std::fabs(change(site, kRawU + k));
      if (!(du <= report.largestU)) report.largestU = du, report.changedAtom = structure.sites[i].label;
    }
  }
  double factor = 1.0;
  if (report.largestMove > kLargestMove) factor = std::min(factor, kLargestMove / report.largestMove);
  if (report.largestU > kLargestUChange) factor = std::min(factor, kLargestUChange / report.largestU);
  return factor;
}

void NoteShifts(const Parametrisation& parametrisation, const Solution& solution, double goof, CycleReport& report) {
  double sum = 0.0;
  for (size_t p = 0; p < solution.shifts.size(); ++p) {
    const double sigma = std::sqrt(solution.variances[p]) * goof;
    const double ratio = sigma > 0.0 ? std::fabs(solution.shifts[p]) / sigma : 0.0;
    sum += ratio;
    if (ratio > report.largestShift)
      report.largestShift = ratio, report.largestName = parametrisation.parameters[p].name;
  }
  report.meanShift = solution.shifts.empty() ? 0.0 : sum / static_cast<double>(solution.shifts.size());
}

bool AllFinite(const std::vector<double>& v) {
  return std::all_of(v.begin(), v.end(), [](double x) { return std::isfinite(x); });
}

// A displacement that ran below zero would grow the atom without bounds: isotropic ones are brought back.
void TameDisplacements(Structure& structure) {
  for (Site& site : structure.sites) {
    if (!site.anisotropic && site.u[0] < 0.001 && site.code[kRawU] == 0.0) site.u[0] = 0.001;
  }
}

void NoteSingular(const Parametrisation& parametrisation, const Solution& solution, RefinementResult& result,
                  const LineSink& print) {
  for (const int p : solution.singular) {
    const std::string& name = parametrisation.parameters[static_cast<size_t>(p)].name;
    if (std::find(result.singular.begin(), result.singular.end(), name) != result.singular.end()) continue;
    result.singular.push_back(name);
    print(" ** The data do not determine " + name + "; it is not changed **");
  }
}

// The model that the last cycle started from, and how it was left.
struct LastGood {
  Structure structure;
  double wR2;
  std::vector<double> shifts;
  int cuts;
};

// Back to the last good model and a third of the step from there; false when that was tried three times.
bool StepBack(LastGood& last, Structure& structure, Parametrisation& parametrisation, const LineSink& print) {
  structure = last.structure;
  if (++last.cuts > 3) return false;
  for (double& s : last.shifts) s *= 0.3;
  print(" The shifts of the last cycle made the fit worse and are cut to a third");
  parametrisation.Refresh(structure);
  parametrisation.Apply(last.shifts, structure);
  TameDisplacements(structure);
  return true;
}

void StartScale(Structure& structure, DataPass& pass, Calculated& calculated, const LineSink& print) {
  const double old = structure.scale;
  if (MatchScale(structure, pass, calculated)) {
    print(Printf(" Scale factor changed from %.5f to %.5f before the first cycle", old, structure.scale));
  }
}

void PrintCycle(size_t cycle, const CycleReport& report, size_t parameters, const LineSink& print) {
  print(Printf(" Cycle %3zu  wR2 = %.4f  R1 = %.4f  S = %.3f  before, %zu data, %zu parameters", cycle,
               report.before.wR2, report.before.r1, report.before.goof, report.before.all, parameters));
  print(Printf("            shift/su: mean %.3f, largest %.3f for %s; largest move %.4f A for %s", report.meanShift,
               report.largestShift, report.largestName.empty() ? "-" : report.largestName.c_str(), report.largestMove,
               report.movedAtom.empty() ? "-" : report.movedAtom.c_str()));
}

}  // namespace

bool MatchScale(Structure& structure, DataPass& pass, Calculated& calculated) {
  pass.Run(calculated);
  // Weights depend on the scale, so a grossly wrong one is found from plain sums.
  double top = 0.0;
  double bottom = 0.0;
  for (size_t i = 0; i < calculated.fo2.size(); ++i) top += calculated.fo2[i], bottom += calculated.fc2[i];
  const double factor = bottom > 0.0 && top > 0.0 ? std::sqrt(top / bottom) : 1.0;
  if (factor > 0.67 && factor < 1.5) return false;
  structure.scale *= factor;
  pass.Run(calculated);
  return true;
}

std::vector<std::string> NotPositiveAtoms(const Structure& structure) {
  std::vector<std::string> names;
  for (const Site& site : structure.sites) {
    const bool bad =
        site.anisotropic ? SymmetricEigen(structure.metric.CartesianU(site.u)).values[0] <= 0.0 : site.u[0] <= 0.0;
    if (bad) names.push_back(site.label);
  }
  return names;
}

RefinementResult Refine(const Job& job, Structure& structure, Parametrisation& parametrisation,
                        const Observations& observations, const RestraintList& restraints, const LineSink& print) {
  RefinementResult result;
  result.parameters = parametrisation.Size();
  Cycler cycler(job, structure, parametrisation, observations, restraints);
  StartScale(structure, cycler.Pass(), result.calculated, print);
  LastGood last{structure, 1e30, std::vector<double>(result.parameters), 0};
  for (int cycle = 1; cycle <= job.cycles; ++cycle) {
    CycleReport report;
    Solution solution = cycler.Shifts(cycle, result.calculated);
    report.before = MakeResiduals(result.calculated, result.parameters);
    report.restrainedGoof = RestrainedGoof(report.before, result.parameters, cycler.Sums());
    const bool hopeless = !AllFinite(solution.shifts) || !std::isfinite(report.before.wR2);
    if (cycle > 1 && (hopeless || report.before.wR2 > last.wR2 * 1.3 + 0.05)) {
      if (StepBack(last, structure, parametrisation, print)) continue;
      const std::string atom = result.cycles.empty() ? "?" : result.cycles.back().movedAtom;
      result.problem = "THE REFINEMENT DIVERGES; " + atom + " MOVED MOST; THE LAST GOOD MODEL IS KEPT";
      break;
    }
    if (hopeless) {
      result.problem = "THE MODEL GIVES NO FINITE STRUCTURE FACTORS";
      result.failed = true;
      return result;
    }
    NoteSingular(parametrisation, solution, result, print);
    NoteShifts(parametrisation, solution, report.before.goof, report);
    double factor = StepLimit(structure, parametrisation, solution.shifts, report);
    if (report.largestShift > job.largestShift && job.largestShift > 0.0) {
      factor = std::min(factor, job.largestShift / report.largestShift);
    }
    for (double& s : solution.shifts) s *= factor;
    report.largestMove *= factor;
    last.structure = structure;
    last.wR2 = report.before.wR2;
    last.shifts = solution.shifts;
    parametrisation.Apply(solution.shifts, structure);
    TameDisplacements(structure);
    PrintCycle(static_cast<size_t>(cycle), report, result.parameters, print);
    if (factor < 1.0) print(Printf("            shifts scaled by %.3f", factor));
    result.lastShift = report.largestShift;
    result.lastMeanShift = report.meanShift;
    result.cycles.push_back(report);
  }
  cycler.Finish(result);
  return result;
}

}  // namespace marvik

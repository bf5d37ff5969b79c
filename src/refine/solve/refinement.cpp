#include "refine/solve/refinement.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "refine/factors/lane_math.h"
#include "refine/solve/conjugate_gradients.h"
#include "refine/structure/atom_names.h"

namespace marvik {
namespace {

constexpr int kGradientIterations = 12;
constexpr double kLargestMove = 0.4;       // Å in one cycle
constexpr double kLargestUChange = 0.15;   // Å²
constexpr double kWorse = 1.3;             // wR2 against that of the cycle before; beyond it the model goes back,
constexpr double kMoreWorse = 0.05;        // and by so much more,
constexpr double kMoreWorseStirred = 0.4;  // or, where reflections came in, this

// BLOC n1 n2 atoms: in cycle n (counted round to the largest n of all) only the coordinates (n > 0) or the other
// parameters (n < 0) of the atoms that are named for it move, among those that any BLOC names.
struct Block {
  int cycle;
  bool coordinates;
  std::vector<int> sites;
};

std::vector<Block> BlocksOf(const Job& job, const Structure& structure) {
  std::vector<Block> blocks;
  for (const Instruction& command : job.commands) {
    if (command.name != "BLOC") continue;
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

// So many blocks of derivatives are kept at a time that a tile of the matrix is worth fetching, and so few that they
// stay in the cache that the cores share.
size_t BatchBlocks(size_t parameters, size_t dataBlocks) {
  constexpr size_t kBatchBytes = size_t{24} << 20;
  const size_t bytes = std::max<size_t>(1, parameters) * kBlock * sizeof(double);
  return std::clamp<size_t>(kBatchBytes / bytes, 4, std::max<size_t>(4, dataBlocks));
}

// Data for each that is unique in the Laue group: one, but for Friedel opposites that are kept apart. They are not
// independent observations of the atoms, and published uncertainties count them as one.
double FriedelFactor(const Structure& structure, const Observations& observations) {
  if (structure.group.hasInversion || observations.Size() == 0) return 1.0;
  const auto unique = [&](bool friedel) {
    std::vector<Miller> indices;
    for (const Miller& h : observations.indices[0]) indices.push_back(structure.group.Representative(h, friedel));
    std::sort(indices.begin(), indices.end());
    return static_cast<double>(std::unique(indices.begin(), indices.end()) - indices.begin());
  };
  return unique(false) / unique(true);
}

class Cycler {
 public:
  Cycler(const Job& job, Structure& structure, Parametrisation& parametrisation, const Observations& observations,
         const RestraintList& restraints)
      : job_(job),
        structure_(structure),
        parametrisation_(parametrisation),
        restraints_(restraints),
        pass_(structure, observations, job.weights, job.threads),
        solver_(pass_.Threads()),
        blocks_(BlocksOf(job, structure)),
        groups_(ParameterGroups(parametrisation)),
        dataBlocks_(observations.Blocks()),
        system_(job.conjugateGradients ? 0 : parametrisation.Size()),
        rows_(system_.gradient.size(), BatchBlocks(system_.gradient.size(), dataBlocks_)),
        friedel_(FriedelFactor(structure, observations)) {}

  // Shifts at the present model, which is calculated on the way; conjugate gradients end after `iterations`.
  Solution Shifts(int cycle, Calculated& calculated, int iterations = kGradientIterations) {
    const std::vector<bool> frozen = FrozenParameters(blocks_, parametrisation_, cycle);
    if (!job_.conjugateGradients) {
      Assemble(calculated);
      Freeze(frozen, system_);
      return solver_.Solve(system_, job_.damping, groups_);
    }
    parametrisation_.Refresh(structure_);
    pass_.Run(calculated);
    return ConjugateGradientShifts(pass_, parametrisation_, groups_, MakeAllEquations(calculated), iterations, frozen,
                                   calculated);
  }

  // Figures and covariance of the final model.
  void Finish(RefinementResult& result) {
    const size_t n = parametrisation_.Size();
    result.friedelFactor = friedel_;
    if (job_.conjugateGradients) {
      const Solution solution = Shifts(0, result.calculated, 0);  // for its variances
      const double s2 = VarianceScale(MakeResiduals(result.calculated, n));
      for (const double v : solution.variances) result.sigmas.push_back(std::sqrt(v * s2));
      result.blockSigmas = true;
    } else {
      Assemble(result.calculated);
      solver_.Invert(system_.matrix);
      const double s2 = VarianceScale(MakeResiduals(result.calculated, n));
      for (size_t i = 0; i < n; ++i) {
        for (size_t j = 0; j <= i; ++j) system_.matrix.At(i, j) *= s2;
        result.sigmas.push_back(std::sqrt(std::max(0.0, system_.matrix.At(i, i))));
      }
      result.covariance = std::move(system_.matrix);
    }
    result.final = MakeResiduals(result.calculated, n);
    result.restrainedGoof = RestrainedGoof(result.final, n, sums_);
    result.restraints = static_cast<size_t>(std::lround(sums_.restraints));
  }

  // Variances in units of the inverse normal matrix: S², and Friedel opposites as not independent of each other.
  double VarianceScale(const Residuals& r) const { return r.goof * r.goof * friedel_; }

  // Normal equations at the present model.
  void Assemble(Calculated& calculated) {
    const size_t n = parametrisation_.Size();
    parametrisation_.Refresh(structure_);
    system_.matrix.Clear();
    std::fill(system_.gradient.begin(), system_.gradient.end(), 0.0);
    std::vector<double> gradients(n * rows_.Blocks());
    for (size_t first = 0; first < dataBlocks_; first += rows_.Blocks()) {
      const size_t last = std::min(dataBlocks_, first + rows_.Blocks());
      pass_.RunBlocks(first, last, calculated, parametrisation_,
                      [&](size_t block, const double* rows, const Lanes& residual) {
                        rows_.Fill(block - first, rows);
                        double* gradient = &gradients[(block - first) * n];
                        for (size_t p = 0; p < n; ++p)
                          gradient[p] = SumOfProducts<kBlock>(rows + p * kBlock, residual.data());
                      });
      system_.matrix.AddProducts(rows_, last - first, pass_.Threads());
      for (size_t block = 0; block < last - first; ++block) {
        for (size_t p = 0; p < n; ++p) system_.gradient[p] += gradients[block * n + p];
      }
    }
    std::vector<ParameterEquation> equations = MakeAllEquations(calculated);
    double strength = 1.0;
    for (size_t p = 0; p < n; ++p) strength = std::max(strength, system_.matrix.At(p, p));
    const size_t before = equations.size();
    AddOriginEquations(structure_, parametrisation_, strength, equations);
    sums_.restraints += static_cast<double>(equations.size() - before);
    AddEquations(equations, system_);
  }

  std::vector<ParameterEquation> MakeAllEquations(const Calculated& calculated) {
    const Residuals r = MakeResiduals(calculated, parametrisation_.Size());
    // Restraints count against the mean weighted square of the residuals.
    const double freedom = 1.0 - static_cast<double>(parametrisation_.Size()) / static_cast<double>(r.all);
    sums_ = {};
    sums_.scale = std::max(1e-3, r.goof * r.goof * std::max(0.0, freedom));
    std::vector<ParameterEquation> equations = MakeEquations(structure_, parametrisation_, restraints_, sums_);
    AddScaleEquations(structure_, parametrisation_, sums_, equations);
    return equations;
  }

  const RestraintSums& Sums() const { return sums_; }
  DataPass& Pass() { return pass_; }

 private:
  const Job& job_;
  Structure& structure_;
  Parametrisation& parametrisation_;
  const RestraintList& restraints_;
  DataPass pass_;
  NormalSolver solver_;
  std::vector<Block> blocks_;
  std::vector<std::vector<int>> groups_;  // of parameters, by atoms
  size_t dataBlocks_;
  NormalSystem system_;
  RowBatch rows_;
  RestraintSums sums_;
  double friedel_;
};

// Brings the move of every atom, the change of every U and every shift against its uncertainty into bounds, each
// parameter for itself, so that one bad atom holds nobody else. How many parameters were held back.
size_t LimitShifts(const Structure& structure, const Parametrisation& parametrisation, double largestShift,
                   const std::vector<double>& sigmas, std::vector<double>& shifts, CycleReport& report) {
  std::vector<double> factors(shifts.size(), 1.0);
  const auto limit = [&](int site, int firstRaw, int count, double factor) {
    for (int raw = firstRaw; raw < firstRaw + count; ++raw) {
      for (const Term& t : parametrisation.RowOf(site, raw)) {
        double& f = factors[static_cast<size_t>(t.parameter)];
        f = std::min(f, factor);
      }
    }
  };
  const auto change = [&](int site, int raw) {
    double sum = 0.0;
    for (const Term& t : parametrisation.RowOf(site, raw)) sum += t.factor * shifts[static_cast<size_t>(t.parameter)];
    return sum;
  };
  for (size_t p = 0; p < shifts.size(); ++p) {
    if (largestShift > 0.0 && sigmas[p] > 0.0 && std::fabs(shifts[p]) > largestShift * sigmas[p])
      factors[p] = largestShift * sigmas[p] / std::fabs(shifts[p]);
  }
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    const int site = static_cast<int>(i);
    const double move =
        std::sqrt(structure.metric.DistanceSquared({change(site, 0), change(site, 1), change(site, 2)}, {}));
    if (move > kLargestMove) limit(site, 0, 3, kLargestMove / move);
    if (!(move <= report.largestMove)) report.largestMove = move, report.movedAtom = structure.sites[i].label;
    const int raws = structure.sites[i].anisotropic ? 6 : 1;
    for (int k = 0; k < raws; ++k) {
      const double du = std::fabs(change(site, kRawU + k));
      if (du > kLargestUChange) limit(site, kRawU, raws, kLargestUChange / du);
      if (!(du <= report.largestU)) report.largestU = du, report.changedAtom = structure.sites[i].label;
    }
  }
  size_t held = 0;
  for (size_t p = 0; p < shifts.size(); ++p) {
    shifts[p] *= factors[p];
    held += factors[p] < 1.0;
  }
  report.largestMove = std::min(report.largestMove, kLargestMove);
  return held;
}

// Parameters that swing to and fro are given smaller and smaller steps, and named when they go on; torsions that creep
// are given larger ones.
class Damper {
 public:
  explicit Damper(const Parametrisation& parametrisation)
      : parametrisation_(parametrisation),
        last_(parametrisation.Size()),
        factors_(parametrisation.Size(), 1.0),
        swings_(parametrisation.Size()) {}

  void Damp(const std::vector<double>& sigmas, std::vector<double>& shifts, const LineSink& print) {
    constexpr double kNoticed = 0.003;  // σ
    constexpr double kTold = 0.1;       // σ, after damping
    constexpr int kNamed = 4;
    for (size_t p = 0; p < shifts.size(); ++p) {
      const bool swings = shifts[p] * last_[p] < 0.0 && std::fabs(shifts[p]) > 0.5 * std::fabs(last_[p]) &&
                          std::fabs(shifts[p]) > kNoticed * sigmas[p];
      // A torsion near a maximum of the misfit creeps away from it; it is helped along.
      const bool creeps = parametrisation_.parameters[p].kind == ParameterKind::Torsion && shifts[p] * last_[p] > 0.0 &&
                          std::fabs(shifts[p]) > 0.6 * std::fabs(last_[p]);
      factors_[p] = swings   ? std::max(0.02, 0.5 * std::min(1.0, factors_[p]))
                    : creeps ? std::min(8.0, 2.0 * factors_[p])
                             : std::min(1.0, 1.1 * factors_[p]);
      last_[p] = shifts[p];
      shifts[p] *= factors_[p];
      if (swings && std::fabs(shifts[p]) > kTold * sigmas[p] && ++swings_[p] == kNamed)
        print("            " + parametrisation_.parameters[p].name + " swings to and fro; its shifts are damped");
    }
  }

 private:
  const Parametrisation& parametrisation_;
  std::vector<double> last_;
  std::vector<double> factors_;
  std::vector<int> swings_;
};

std::vector<double> SigmasOf(const Solution& solution, double scale) {
  std::vector<double> sigmas;
  for (const double v : solution.variances) sigmas.push_back(std::sqrt(v * scale));
  return sigmas;
}

void NoteShifts(const Parametrisation& parametrisation, const std::vector<double>& shifts,
                const std::vector<double>& sigmas, CycleReport& report) {
  double sum = 0.0;
  for (size_t p = 0; p < shifts.size(); ++p) {
    const double ratio = sigmas[p] > 0.0 ? std::fabs(shifts[p]) / sigmas[p] : 0.0;
    sum += ratio;
    if (ratio > report.largestShift)
      report.largestShift = ratio, report.largestName = parametrisation.parameters[p].name;
  }
  report.meanShift = shifts.empty() ? 0.0 : sum / static_cast<double>(shifts.size());
}

bool AllFinite(const std::vector<double>& v) {
  return std::all_of(v.begin(), v.end(), [](double x) { return std::isfinite(x); });
}

// A displacement that ran below zero would grow the atom without bounds: isotropic ones are brought back, and the
// principal values of tensors are where XNPD asks for it (leastU).
void TameDisplacements(Structure& structure, double leastU) {
  for (Site& site : structure.sites) {
    if (!site.anisotropic && site.u[0] < 0.001 && site.code[kRawU] == 0.0) site.u[0] = 0.001;
    if (!site.anisotropic || leastU <= 0.0) continue;
    const Metric& metric = structure.metric;
    const Eigen3 axes = SymmetricEigen(metric.CartesianU(site.u));
    if (axes.values[0] >= leastU) continue;
    Mat3 raised;
    for (int k = 0; k < 3; ++k)
      for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
          raised[i][static_cast<size_t>(j)] += std::max(leastU, axes.values[static_cast<size_t>(k)]) *
                                               axes.vectors[k][static_cast<size_t>(i)] *
                                               axes.vectors[k][static_cast<size_t>(j)];
    const Mat3 beta = metric.fractional * raised * Transposed(metric.fractional);
    for (int i = 0; i < 3; ++i)
      for (int j = i; j < 3; ++j) {
        const auto at = static_cast<size_t>(TensorIndex(i, j));
        if (site.code[kRawU + at] == 0.0)
          site.u[at] = beta[i][static_cast<size_t>(j)] / (metric.reciprocalEdges[static_cast<size_t>(i)] *
                                                          metric.reciprocalEdges[static_cast<size_t>(j)]);
      }
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
bool StepBack(LastGood& last, Structure& structure, Parametrisation& parametrisation, double leastU,
              const LineSink& print) {
  structure = last.structure;
  if (++last.cuts > 3) return false;
  for (double& s : last.shifts) s *= 0.3;
  print(" The shifts of the last cycle made the fit worse and are cut to a third");
  parametrisation.Refresh(structure);
  parametrisation.Apply(last.shifts, structure);
  TameDisplacements(structure, leastU);
  return true;
}

std::string Divergence(const RefinementResult& result) {
  const std::string atom = result.cycles.empty() ? "?" : result.cycles.back().movedAtom;
  return "THE REFINEMENT DIVERGES; " + atom + " MOVED MOST; THE LAST GOOD MODEL IS KEPT";
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
  if (job.leastU > 0.0) TameDisplacements(structure, job.leastU);
  cycler.Pass().SetResolution(job.stirFrom);
  StartScale(structure, cycler.Pass(), result.calculated, print);
  Damper damper(parametrisation);
  LastGood last{structure, 1e30, std::vector<double>(result.parameters), 0};
  for (int cycle = 1; cycle <= job.cycles; ++cycle) {
    CycleReport report;
    cycler.Pass().SetResolution(std::max(0.0, job.stirFrom - job.stirStep * (cycle - 1)));
    Solution solution = cycler.Shifts(cycle, result.calculated);
    report.before = MakeResiduals(result.calculated, result.parameters);
    report.restrainedGoof = RestrainedGoof(report.before, result.parameters, cycler.Sums());
    const bool hopeless = !AllFinite(solution.shifts) || !std::isfinite(report.before.wR2);
    const bool stirred = job.stirFrom > 0.0 && report.before.all < observations.Size();
    const double more = job.stirFrom > 0.0 && job.stirStep > 0.0 ? kMoreWorseStirred : kMoreWorse;
    if (cycle > 1 && (hopeless || report.before.wR2 > last.wR2 * kWorse + more)) {
      if (StepBack(last, structure, parametrisation, job.leastU, print)) continue;
      result.problem = Divergence(result);
      break;
    }
    if (hopeless) {
      result.problem = "THE MODEL GIVES NO FINITE STRUCTURE FACTORS";
      result.failed = true;
      return result;
    }
    if (!stirred) NoteSingular(parametrisation, solution, result, print);
    const std::vector<double> sigmas = SigmasOf(solution, cycler.VarianceScale(report.before));
    NoteShifts(parametrisation, solution.shifts, sigmas, report);
    damper.Damp(sigmas, solution.shifts, print);
    const size_t held = LimitShifts(structure, parametrisation, job.largestShift, sigmas, solution.shifts, report);
    last.structure = structure;
    last.wR2 = report.before.wR2;
    last.shifts = solution.shifts;
    parametrisation.Apply(solution.shifts, structure);
    TameDisplacements(structure, job.leastU);
    PrintCycle(static_cast<size_t>(cycle), report, result.parameters, print);
    if (held > 0) print(Printf("            the shifts of %zu parameters were cut to their limits", held));
    result.lastShift = report.largestShift;
    result.lastMeanShift = report.meanShift;
    result.cycles.push_back(report);
    if (report.meanShift < job.settled) break;
  }
  // What the last cycle made of the model is looked at like that of any other.
  while (job.cycles > 0 && result.problem.empty()) {
    cycler.Pass().Run(result.calculated);
    const double wR2 = MakeResiduals(result.calculated, result.parameters).wR2;
    if (wR2 <= last.wR2 * kWorse + kMoreWorse) break;
    if (StepBack(last, structure, parametrisation, job.leastU, print)) continue;
    result.problem = Divergence(result);
  }
  cycler.Pass().SetResolution(0.0);
  cycler.Finish(result);
  return result;
}

}  // namespace marvik

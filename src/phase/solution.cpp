#include "phase/solution.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "crystal/symmetry.h"
#include "phase/cell_strain.h"
#include "phase/molecules.h"

namespace marvik::phase {
namespace {

constexpr double kGoodEnough = 0.20;  // R1 that needs no second opinion
constexpr double kSmallGood = 0.06;   // the same where looking twice costs nothing
constexpr double kDoubtful = 0.10;    // R of intensities that a true operation seldom leaves
constexpr double kWorthALook = 0.7;   // of |E|, a model's correlation
constexpr int kFewStarts = 40;
constexpr size_t kSmall = 1500;  // unique reflections
constexpr size_t kMostCandidates = 5;
constexpr size_t kMostShown = 999;        // peaks, as far as names go
constexpr double kHopeless = 1.5;         // of R1
constexpr double kPseudoSymmetry = 0.82;  // of R1, that half the operations fall below where the others are false

class Solver {
 public:
  Solver(Problem& problem, const SolveOptions& options, Solution& solution)
      : problem_(problem), options_(options), solution_(solution) {}

  void Run() {
    // Intensities that a twin makes nearly equal hide the lower class: when nothing fits, the next attempts trust them
    // less. Before a doubtful class costs much, a twin taken apart has its chance.
    const struct {
      AnalysisOptions analysis;
      int starts;  // where there is doubt
    } attempts[] = {{{false, 0.25, false}, kFewStarts},
                    {{false, 0.10, true}, kFewStarts},
                    {{false, 0.25, false}, kMostStarts},
                    {{false, 0.10, false}, kMostStarts},
                    {{false, 0.0, false}, kMostStarts}};
    for (const auto& attempt : attempts) {
      if (!Attempt(attempt.analysis, attempt.starts)) return;
      if (options_.groupAsGiven) break;
      if (!solution_.candidates.empty() && solution_.candidates[0].Right() && !Doubtful(solution_.candidates[0])) break;
    }
    Conclude();
  }

 private:
  bool Tell(const std::string& what, double share) {
    if (options_.progress && !options_.progress(what, share)) solution_.cancelled = true;
    return !solution_.cancelled;
  }

  // False when there is nothing more to do.
  bool Attempt(AnalysisOptions analysis, int most) {
    analysis.given = options_.groupAsGiven;
    DataStatistics data;
    std::string sentence;
    const std::vector<std::string> before = problem_.notes;
    if (!AnalyseData(problem_, analysis, data, sentence)) {
      if (solution_.sentence.empty()) solution_.sentence = sentence;
      return false;
    }
    if (analysis.detwin ? data.secondPart == 0.0 : tried_ == data.laue) {
      problem_.notes = before;
      return true;
    }
    doubtful_ = std::any_of(data.agreements.begin(), data.agreements.end(), [&](const RotationAgreement& a) {
      return a.r > kDoubtful && std::find(data.laue.begin(), data.laue.end(), a.rotation) != data.laue.end();
    });
    PhasingOptions phasing;
    phasing.seed = options_.seed;
    phasing.threads = options_.threads;
    phasing.effort = options_.effort;
    phasing.starts = doubtful_ || analysis.detwin ? most : kMostStarts;
    phasing.progress = [&](int starts, const PhaseMerit& best) {
      solution_.starts = std::max(solution_.starts, starts);
      return Tell(Printf("phases: start %d, best CC %.2f", starts, best.correlation), 0.3);
    };
    if (options_.show) phasing.accepted = [&](const PhaseSet& set) { ShowPhases(data, set); };
    if (!Tell("phases", 0.1)) return false;
    const std::vector<PhaseSet> sets = FindPhases(data, phasing);
    if (solution_.cancelled) return false;
    const bool cutShort = phasing.starts < kMostStarts && (sets.empty() || !sets[0].merit.Accepted());
    if (!analysis.detwin && !cutShort) tried_ = data.laue;
    const size_t known = solution_.candidates.size();
    // Of a twin taken apart the same groups make better models.
    before_ = analysis.detwin ? known : 0;
    int doubtful = 0;
    for (const PhaseSet& set : sets) {
      if (!set.merit.Accepted() && (doubtful++ >= 2 || set.merit.correlation < 0.55)) break;
      TrySet(data, set);
      if (solution_.cancelled) return false;
      if (GoodEnough(data)) break;
    }
    if (!sets.empty() && !options_.groupAsGiven) LookAgain(data, sets[0]);
    std::stable_sort(solution_.candidates.begin(), solution_.candidates.end(), Before);
    if (known == 0 || solution_.candidates[0].r1 < bestBefore_) solution_.statistics = data;
    bestBefore_ = Best();
    return true;
  }

  double Best() const {
    double best = 1.0;
    for (const Candidate& c : solution_.candidates) best = std::min(best, c.r1);
    return best;
  }

  // A few atoms fit few reflections in groups of too many operations as well.
  bool GoodEnough(const DataStatistics& data) const {
    const auto best = std::min_element(solution_.candidates.begin(), solution_.candidates.end(),
                                       [](const Candidate& a, const Candidate& b) { return a.r1 < b.r1; });
    return best != solution_.candidates.end() && !Doubtful(*best) &&
           best->r1 < (data.merged.size() < kSmall ? kSmallGood : kGoodEnough);
  }

  // A twin that was found explains what made intensities of a lower class nearly equal.
  bool Doubtful(const Candidate& c) const { return doubtful_ && !(c.twin.present && c.r1 < kGoodEnough); }

  static bool Before(const Candidate& a, const Candidate& b) {
    if (a.Right() != b.Right()) return a.Right();
    // A subgroup has twice the atoms and fits better by that alone.
    const double ordersApart = std::log2(static_cast<double>(a.group.Order()) / static_cast<double>(b.group.Order()));
    return a.r1 < b.r1 * std::pow(0.62, -ordersApart);
  }

  void TrySet(const DataStatistics& data, const PhaseSet& set) {
    const auto groups = options_.groupAsGiven ? GivenSpaceGroup(problem_, data, set) : RankSpaceGroups(data, set);
    size_t tried = 0;
    for (const GroupCandidate& group : groups) {
      const auto from = solution_.candidates.begin() + static_cast<std::ptrdiff_t>(before_);
      const bool known = std::any_of(from, solution_.candidates.end(), [&](const Candidate& c) {
        // Of the subgroups of a model that may be right one tells whether its symmetry is real.
        return c.Right() && (c.group.symbol == group.symbol || 2 * group.Order() < c.group.Order() ||
                             (weighed_ && group.Order() < c.group.Order()));
      });
      if (known || TooLow(data, group) || (tried > 0 && !WorthTrying(group))) continue;
      const size_t most = !set.merit.Accepted() ? 1 : data.merged.size() < kSmall ? 12 : 3;
      if (tried++ >= most || !Tell("model in " + group.symbol, 0.6)) return;
      Build(data, set, group);
      if (GoodEnough(data)) return;
    }
  }

  // The phases of a model are better than those that it came from: symmetry that twinning or errors hid shows in them.
  void LookAgain(const DataStatistics& data, const PhaseSet& like) {
    const auto best = std::min_element(solution_.candidates.begin(), solution_.candidates.end(), Before);
    if (best == solution_.candidates.end() || GoodEnough(data) || best->correlation < kWorthALook) return;
    const PhaseSet set = PhasesOf(data, *best, like);
    const size_t order = best->group.Order();
    for (const GroupCandidate& group : RankSpaceGroups(data, set)) {
      if (!group.Fits() || group.Order() <= order || solution_.cancelled) break;
      const bool known = std::any_of(solution_.candidates.begin(), solution_.candidates.end(),
                                     [&](const Candidate& c) { return c.group.symbol == group.symbol; });
      if (known) continue;
      if (Tell("model in " + group.symbol, 0.6)) Build(data, set, group);
      break;
    }
  }

  // Calculated ones for the reflections of another set.
  static PhaseSet PhasesOf(const DataStatistics& data, const Candidate& candidate, const PhaseSet& like) {
    Structure structure = candidate.structure;
    for (Scatterer& s : structure.scatterers) s.fDoublePrime = 0.0;
    std::vector<Reflection> reflections(like.reflections.size());
    for (size_t i = 0; i < reflections.size(); ++i) {
      reflections[i].h = data.centring.FromPrimitive(like.reflections[i].h);
      reflections[i].intensity = reflections[i].sigma = 1.0;
    }
    Calculated calculated;
    DataPass(structure, MakeObservations(reflections, {}), {}).Run(calculated);
    PhaseSet set = like;
    set.merit = candidate.merit;
    for (size_t i = 0; i < reflections.size(); ++i) {
      const std::complex<double> f{calculated.a[i], calculated.b[i]};
      if (std::abs(f) > 0.0) set.reflections[i].phase = std::complex<float>(f / std::abs(f));
    }
    return set;
  }

  // A second group is looked at when the first leaves doubt and this one has something to say.
  bool WorthTrying(const GroupCandidate& group) const { return group.Fits() && group.Order() > 1; }

  // Where intensities are nearly those of a higher class, a group of much less symmetry is left to the attempts in
  // lower classes.
  bool TooLow(const DataStatistics& data, const GroupCandidate& group) const {
    return doubtful_ && 2 * ProperRotations(group.group).size() < data.laue.size();
  }

  void Build(const DataStatistics& data, const PhaseSet& set, const GroupCandidate& group) {
    Model model(problem_, data, group);
    model.BuildFromPhases(AveragePhases(data, set, group));
    if (!HasRight()) ShowAtoms(group, model.structure, true);
    // What has half as much misfit again as a right model with no fewer operations does not catch up.
    const bool hopeless =
        std::any_of(solution_.candidates.begin(), solution_.candidates.end(), [&](const Candidate& o) {
          return o.Right() && group.Order() >= o.group.Order() && model.R1() > kHopeless * o.r1Ordered;
        });
    if (hopeless) return;
    model.AssignElements();
    if (!HasRight()) ShowAtoms(group, model.structure, false);
    if (!model.Finish()) return;
    Candidate c;
    c.group = group;
    c.r1Ordered = model.GetResiduals().r1;
    // A subgroup that fits no better than what is right already is not worth it.
    const bool idle = std::any_of(solution_.candidates.begin(), solution_.candidates.end(), [&](const Candidate& o) {
      return o.Right() && group.Order() < o.group.Order() && c.r1Ordered > kPseudoSymmetry * o.r1Ordered;
    });
    if (!idle) model.PlaceDisorder();
    c.structure = model.structure;
    c.twin = model.Twin();
    c.merit = set.merit;
    c.r1 = model.GetResiduals().r1;
    c.wR2 = model.GetResiduals().wR2;
    c.correlation = model.Correlation();
    c.reflections =
        static_cast<double>(model.GetResiduals().all) / (4.0 * static_cast<double>(c.structure.sites.size()));
    c.expectedAtoms = model.ExpectedAtoms();
    c.shares = model.Shares();
    weighed_ =
        weighed_ || std::any_of(solution_.candidates.begin(), solution_.candidates.end(),
                                [&](const Candidate& o) { return o.Right() && c.group.Order() < o.group.Order(); });
    if (std::none_of(solution_.candidates.begin(), solution_.candidates.end(),
                     [&](const Candidate& o) { return Before(o, c); }))
      ShowAtoms(group, c.structure, false);
    solution_.candidates.push_back(std::move(c));
  }

  bool HasRight() const {
    return std::any_of(solution_.candidates.begin(), solution_.candidates.end(),
                       [](const Candidate& c) { return c.Right(); });
  }

  // What nobody looks at costs nothing.
  void ShowAtoms(const GroupCandidate& group, const Structure& structure, bool peaks) const {
    if (!options_.show || structure.sites.empty()) return;
    Candidate shown;
    shown.group = group;
    shown.structure = structure;
    std::vector<Site>& sites = shown.structure.sites;
    if (peaks) {
      sites.resize(std::min(sites.size(), kMostShown));
      for (Site& site : sites) site.scatterer = LightScatterer(problem_);
    }
    shown.shares.assign(sites.size(), 1.0);
    GatherMolecules(shown);
    for (size_t i = 0; peaks && i < sites.size(); ++i) sites[i].name = Printf("Q%zu", i + 1);
    options_.show(ComposeInstructions(problem_, shown));
  }

  // The whole cell: no operation is known yet.
  void ShowPhases(const DataStatistics& data, const PhaseSet& set) const {
    if (HasRight()) return;
    GroupCandidate lattice;
    lattice.latt = -data.centring.latt;
    std::string sentence;
    const auto group = MakeSpaceGroup(lattice.latt, ListOperators(lattice.latt, {}), sentence);
    if (!group) return;
    lattice.group = *group;
    Structure structure;
    structure.metric = problem_.metric;
    structure.group = *group;
    structure.scatterers = problem_.scatterers;
    const double expected = AtomsToExpect(problem_, *group);
    for (const Peak& peak : PeaksOfPhases(structure, AveragePhases(data, set, lattice), expected)) {
      Site site;
      site.x = peak.x;
      structure.sites.push_back(site);
      if (static_cast<double>(structure.sites.size()) >= expected) break;
    }
    ShowAtoms(lattice, structure, true);
  }

  void Conclude() {
    auto& candidates = solution_.candidates;
    std::stable_sort(candidates.begin(), candidates.end(), Before);
    std::vector<Candidate> kept;
    for (Candidate& c : candidates) {
      const bool known =
          std::any_of(kept.begin(), kept.end(), [&](const Candidate& k) { return k.group.symbol == c.group.symbol; });
      if (!known && kept.size() < kMostCandidates) kept.push_back(std::move(c));
    }
    candidates = std::move(kept);
    solution_.solved = !candidates.empty() && candidates[0].Right();
    Weigh();
    for (Candidate& c : candidates) {
      TurnToLargerPart(c);
      if (c.twin.present)
        c.remark += Printf("%stwin by the law%s, share of the second part %.2f", c.remark.empty() ? "" : "; ",
                           LawText(c.twin).c_str(), c.SecondPart());
    }
    CompareWithFormula();
    if (solution_.solved) CheckCell(candidates[0]);
    for (Candidate& c : candidates) {
      DecideHand(problem_, c);
      GatherMolecules(c);
    }
    if (solution_.solved) {
      if (options_.show) options_.show(ComposeInstructions(problem_, candidates[0]));
      std::erase_if(candidates, [](const Candidate& c) { return !c.Right(); });
    } else if (solution_.sentence.empty()) {
      solution_.sentence = WhyNot();
    }
  }

  // Says of groups beside the first how they compare with it: half the symmetry has twice the atoms and fits better by
  // that alone.
  void Weigh() {
    auto& candidates = solution_.candidates;
    for (size_t i = 1; i < candidates.size(); ++i) {
      const Candidate &first = candidates[0], &c = candidates[i];
      const double ratio = c.r1 / std::max(first.r1, 1e-6);
      if (c.group.Order() == first.group.Order()) {
        candidates[i].remark = Printf("as symmetric as %s, R1 %.2f times as high", first.group.symbol.c_str(), ratio);
      } else if (c.group.Order() < first.group.Order()) {
        candidates[i].remark = Printf("fewer operations than %s, R1 %.2f of it: ", first.group.symbol.c_str(), ratio) +
                               (ratio < kPseudoSymmetry ? "its symmetry may be false, complete both" : "no better");
      } else {
        candidates[0].remark = Printf("R1 %.2f of %s: that symmetry is only near", 1.0 / ratio, c.group.symbol.c_str());
        candidates[i].remark = "more symmetry than the data bear";
      }
    }
  }

  void CompareWithFormula() {
    if (!solution_.solved || !problem_.formulaFits) return;
    const Candidate& first = solution_.candidates[0];
    double found = 0.0;
    for (const Site& site : first.structure.sites) found += site.occupancy;
    if (found < 0.75 * first.expectedAtoms || found > 1.25 * first.expectedAtoms)
      problem_.notes.push_back(
          Printf("%.1f atoms are there where UNIT has %.1f: are formula and Z right?", found, first.expectedAtoms));
  }

  void CheckCell(const Candidate& c) {
    const std::string said = DescribeCellStrain(FitCellStrain(c.structure, c.shares));
    if (!said.empty()) problem_.notes.push_back(said);
  }

  std::string WhyNot() const {
    std::string s = solution_.candidates.empty()
                        ? "no phases make sense"
                        : Printf("the best model, in %s, has R1 %.2f", solution_.candidates[0].group.symbol.c_str(),
                                 solution_.candidates[0].r1);
    const DataStatistics& d = solution_.statistics;
    if (d.dPhasing > 1.1) return s + "; finer data (to 0.9 A or better) are what helps most";
    if (d.completeness < 0.85) return s + "; more complete data are what helps most";
    if (options_.groupAsGiven) return s + "; leave the space group to be found (without --space-group as-given)";
    return s + "; check cell, Laue class and twinning, then try another --seed";
  }

  Problem& problem_;
  const SolveOptions& options_;
  Solution& solution_;
  std::vector<Rotation> tried_;
  double bestBefore_ = 2.0;
  size_t before_ = 0;      // candidates of earlier attempts that leave their groups to be tried again
  bool weighed_ = false;   // against a subgroup
  bool doubtful_ = false;  // whether a twin may have made the intensities as equal as they are
};

}  // namespace

Solution Solve(Problem& problem, const SolveOptions& options) {
  Solution solution;
  try {
    Solver(problem, options, solution).Run();
  } catch (const std::bad_alloc&) {
    solution.sentence = "there is not enough memory";
    solution.solved = false;
    solution.candidates.clear();
  }
  for (const std::string& note : problem.notes)  // each attempt has its own
    if (std::find(solution.notes.begin(), solution.notes.end(), note) == solution.notes.end())
      solution.notes.push_back(note);
  if (solution.cancelled) solution.candidates.clear(), solution.solved = false, solution.sentence = "cancelled";
  return solution;
}

}  // namespace marvik::phase

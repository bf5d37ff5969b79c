#include "phase/completion/completion.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "base/numbers.h"
#include "crystal/site_symmetry.h"
#include "files/res/reader.h"
#include "files/res/writer.h"
#include "language/instruction.h"
#include "phase/completion/added_hydrogens.h"
#include "phase/completion/instruction_edits.h"
#include "phase/completion/suspects.h"
#include "phase/elements.h"
#include "phase/groups/rings.h"
#include "phase/groups/rotors.h"
#include "phase/lattice.h"
#include "phase/molecules.h"
#include "refine/job/prepare.h"
#include "refine/job/session.h"
#include "refine/output/tables.h"

namespace marvik::phase {
namespace {

constexpr int kIsotropicRounds = 3;
constexpr double kFinest = 0.8;          // Å, of the data that groups are fitted to
constexpr double kMissingPeak = 2.0;     // e/Å3
constexpr double kLargestU = 0.25;       // Å²
constexpr double kSmeared = 3.5;         // times the usual displacement
constexpr double kHydrogenPeak = 0.25;   // e/Å3
constexpr size_t kMostLaws = 5;          // of twinning
constexpr double kTwinGain = 0.96;       // of R1, that a share more needs
constexpr double kSettled = 0.04;        // mean shift in uncertainties that a step leaves
constexpr double kRestingPlace = 0.005;  // Å
constexpr double kRestingU = 0.0005;     // Å²
constexpr double kSameWeight = 0.003;
constexpr int kMostFull = 2500;  // parameters of a full matrix; beyond, conjugate gradients

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return middle == values.end() ? 0.0 : *middle;
}

class Completer {
 public:
  Completer(const Problem& problem, Candidate candidate, const StepProgress& progress, const ModelSink& show)
      : problem_(problem), candidate_(std::move(candidate)), progress_(progress), show_(show) {}

  Completion FromSolution(bool oneStep) {
    const Structure before = candidate_.structure;
    // What was refined like that before is no step.
    if (Isotropic() && !completion_.steps.empty()) GoOn(oneStep, oneStep && Rests(before) ? 2 : 1);
    return completion_;
  }

  // Refines the model as it stands first.
  Completion FromModel(const std::string& text, bool oneStep) {
    const auto session = Tell("as it stands", 0.1) ? Refined(text) : nullptr;
    if (session && Keep("as it stands", *session)) GoOn(oneStep, 2);
    return completion_;
  }

 private:
  // With `oneStep` until there are so many.
  void GoOn(bool oneStep, size_t enough) {
    oneStep_ = oneStep;
    const auto stages = {&Completer::Twin,      &Completer::Anisotropic,  &Completer::Elements,
                         &Completer::Hydrogens, &Completer::MapHydrogens, &Completer::Weights,
                         &Completer::Extinction};
    for (const auto stage : stages) {
      // Elements that displacements tell belong to the step that gave these.
      const bool whole = stage != &Completer::Elements || completion_.steps.back().what != "anisotropic";
      if (completion_.cancelled || (oneStep && whole && completion_.steps.size() >= enough)) break;
      (this->*stage)();
    }
    if (oneStep && completion_.steps.size() < enough && !completion_.cancelled)
      completion_.remarks.push_back("no further step makes the model better");
    Remark();
  }

  // Whether the last step has left all atoms as they were.
  bool Rests(const Structure& before) const {
    Document document;
    RecordingMessages messages;
    if (!ReadInstructionText(document, Last(), messages)) return false;
    size_t atoms = 0;
    for (const AtomRecord* atom : Atoms(document.atoms)) {
      const Site* site = SiteNamed(before, atom->name);
      if (!site || std::fabs(site->u[0] - atom->u[0]) > kRestingU ||
          before.metric.DistanceSquared(site->x, atom->fract) > kRestingPlace * kRestingPlace ||
          before.scatterers[static_cast<size_t>(site->scatterer)].electrons != atom->element->atomicNumber)
        return false;
      ++atoms;
    }
    return atoms == before.sites.size();
  }

  bool HasWeights(const std::array<double, 2>& weights) const {
    const size_t at = Last().find("\nWGHT");
    if (at == std::string::npos) return false;
    std::vector<double> now = ParseInstruction(Last().substr(at + 1, Last().find('\n', at + 1) - at - 1)).numbers;
    now.resize(2);
    return std::fabs(now[0] - weights[0]) < kSameWeight && std::fabs(now[1] - weights[1]) < kSameWeight * 10.0;
  }

  const std::string& Last() const { return completion_.steps.back().text; }

  bool Tell(const std::string& what, double share) {
    if (progress_ && !progress_(what, share)) completion_.cancelled = true;
    return !completion_.cancelled;
  }

  // Refines the text; nothing when that fails.
  std::unique_ptr<Session> Refined(const std::string& text) {
    auto session = std::make_unique<Session>();
    const LineSink silent = [](const std::string&) {};
    RecordingMessages messages;
    std::string sentence;
    if (!ReadInstructionText(session->document, text, messages)) return nullptr;
    if (!PrepareSession(*session, problem_.reflections, silent, sentence)) return nullptr;
    if (session->parametrisation.Size() > static_cast<size_t>(kMostFull)) session->job.conjugateGradients = true;
    session->job.settled = kSettled;
    if (!RefineSession(*session, silent) || session->result.failed || !session->result.problem.empty()) return nullptr;
    return session;
  }

  bool Keep(const std::string& what, Session& session) {
    RecordingMessages messages;
    std::string text = UpToEnd(ComposeResult(session, messages));
    if (text.size() < 20) return false;
    const Residuals& r = session.result.final;
    const std::string remark = "REM " + candidate_.group.symbol + ", R1";
    text = WithReplaced(text, remark, remark + Printf(" %.4f", r.r1));
    if (show_) show_(text);
    completion_.steps.push_back(
        {what, std::move(text), "", r.r1, r.wR2, session.result.parameters, session.structure.sites.size()});
    CountKinds(session.structure);
    weights_ = session.suggestedWeights;
    missing_.clear();
    for (const Peak& peak : session.peaks)
      if (peak.height > std::max(kHydrogenPeak, 3.5 * session.mapSigma)) missing_.push_back(peak);
    rotors_ = DescribeRotors(session.structure);
    flack_ = EstimateFlack(session);
    highest_ = session.peaks.empty() ? 0.0 : session.peaks[0].height;
    return true;
  }

  // Keeps the step when wR2 falls below this share of what it was.
  bool Try(const std::string& what, const std::string& text, double share, double least = 1.0) {
    if (completion_.cancelled || !Tell(what, share)) return false;
    const auto session = Refined(text);
    if (!session || session->result.final.wR2 > least * completion_.steps.back().wR2) return false;
    return Keep(what, *session);
  }

  // Brings what was refined back into the candidate, looks at elements and at what is missing or wrong. Whether
  // anything changed.
  bool Review(const Session& session) {
    Structure& s = candidate_.structure;
    if (session.structure.sites.size() != s.sites.size()) return false;
    for (size_t i = 0; i < s.sites.size(); ++i) {
      s.sites[i].x = session.structure.sites[i].x;
      s.sites[i].u[0] = session.structure.sites[i].u[0];
      if (s.sites[i].part != 0) candidate_.shares[i] = s.sites[i].occupancy = session.structure.sites[i].occupancy;
    }
    s.scale = session.structure.scale;
    s.freeVariables = session.structure.freeVariables;
    s.batchFractions = session.structure.batchFractions;
    std::vector<double> displacements;
    for (const Site& site : s.sites) displacements.push_back(site.u[0]);
    const double limit = std::max(0.15, std::min(kLargestU, 6.0 * Median(displacements)));
    bool changed = false;
    for (size_t i = s.sites.size(); i-- > 0;) {
      if (s.sites[i].u[0] < limit || s.sites[i].part != 0 || s.sites.size() < 3) continue;
      s.sites.erase(s.sites.begin() + static_cast<std::ptrdiff_t>(i));
      candidate_.shares.erase(candidate_.shares.begin() + static_cast<std::ptrdiff_t>(i));
      changed = true;
    }
    const bool rings = AddRings();
    const bool added = AddMissing(session);
    return ReviewElements() || rings || added || changed;
  }

  bool AddRings() {
    Structure& s = candidate_.structure;
    if (merged_.Size() == 0) {
      DataLimits limits;
      limits.wavelength = problem_.wavelength;
      limits.resolutionHigh = kFinest;
      MergeStatistics unused;
      merged_ = MakeObservations(MergeReflections(problem_.reflections, s.group, s.metric, limits, 4, unused),
                                 candidate_.twin);
    }
    std::vector<double> fractions(s.sites.size(), 1.0);
    return FitRings(problem_, merged_, s, candidate_.shares, fractions);
  }

  bool AddMissing(const Session& session) {
    Structure& s = candidate_.structure;
    double there = 0.0;
    for (const Site& site : s.sites) there += site.occupancy;
    bool added = false;
    for (const Peak& peak : session.peaks) {
      if (peak.height < std::max(kMissingPeak, 6.0 * session.mapSigma)) break;
      if (peak.distance < 1.1 || peak.distance > 3.6 ||
          there + peak.siteFraction > 1.15 * candidate_.expectedAtoms + 0.5)
        continue;
      Site site;
      site.x = peak.x;
      site.scatterer = LightScatterer(problem_);
      site.occupancy = peak.siteFraction;
      site.u = {0.06, 0, 0, 0, 0, 0};
      s.sites.push_back(site);
      candidate_.shares.push_back(1.0);
      there += peak.siteFraction;
      added = true;
    }
    return added;
  }

  // An atom with too few electrons shakes more than its neighbours, one with too many less.
  bool ReviewElements() {
    const Structure& s = candidate_.structure;
    std::vector<double> electrons;
    for (size_t i = 0; i < s.sites.size(); ++i)
      electrons.push_back(s.scatterers[static_cast<size_t>(s.sites[i].scatterer)].electrons * candidate_.shares[i]);
    LevelDisplacements(s, electrons);
    return UseElements(electrons);
  }

  bool UseElements(const std::vector<double>& electrons) {
    Structure& s = candidate_.structure;
    std::vector<double> fractions;
    for (size_t i = 0; i < s.sites.size(); ++i)
      fractions.push_back(s.sites[i].occupancy / (s.sites[i].part != 0 ? 1.0 : candidate_.shares[i]));
    const std::vector<int> elements = ElementsOf(problem_, s, electrons, fractions, true);
    bool changed = false;
    for (size_t i = 0; i < s.sites.size(); ++i) {
      if (candidate_.shares[i] < 0.99 || elements[i] == s.sites[i].scatterer) continue;
      s.sites[i].scatterer = elements[i];
      changed = true;
    }
    return changed;
  }

  bool Isotropic() {
    Candidate kept = candidate_;
    for (int round = 0; round < kIsotropicRounds; ++round) {
      if (!Tell("isotropic", 0.1 + 0.1 * round)) return false;
      const auto session = Refined(WithReplaced(ComposeInstructions(problem_, candidate_), "L.S.", "L.S. 5"));
      if (!session) return false;
      const bool better = completion_.steps.empty() || session->result.final.r1 < completion_.steps.back().r1;
      if (better) {
        completion_.steps.clear();
        if (!Keep("isotropic", *session)) return false;
        kept = candidate_;
      }
      if (round + 1 == kIsotropicRounds || !better || !Review(*session)) break;
      GatherMolecules(candidate_);
    }
    // What did not help is forgotten, and its names with it.
    candidate_ = std::move(kept);
    return true;
  }

  void CountKinds(const Structure& s) {
    isotropic_ = hydrogens_ = 0;
    smeared_.clear();
    std::vector<double> ueq;
    for (const Site& site : s.sites) ueq.push_back(s.Ueq(site));
    const double usual = Median(ueq);
    for (size_t i = 0; i < s.sites.size(); ++i) {
      const Site& site = s.sites[i];
      hydrogens_ += site.hydrogen;
      isotropic_ += !site.hydrogen && !site.anisotropic;
      if (!site.hydrogen && ueq[i] > std::max(0.12, kSmeared * usual)) smeared_ += " " + site.label;
    }
  }

  // Each law with a share of its own; the best stays when it explains much.
  void Twin() {
    if (Last().find("\nTWIN") != std::string::npos) return;
    std::vector<Rotation> laws = TwinLaws(problem_.metric, candidate_.group.latt, candidate_.group.group);
    if (laws.size() > kMostLaws) laws.resize(kMostLaws);
    std::unique_ptr<Session> best;
    std::string said;
    for (const Rotation& r : laws) {
      if (!Tell("twinning", 0.4)) return;
      const std::string law = LawText(LawOf(r));
      auto session = Refined(WithLines(Last(), "WGHT", "TWIN" + law + " 2\nBASF 0.3\n"));
      if (!session || session->structure.batchFractions.empty()) continue;
      const double share = session->structure.batchFractions[0];
      if (share < 0.02 || share > 0.98) continue;
      if (session->result.final.r1 > kTwinGain * (best ? best->result.final.r1 : completion_.steps.back().r1)) continue;
      best = std::move(session);
      said = Printf("twin by the law%s, share of the second part %.3f", law.c_str(), share);
    }
    if (!best || !Keep("twin", *best)) return;
    completion_.steps.back().remark = said;
    completion_.remarks.push_back(said);
  }

  void Anisotropic() {
    if (isotropic_ > 0) Try("anisotropic", WithLines(Last(), "WGHT", "ANIS\n"), 0.45);
  }

  // Where displacements differ from those of the neighbours, refined occupancies count the electrons; other elements
  // stay when the whole model is better with them.
  void Elements() {
    const bool own = completion_.steps.back().what == "anisotropic";
    for (int round = 0; own && round < 2; ++round) {
      Document document;
      RecordingMessages messages;
      if (!ReadInstructionText(document, Last(), messages)) return;
      const std::vector<std::string> suspects = Suspects(Last());
      for (AtomRecord* atom : Atoms(document.atoms)) {
        if (std::find(suspects.begin(), suspects.end(), atom->name) == suspects.end()) continue;
        atom->occupancy = atom->codedValues[kCodedOccupancy] = 1.0;
      }
      std::string text;
      if (suspects.empty() || !ComposeInstructionText(document, text, messages) || !Tell("elements", 0.5)) return;
      const auto counted = Refined(text);
      if (!counted) return;
      const Candidate before = candidate_;
      Structure& s = candidate_.structure;
      std::vector<double> electrons;
      for (size_t i = 0; i < s.sites.size(); ++i) {
        const Site* found = SiteNamed(counted->structure, s.sites[i].name);
        if (!found) {
          candidate_ = before;
          return;
        }
        s.sites[i].x = found->x;
        s.sites[i].u[0] = std::clamp(counted->structure.Ueq(*found), 0.005, 0.3);
        electrons.push_back(s.scatterers[static_cast<size_t>(s.sites[i].scatterer)].electrons * candidate_.shares[i]);
        if (std::find(suspects.begin(), suspects.end(), found->name) != suspects.end())
          electrons.back() *= std::max(0.1, found->occupancy);
      }
      s.scale = counted->structure.scale;
      s.freeVariables = counted->structure.freeVariables;
      bool better = false;
      if (UseElements(electrons)) {
        GatherMolecules(candidate_);
        const std::string model = ComposeInstructions(problem_, candidate_);
        const std::string twin = candidate_.twin.present ? "" : TwinLines(Last());
        const auto session = Refined(WithLines(model, "WGHT", twin + "ANIS\n"));
        better = session && session->result.final.wR2 < completion_.steps.back().wR2;
        if (better) completion_.steps.pop_back(), Keep("anisotropic", *session);
      }
      if (better) continue;
      candidate_ = before;
      return;
    }
  }

  static const Site* SiteNamed(const Structure& s, const std::string& name) {
    const auto at = std::find_if(s.sites.begin(), s.sites.end(), [&](const Site& site) { return site.name == name; });
    return at == s.sites.end() ? nullptr : &*at;
  }

  void Extinction() {
    if (Last().find("\nEXTI") == std::string::npos)
      Try("extinction", WithLines(Last(), "WGHT", "EXTI 0.01\n"), 0.9, 0.997);
  }

  bool HasHydrogen() const {
    return std::any_of(problem_.formula.begin(), problem_.formula.end(),
                       [](const FormulaEntry& e) { return e.symbol == "H"; });
  }

  void Hydrogens() {
    if (!HasHydrogen() || hydrogens_ > 0) return;
    const std::string text = WithRidingHydrogens(Last());
    if (!text.empty()) Try("hydrogens", text, 0.65);
  }

  void MapHydrogens() {
    if (!HasHydrogen() || missing_.empty()) return;
    const std::string text = WithMapHydrogens(Last(), problem_.metric, missing_);
    if (!text.empty()) Try("map hydrogens", text, 0.7, 0.97);
  }

  void Weights() {
    if (oneStep_ && HasWeights(weights_)) return;
    for (int round = 0; round < 3 && !completion_.cancelled; ++round) {
      if (!Tell("weights", 0.75 + 0.05 * round)) return;
      const auto session = Refined(WithReplaced(Last(), "WGHT", Printf("WGHT %9.4f %9.4f", weights_[0], weights_[1])));
      // wR2 of other weights is another figure: R1 decides.
      if (!session || session->result.final.r1 > 1.01 * completion_.steps.back().r1) return;
      const std::array<double, 2> before = weights_;
      if (completion_.steps.back().what == "weights") completion_.steps.pop_back();
      if (!Keep("weights", *session)) return;
      if (std::fabs(before[0] - weights_[0]) < kSameWeight) return;
    }
  }

  void Remark() {
    if (highest_ > 1.0)
      completion_.remarks.push_back(
          Printf("a difference peak of %.2f e/A3 is left: disorder, solvent or an atom that is missing", highest_));
    if (!rotors_.empty()) completion_.remarks.push_back(rotors_);
    std::string partial;
    for (size_t i = 0; i < candidate_.structure.sites.size(); ++i)
      if (candidate_.shares[i] < 0.99 && candidate_.structure.sites[i].part == 0)
        partial += " " + candidate_.structure.sites[i].name;
    if (!partial.empty())
      completion_.remarks.push_back("there in part:" + partial + "; model them as disorder or take them out");
    if (flack_.present && flack_.x.su > 0.0 && flack_.x.su < 0.3)
      completion_.remarks.push_back(Printf("hand: Flack parameter %.2f(%.2f)", flack_.x.value, flack_.x.su) +
                                    (flack_.x.value - 3.0 * flack_.x.su > 0.5 ? "; the other hand is right" : ""));
    if (!smeared_.empty())
      completion_.remarks.push_back("smeared out:" + smeared_ + "; look for a second place or another element");
  }

  const Problem& problem_;
  Candidate candidate_;
  const StepProgress& progress_;
  const ModelSink& show_;
  Completion completion_;
  Observations merged_;  // Friedel opposites together, once they were needed
  std::array<double, 2> weights_{0.1, 0.0};
  bool oneStep_ = false;
  int isotropic_ = 0;  // atoms but hydrogen
  int hydrogens_ = 0;
  std::vector<Peak> missing_;  // of the difference map
  FlackResult flack_;
  std::string rotors_;   // groups in two orientations
  std::string smeared_;  // names of atoms that move about too much
  double highest_ = 0.0;
};

}  // namespace

Completion Complete(const Problem& problem, Candidate candidate, const StepProgress& progress, const ModelSink& show) {
  return Completer(problem, std::move(candidate), progress, show).FromSolution(false);
}

Completion CompleteModel(const Problem& problem, const std::string& text, bool oneStep, const StepProgress& progress,
                         const ModelSink& show, std::string& sentence) {
  Session session;
  RecordingMessages messages;
  if (!ReadInstructionText(session.document, text, messages)) {
    sentence = "the model cannot be read";
    return {};
  }
  if (!PrepareSession(
          session, problem.reflections, [](const std::string&) {}, sentence))
    return {};
  Candidate candidate;
  candidate.group.group = session.structure.group;
  candidate.group.symbol = session.structure.group.symbol;
  candidate.group.latt = problem.lattice;
  candidate.group.symm = problem.symm;
  candidate.structure = session.structure;
  candidate.expectedAtoms = AtomsToExpect(problem, session.structure.group);
  bool plain = session.restraints.empty() && session.structure.batchFractions.empty() && session.hydrogens.empty() &&
               session.rigid.empty();
  for (Site& site : candidate.structure.sites) {
    plain = plain && !site.anisotropic && !site.hydrogen && site.part == 0;
    const auto operations = SiteOperations(session.structure.group.all, session.structure.metric, site.x, 0.1);
    candidate.shares.push_back(
        std::min(1.0, site.occupancy * static_cast<double>(std::max<size_t>(1, operations.size()))));
    site.atom = nullptr;
  }
  Completer completer(problem, std::move(candidate), progress, show);
  return plain ? completer.FromSolution(oneStep) : completer.FromModel(text, oneStep);
}

}  // namespace marvik::phase

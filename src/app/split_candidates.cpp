#include "app/split_candidates.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "base/stop.h"
#include "check/model_trials.h"
#include "chem/geometry/atom_geometry.h"
#include "crystal/cell_metric.h"
#include "edit/edit_elements.h"
#include "edit/edit_split.h"
#include "report/report_table.h"

namespace marvik {
namespace {

constexpr double kElongated = 2.0;     // of the longest to the middle axis of U
constexpr double kWideSpread = 0.45;   // Å
constexpr double kStrongPeak = 0.5;    // e/Å³
constexpr double kRigidLimit = 0.02;   // Å²
constexpr double kPeakReach = 2.4;     // Å
constexpr double kSameDistance = 0.4;  // Å, of a peak to the atom's neighbours
constexpr int kCycles = 4;

bool MayBeSplit(const AtomRecord& atom) {
  return !atom.IsPeak() && !atom.IsHydrogen() && !IsGrownAtom(atom) && atom.part == 0;
}

// Whether a peak stands about as far from a neighbour of the atom as the atom itself.
bool FitsNeighbours(const BondPartners& bonds, const AtomRecord& atom, const AtomRecord& peak) {
  for (const AtomRecord* neighbour : bonds.Of(atom)) {
    if (neighbour->IsHydrogen() || neighbour->IsPeak()) continue;
    const double change = Distance(neighbour->position, atom.position) - Distance(neighbour->position, peak.position);
    if (std::fabs(change) < kSameDistance) return true;
  }
  return false;
}

SplitCandidate Judge(const BondPartners& bonds, const Metric& metric, const std::vector<const AtomRecord*>& peaks,
                     const AtomRecord& atom) {
  SplitCandidate candidate{atom.serial, atom.name, 1.0, 0.0, 0.0, {}, 0.0, 0.0, {}, {}};
  if (atom.IsAnisotropic()) {
    const Mat3 tensor = metric.CartesianU(atom.u);
    const Eigen3 eigen = SymmetricEigen(tensor);
    if (eigen.values[1] > 0.0) candidate.ratio = eigen.values[2] / eigen.values[1];
    candidate.spread = 2.0 * std::sqrt(std::max(eigen.values[2] - eigen.values[1], 0.0));
    for (const AtomRecord* other : bonds.Of(atom)) {
      if (!other->IsAnisotropic() || other->IsHydrogen()) continue;
      const Cartesian way = Normalised(metric.ToCartesian(other->fract) - metric.ToCartesian(atom.fract));
      const Mat3 theirs = metric.CartesianU(other->u);
      candidate.hirshfeld = std::max(candidate.hirshfeld, Dot(way, tensor * way) - Dot(way, theirs * way));
    }
  }
  for (const AtomRecord* peak : peaks) {
    const double distance = Distance(peak->position, atom.position);
    if (distance > kPeakReach || distance < 0.3 || !FitsNeighbours(bonds, atom, *peak)) continue;
    if (peak->peakHeight > candidate.peak) candidate.peaks.assign(1, peak->serial);
    candidate.peak = std::max(candidate.peak, peak->peakHeight);
  }
  const bool swings = candidate.ratio > kElongated && candidate.spread > kWideSpread;
  const double stiff = candidate.hirshfeld > kRigidLimit ? candidate.hirshfeld / kRigidLimit : 0.0;
  if (swings || candidate.peak > 0.0 || stiff > 0.0)
    candidate.score = (swings ? candidate.spread / kWideSpread : 0.0) + candidate.peak / kStrongPeak + 0.5 * stiff;
  candidate.split = Printf("#%u", atom.serial);
  for (const uint32_t peak : candidate.peaks) AppendPrintf(candidate.split, " to=#%u", peak);
  return candidate;
}

}  // namespace

std::vector<SplitCandidate> FindSplitCandidates(const Document& document) {
  const Metric metric = MakeMetric(document.cell);
  const BondPartners bonds(document);
  std::vector<SplitCandidate> candidates;
  std::vector<const AtomRecord*> peaks;
  for (const AtomRecord* atom : Atoms(document.atoms))
    if (atom->IsPeak() && atom->peakHeight >= kStrongPeak) peaks.push_back(atom);
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (!MayBeSplit(*atom)) continue;
    SplitCandidate candidate = Judge(bonds, metric, peaks, *atom);
    if (candidate.score > 0.0) candidates.push_back(std::move(candidate));
  }
  std::ranges::stable_sort(candidates, std::ranges::greater(), &SplitCandidate::score);
  return candidates;
}

std::optional<double> TrySplits(const Document& document, std::vector<SplitCandidate>& candidates, size_t tries) {
  const std::string path = document.WorkingDirectory + BaseNameOf(FileNameOf(document.CurrentFile)) + ".hkl";
  const auto r1 = [&](Document& trial) {
    std::vector<AtomRecord*> peaks;
    for (AtomRecord* atom : Atoms(trial.atoms))
      if (atom->IsPeak()) peaks.push_back(atom);
    trial.atoms.KillAtoms(peaks);
    return R1After(trial, path, kCycles);
  };
  Document plain = document;
  const auto now = r1(plain);
  for (size_t i = 0; now && i < std::min(tries, candidates.size()) && !StopWanted(); ++i) {
    Document trial = document;
    RecordingMessages unheard;
    EditFault fault;
    const auto request = ParseSplit(trial, SplitEditArguments(candidates[i].split), fault);
    AtomRecord* atom = trial.atoms.FindSerial(candidates[i].atom);
    if (!request || !atom || !SplitAtoms(trial, {atom}, *request, unheard).empty()) continue;
    candidates[i].r1 = r1(trial);
  }
  return now;
}

std::string TriesText(std::optional<double> now) {
  if (!now) return "What R1 would become is not known: that takes reflections beside a model that can be refined.";
  return Printf(
      "R1 is %.4f after %d cycles as it stands; the last column is that after a split of the atom "
      "alone and as many.",
      *now, kCycles);
}

std::vector<std::vector<std::string>> CandidateTable(const std::vector<SplitCandidate>& candidates) {
  std::vector<std::vector<std::string>> rows{{"Atom", "U3/U2", "Spread/Å", "Peak", "Along bond/Å²", "R1"}};
  for (const SplitCandidate& c : candidates)
    rows.push_back({c.name, Printf("%.1f", c.ratio), Printf("%.2f", c.spread),
                    c.peak > 0.0 ? Printf("%.2f", c.peak) : "",
                    c.hirshfeld > kRigidLimit ? Printf("%.3f", c.hirshfeld) : "", c.r1 ? Printf("%.4f", *c.r1) : ""});
  return rows;
}

std::string CandidateText(const std::vector<SplitCandidate>& candidates, std::optional<double> now) {
  const auto rows = CandidateTable(candidates);
  ReportTable table(rows[0]);
  for (size_t i = 1; i < rows.size(); ++i)
    for (size_t k = 0; k < rows[i].size(); ++k) rows[i][k].empty() ? table.Missing() : table.Text(rows[i][k]);
  return TriesText(now) + "\n\n" + table.Aligned();
}

std::string SplitAsAsked(Document& document, const std::vector<AtomRecord*>& chosen, EditArguments arguments,
                         UserMessages& messages, EditFault& fault) {
  const auto isPeak = [](const AtomRecord* atom) { return atom->IsPeak(); };
  if (!arguments.Find("to") && std::ranges::any_of(chosen, isPeak) && !std::ranges::all_of(chosen, isPeak)) {
    std::string peaks;
    for (const AtomRecord* atom : chosen)
      if (atom->IsPeak()) AppendPrintf(peaks, peaks.empty() ? "#%u" : " #%u", atom->serial);
    arguments.fields.push_back({"to", peaks});
  }
  const auto request = ParseSplit(document, arguments, fault);
  return request ? SplitAtoms(document, chosen, *request, messages) : fault.text;
}

}  // namespace marvik

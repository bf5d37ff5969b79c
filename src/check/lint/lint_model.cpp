#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "base/numbers.h"
#include "check/lint/lint_state.h"
#include "chem/bonds/connectivity.h"
#include "crystal/displacement.h"
#include "crystal/site_symmetry.h"
#include "files/res/reader.h"
#include "language/tokenizer.h"
#include "refine/constraints/hydrogens.h"
#include "refine/structure/atom_names.h"
#include "refine/structure/neighbours.h"

namespace marvik::lint {

namespace {

using enum InstructionKeyword;

constexpr double kOnElement = 0.1;  // Å from a symmetry element: on it
constexpr double kCoincide = 0.5;   // Å
constexpr size_t kMostSites = 20000;
constexpr double kLargestRadius = 4.0;  // Å

class ModelLint {
 public:
  explicit ModelLint(LintState& state) : state_(state) {}

  void Run() {
    RecordingMessages unheard;
    std::vector<std::string> notes;
    std::string problem;
    if (!ReadInstructionText(document_, std::string(state_.text), unheard)) return;
    if (!BuildStructure(document_, structure_, notes, problem) || structure_.sites.size() > kMostSites) return;
    // A radius that SFAC gives wrongly would make everything a neighbour of everything.
    if (std::ranges::any_of(structure_.scatterers, [](const Scatterer& f) { return !(f.radius < kLargestRadius); }))
      return;
    for (const LintCommand& c : state_.commands) commands_.push_back(c.command);
    bonds_ = MakeBonds(structure_, document_, commands_);
    for (const LintAtom& atom : state_.atoms) atoms_.emplace(atom.fullName, &atom);
    for (size_t i = 0; i < structure_.sites.size(); ++i) Site(static_cast<int>(i));
    Coincidences();
    for (const LintCommand& c : state_.commands) {
      if (c.keyword == kHfix) Hfix(c);
      if (c.keyword == kDfix || c.keyword == kDang) Distances(c);
    }
  }

 private:
  const marvik::Site& At(int site) const { return structure_.sites[static_cast<size_t>(site)]; }
  std::string NameOf(int site) const { return UpperCase(At(site).label); }
  const LintAtom* LineOf(int site) const {
    const auto found = atoms_.find(NameOf(site));
    return found == atoms_.end() ? nullptr : found->second;
  }

  void Site(int site);
  void Coincidences();
  void Hfix(const LintCommand& c);
  void Distances(const LintCommand& c);

  LintState& state_;
  Document document_;
  Structure structure_;
  std::vector<Instruction> commands_;
  NeighbourTable bonds_;
  std::unordered_map<std::string, const LintAtom*> atoms_;
  std::map<std::pair<int, int>, double> targets_;
};

void ModelLint::Site(int index) {
  const marvik::Site& site = At(index);
  const LintAtom* line = LineOf(index);
  if (!line) return;
  const size_t order = SiteOperations(structure_.group.all, structure_.metric, site.x, kOnElement).size();
  const double most = 1.0 / static_cast<double>(std::max<size_t>(order, 1));
  if (order > 1 && site.part >= 0 && site.occupancy > most * 1.02) {
    state_.Report("special-position", line->line, line->fullName,
                  Printf("%.4g instead of 1/%zu", site.occupancy, order), {{line->fullName}, site.occupancy, most});
  }
  if (site.anisotropic) {
    const Eigen3 axes = SymmetricEigen(structure_.metric.CartesianU(site.u));
    if (!(axes.values[0] > 0.0)) {
      state_.Report("u-tensor", line->line, line->fullName, {}, {{line->fullName}, axes.values[0], 0.0});
    }
  }
  if (site.hydrogen && bonds_[static_cast<size_t>(index)].empty()) {
    state_.Report("hydrogen-alone", line->line, line->fullName, {}, {{line->fullName}});
  }
}

void ModelLint::Coincidences() {
  const NeighbourTable near = ImagesWithin(structure_, kCoincide);
  for (size_t i = 0; i < near.size(); ++i) {
    const marvik::Site& a = structure_.sites[i];
    for (const Neighbour& n : near[i]) {
      const marvik::Site& b = At(n.site);
      if (n.site <= static_cast<int>(i) || !PartsMeet(a, b, n.IsIdentity())) continue;
      // Sites that share a place are disorder, or mixed occupancy, when they do not fill it twice.
      if (a.occupancy + b.occupancy < 1.02) continue;
      const LintAtom* line = LineOf(n.site);
      if (!line) continue;
      state_.Report("atoms-coincide", line->line, NameOf(static_cast<int>(i)) + " and " + NameOf(n.site),
                    Printf("%.3f", n.distance), {{NameOf(static_cast<int>(i)), NameOf(n.site)}, n.distance, kCoincide});
      break;
    }
  }
}

void ModelLint::Hfix(const LintCommand& c) {
  if (c.command.numbers.empty()) return state_.Report("too-few-words", c.line, "HFIX");
  const int code = RoundHalfAway(c.command.numbers[0]);
  const int m = code / 10;
  const HfixGroup* group = FindHfixGroup(m);
  if (!group || code % 10 < 3) {
    if (code % 10 != 0 || m != 0) state_.Report("hfix-unknown", c.line, std::to_string(code), {}, {{}, double(code)});
    return;
  }
  for (const int residue : ResiduesOf(structure_, c.command)) {
    for (const SiteImage& image : ResolveAtoms(structure_, c.command, commands_, c.command.words, residue).images) {
      const auto& around = bonds_[static_cast<size_t>(image.site)];
      const bool carries = std::ranges::any_of(around, [&](const Neighbour& n) { return At(n.site).hydrogen; });
      const std::string name = NameOf(image.site);
      if (carries) {
        state_.Report("hfix-again", c.line, name, std::to_string(code), {{name}});
      } else if (!FitsCode(structure_, bonds_, image.site, m)) {
        state_.Report("hfix-cannot", c.line, std::to_string(code), name,
                      {{name}, double(around.size()), double(group->neighbours)});
      }
    }
  }
}

void ModelLint::Distances(const LintCommand& c) {
  constexpr double kFar = 1.5;  // Å from the target
  if (c.command.numbers.empty()) return;
  const double target = Decoded(state_, c.command.numbers[0]);
  if (target <= 0.0 ||
      std::ranges::any_of(c.command.words, [](const std::string& w) { return w.find_first_of("$<>*") != w.npos; })) {
    return;
  }
  for (const int residue : ResiduesOf(structure_, c.command)) {
    const ResolvedNames names = ResolveAtoms(structure_, c.command, commands_, c.command.words, residue);
    if (!names.missing.empty()) continue;
    for (size_t i = 0; i + 1 < names.images.size(); i += 2) {
      const int a = names.images[i].site;
      const int b = names.images[i + 1].site;
      const double distance = std::sqrt(structure_.metric.DistanceSquared(At(a).x, At(b).x));
      const std::string pair = NameOf(a) + " and " + NameOf(b);
      const LintDetails details{{NameOf(a), NameOf(b)}, distance, target};
      if (std::fabs(distance - target) > kFar) {
        state_.Report("dfix-far", c.line, pair, Printf("%.2f \xC3\x85 apart, and %.2f is asked for", distance, target),
                      details);
      }
      const auto [known, isNew] = targets_.emplace(std::minmax(a, b), target);
      if (!isNew && std::fabs(known->second - target) > 0.1) state_.Report("dfix-twice", c.line, pair, {}, details);
    }
  }
}

}  // namespace

void LintModel(LintState& state) {
  ModelLint(state).Run();
}

}  // namespace marvik::lint

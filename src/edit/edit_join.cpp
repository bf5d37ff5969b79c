#include <algorithm>
#include <cmath>
#include <set>
#include <unordered_set>

#include "base/numbers.h"
#include "chem/geometry/atom_geometry.h"
#include "edit/edit_names.h"
#include "edit/edit_part.h"
#include "edit/edit_riding.h"
#include "edit/edit_same.h"
#include "edit/edit_split.h"
#include "edit/split_places.h"
#include "language/atom_references.h"
#include "language/composed_line.h"
#include "language/instruction.h"
#include "language/residues.h"
#include "language/tokenizer.h"
#include "model/coded_values.h"

namespace marvik {
namespace {

constexpr double kCounterpartReach = 3.0;  // Å

int VariableOf(const AtomRecord& atom) {
  return SplitCodedValue(atom.occupancy).variable;
}
double ShareOf(const AtomRecord& atom) {
  return std::fabs(atom.occupancy) - 10.0 * VariableOf(atom);
}

// What to do with the names of atoms that are gone.
struct NameRule {
  InstructionKeyword keyword;
  size_t together;  // names that stand for one thing and go as one
  size_t least;     // without that many the line goes
};
constexpr NameRule kNameRules[] = {
    {InstructionKeyword::kSadi, 2, 4}, {InstructionKeyword::kDfix, 2, 2}, {InstructionKeyword::kDang, 2, 2},
    {InstructionKeyword::kFlat, 1, 4}, {InstructionKeyword::kChiv, 1, 1}, {InstructionKeyword::kIsor, 1, 1},
    {InstructionKeyword::kSimu, 1, 2}, {InstructionKeyword::kRigu, 1, 2}, {InstructionKeyword::kDelu, 1, 2},
    {InstructionKeyword::kEadp, 1, 2}, {InstructionKeyword::kExyz, 1, 2}, {InstructionKeyword::kConf, 4, 4},
    {InstructionKeyword::kHtab, 9, 9},
};

class Joiner {
 public:
  Joiner(Document& document, UserMessages& messages) : document_(document), messages_(messages) {}

  std::string Join(const std::vector<AtomRecord*>& chosen) {
    ReadSums();
    std::unordered_set<const AtomRecord*> done;
    for (AtomRecord* atom : chosen) {
      if (done.contains(atom) || atom->IsHydrogen() || atom->IsPeak()) continue;
      std::vector<AtomRecord*> parts = PartsOf(atom);
      if (parts.size() < 2) continue;
      done.insert(parts.begin(), parts.end());
      sites_.push_back(std::move(parts));
    }
    if (sites_.empty()) return "There is nothing to join: no chosen atom has a counterpart in another PART.";
    for (const auto& parts : sites_) {
      for (const AtomRecord* part : parts) freed_.insert(VariableOf(*part));
      Merge(parts);
    }
    std::set<std::string> shown;
    for (AtomRecord* atom : gone_) {
      names_.insert(UpperCase(QualifiedName(document_, *atom)));
      shown.insert(QualifiedName(document_, *atom));
      if (!atom->extras.empty())
        std::erase_if(atom->MutableExtras().linesBefore, [](const KeptLine& line) { return IsPlainSame(line.text); });
    }
    document_.atoms.KillAtoms(gone_);
    DropNames(document_.instructions.kept);
    for (AtomRecord* atom : Atoms(document_.atoms))
      if (!atom->extras.empty()) DropNames(atom->MutableExtras().linesBefore);
    DropVariables();
    document_.RecomputePositions();
    TellOfLinesNaming(document_, shown, messages_);
    return {};
  }

 private:
  // The free variables whose sum is held.
  void ReadSums() {
    for (const Instruction& line : InstructionsOf(document_)) {
      if (line.keyword != InstructionKeyword::kSump) continue;
      std::set<int> variables;
      for (size_t i = 3; i < line.numbers.size(); i += 2) variables.insert(WholeNumber(line.numbers[i]));
      sums_.push_back(std::move(variables));
    }
  }
  bool AreTied(const AtomRecord& a, const AtomRecord& b) const {
    const int m = VariableOf(a);
    const int n = VariableOf(b);
    if (m < 2 || n < 2 || a.part == b.part || a.element != b.element || b.IsPeak()) return false;
    if (m == n) return (a.occupancy < 0.0) != (b.occupancy < 0.0);
    return std::ranges::any_of(sums_, [&](const std::set<int>& sum) { return sum.contains(m) && sum.contains(n); });
  }

  // By PART, the lowest first.
  std::vector<AtomRecord*> PartsOf(AtomRecord* atom) const {
    std::vector<AtomRecord*> parts{atom};
    for (AtomRecord* other : Atoms(document_.atoms)) {
      if (!AreTied(*atom, *other)) continue;
      const double distance = Distance(atom->position, other->position);
      const auto same = std::ranges::find(parts, other->part, &AtomRecord::part);
      if (distance > kCounterpartReach) continue;
      if (same == parts.end()) {
        parts.push_back(other);
      } else if (*same != atom && distance < Distance(atom->position, (*same)->position)) {
        *same = other;
      }
    }
    std::ranges::sort(parts, {}, &AtomRecord::part);
    return parts;
  }

  void Merge(const std::vector<AtomRecord*>& parts) {
    const Metric metric = MakeMetric(document_.cell);
    AtomRecord& atom = *parts.front();
    double all = 0.0;
    Fractional mean;
    for (const AtomRecord* part : parts) {
      const double weight = std::max(DecodedOccupancy(*part, document_.instructions), 1e-3);
      all += weight;
      mean += part->fract * weight;
    }
    mean *= 1.0 / all;
    Mat3 spread;
    bool anisotropic = true;
    double uIso = 0.0;
    for (const AtomRecord* part : parts) {
      const double weight = std::max(DecodedOccupancy(*part, document_.instructions), 1e-3) / all;
      const Cartesian way = metric.ToCartesian(part->fract - mean);
      anisotropic = anisotropic && part->IsAnisotropic();
      uIso += weight * part->u[0];
      const Mat3 tensor = metric.CartesianU(part->u);
      for (int i = 0; i < 3; ++i)
        for (size_t j = 0; j < 3; ++j) spread[i][j] += weight * (tensor[i][j] + way[i] * way[static_cast<int>(j)]);
    }
    const Fractional shift = mean - atom.fract;
    if (anisotropic) {
      atom.u = FileTensor(metric, spread);
      std::fill(atom.codedValues.begin() + kCodedU, atom.codedValues.end(), 0.0);
    } else if (!atom.IsAnisotropic() && atom.codedValues[kCodedU] == 0.0) {
      atom.u[0] = uIso;
    }
    // Hydrogens of the first part stay with it; those that are bonded without riding are told by their occupancy.
    Settle(atom, shift);
    joined_.insert(UpperCase(QualifiedName(document_, atom)));
    for (const AtomRecord* neighbour : BondedAtoms(document_, atom))
      near_.insert(UpperCase(QualifiedName(document_, *neighbour)));
    for (AtomRecord* other : Atoms(document_.atoms)) {
      if (!other->IsHydrogen()) continue;
      if (CarrierAmong(*other, {parts.front()})) Settle(*other, shift);
      if (CarrierAmong(*other, {parts.begin() + 1, parts.end()})) gone_.push_back(other);
    }
    gone_.insert(gone_.end(), parts.begin() + 1, parts.end());
  }
  bool CarrierAmong(const AtomRecord& hydrogen, const std::vector<AtomRecord*>& atoms) const {
    return std::ranges::any_of(atoms, [&](const AtomRecord* atom) {
      return hydrogen.parent ? hydrogen.parent == atom
                             : document_.atoms.FindBond(atom, &hydrogen) != nullptr && hydrogen.part != 0;
    });
  }
  static void Settle(AtomRecord& atom, const Fractional& shift) {
    for (int i = 0; i < 3; ++i)
      if (std::fabs(shift[i]) > 1e-7) atom.codedValues[static_cast<size_t>(i)] = 0.0;
    atom.fract += shift;
    atom.occupancy = CodedOccupancy(1, ShareOf(atom));
    atom.codedValues[kCodedOccupancy] = 0.0;
    atom.part = 0;
    atom.partHasOccupancy = 0;
    atom.partOccupancy = 0.0f;
  }

  // The line without the names of those that are gone; "" where too little of it is left, or only what the joined atoms
  // were tied to their neighbours by.
  std::string Without(const std::string& text, const NameRule& rule) const {
    const Instruction line = ParseInstruction(text);
    const auto isGone = [&](const std::string& word) { return names_.contains(UpperCase(word)); };
    const auto isRange = [](const std::string& word) { return word == ">" || word == "<"; };
    if (std::ranges::none_of(line.words, isGone) || std::ranges::any_of(line.words, isRange)) return text;
    std::vector<std::string> kept;
    for (size_t i = 0; i < line.words.size(); i += rule.together) {
      const std::span<const std::string> piece =
          std::span(line.words).subspan(i, std::min(rule.together, line.words.size() - i));
      if (std::ranges::none_of(piece, isGone)) kept.insert(kept.end(), piece.begin(), piece.end());
    }
    const auto isJoined = [&](const std::string& word) { return joined_.contains(UpperCase(word)); };
    const auto isNear = [&](const std::string& word) { return isJoined(word) || near_.contains(UpperCase(word)); };
    const bool within = rule.together == 1 && std::ranges::any_of(kept, isJoined) && std::ranges::all_of(kept, isNear);
    if (kept.size() < rule.least || within) return {};
    ComposedLine left(line.name + (line.residue.empty() ? "" : "_" + line.residue));
    for (const double number : line.numbers) left.Add(" " + FieldText(number, 6));
    for (const std::string& word : kept) left.Add(" " + word);
    return left.Text();
  }

  void DropNames(std::vector<KeptLine>& lines) const {
    std::erase_if(lines, [&](KeptLine& line) {
      const auto rule = std::ranges::find(kNameRules, ParseInstruction(line.text).keyword, &NameRule::keyword);
      const bool acts = line.place != KeptPlace::AfterHklf && line.place != KeptPlace::AfterEnd;
      if (rule == std::end(kNameRules) || !acts) return false;
      line.text = Without(line.text, *rule);
      return line.text.empty();
    });
  }

  // Numbers of free variables in use, by everything that is coded.
  void DropVariables() {
    auto& variables = document_.instructions.freeVariables;
    for (size_t index = variables.size(); index-- > 0;) {
      const int variable = static_cast<int>(index) + 2;
      bool used = false;
      ForEachCoded([&](double& value) { used = used || SplitCodedValue(value).variable == variable; });
      if (used || !freed_.contains(variable)) continue;
      variables.erase(variables.begin() + static_cast<std::ptrdiff_t>(index));
      ForEachCoded([&](double& value) {
        if (SplitCodedValue(value).variable > variable) value += value < 0.0 ? 10.0 : -10.0;
      });
      RenumberSums(variable);
    }
  }
  template <class Visit>
  void ForEachCoded(Visit visit) {
    for (AtomRecord* atom : Atoms(document_.atoms)) {
      visit(atom->occupancy);
      for (double& value : atom->codedValues) visit(value);
      double part = static_cast<double>(atom->partOccupancy);
      visit(part);
      atom->partOccupancy = static_cast<float>(part);
    }
  }
  void RenumberSums(int gone) {
    std::erase_if(document_.instructions.kept, [&](KeptLine& line) {
      Instruction sum = ParseInstruction(line.text);
      if (sum.keyword != InstructionKeyword::kSump) return false;
      ComposedLine text("SUMP");
      bool changed = false;
      for (size_t i = 0; i < sum.numbers.size(); ++i) {
        const bool isVariable = i >= 3 && i % 2 == 1;
        if (isVariable && WholeNumber(sum.numbers[i]) == gone) return true;
        const bool moves = isVariable && sum.numbers[i] > gone;
        changed = changed || moves;
        text.Add(" " + FieldText(sum.numbers[i] - (moves ? 1.0 : 0.0), 6));
      }
      if (changed) line.text = text.Text();
      return false;
    });
  }

  Document& document_;
  UserMessages& messages_;
  std::vector<std::set<int>> sums_;
  std::vector<std::vector<AtomRecord*>> sites_;
  std::vector<AtomRecord*> gone_;
  std::set<std::string> names_;   // of these
  std::set<std::string> joined_;  // of those that stay,
  std::set<std::string> near_;    // and of their neighbours
  std::set<int> freed_;           // variables that the joined atoms used
};

}  // namespace

std::string JoinAtoms(Document& document, const std::vector<AtomRecord*>& chosen, UserMessages& messages) {
  return Joiner(document, messages).Join(chosen);
}

}  // namespace marvik

#include "edit/edit_restraint.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "base/numbers.h"
#include "chem/geometry/atom_geometry.h"
#include "crystal/cell_metric.h"
#include "edit/edit_elements.h"
#include "language/atom_references.h"
#include "language/composed_line.h"
#include "language/instruction.h"
#include "language/residues.h"
#include "language/tokenizer.h"
#include "model/coded_values.h"

namespace marvik {
namespace {

struct Kind {
  const char* keyword;
  size_t least;     // atoms
  size_t together;  // that belong together
  bool hasTarget;
  bool hasSigma;
};
// In the order of the field's words.
constexpr Kind kKinds[] = {
    {"DFIX", 2, 2, true, true},   {"DANG", 2, 2, true, true},   {"SADI", 4, 2, false, true},
    {"FLAT", 4, 1, false, true},  {"RIGU", 2, 1, false, true},  {"SIMU", 2, 1, false, true},
    {"ISOR", 1, 1, false, true},  {"CHIV", 1, 1, true, true},   {"DELU", 2, 1, false, true},
    {"EADP", 2, 1, false, false}, {"EXYZ", 2, 1, false, false}, {"BUMP", 0, 1, false, true},
    {"SUMP", 2, 1, true, true},
};
constexpr std::array<FieldRange, 3> kFields{{
    WordField("kind", "Kind",
              "distance|angle|same|flat|rigid|similar|isotropic|chirality|bonds|equal-u|equal-xyz|bumps|sum"),
    {"target", "Target in Å or Å³", -100.0, 100.0},
    {"sigma", "Standard uncertainty", 0.0001, 10.0},
}};

// That are made elsewhere, or by hand.
constexpr Kind kOtherKinds[] = {{"SAME", 2, 1, false, true}, {"NCSY", 1, 1, false, false}};
constexpr std::array<FieldRange, 3> kEditFields{{{"number", "Number", 1.0, 1e6}, kFields[1], kFields[2]}};

// Nothing for what does not restrain.
const Kind* KindOf(const std::string& name) {
  for (const std::span<const Kind> kinds : {std::span<const Kind>(kKinds), std::span<const Kind>(kOtherKinds)})
    for (const Kind& kind : kinds)
      if (name == kind.keyword) return &kind;
  return nullptr;
}
bool Restrains(const std::string& name) {
  return KindOf(name) != nullptr;
}

// The text of the restraint of this place, where it stands.
std::string* PlaceOf(Document& document, size_t at) {
  std::string* wanted = nullptr;
  size_t count = 0;
  ForEachInstructionText(document, [&](const InstructionText& place) {
    const Instruction line = ParseInstruction(place.text);
    if (line.keyword != InstructionKeyword::kAtomLine && Restrains(line.name) && count++ == at) wanted = &place.text;
  });
  return wanted;
}

// Numbers that stand before the first name, at most as many as say a target and its uncertainty.
std::vector<double> LeadingNumbers(const Instruction& line) {
  std::vector<double> numbers;
  double value = 0.0;
  for (const std::string& word : line.all) {
    if (numbers.size() == 2 || !ParseWholeNumber(word, value)) break;
    numbers.push_back(value);
  }
  return numbers;
}

std::string FaultOf(const Document& document, const std::vector<AtomRecord*>& atoms, const Kind& kind) {
  for (const AtomRecord* atom : atoms)
    if (atom->IsPeak()) return atom->name + " is a peak: make an atom of it first.";
  if (atoms.size() < kind.least)
    return Printf("%s needs at least %zu atoms, and %zu are chosen.", kind.keyword, kind.least, atoms.size());
  if (atoms.size() % kind.together != 0)
    return Printf("%s takes pairs of atoms, and %zu are chosen.", kind.keyword, atoms.size());
  for (size_t i = 0; i < atoms.size(); ++i)  // a pair may share an atom with another
    for (size_t j = i + 1; j < (kind.together == 2 ? i / 2 * 2 + 2 : atoms.size()); ++j)
      if (atoms[i] == atoms[j]) return atoms[i]->name + " is chosen twice.";
  if (kind.keyword != std::string_view("CHIV")) return {};
  for (const AtomRecord* atom : atoms) {
    const auto bonded = BondedAtoms(document, *atom);
    const auto heavy = std::ranges::count_if(bonded, [](const AtomRecord* b) { return !b->IsHydrogen(); });
    if (heavy != 3) return Printf("CHIV needs three neighbours, and %s has %td.", atom->name.c_str(), heavy);
  }
  return {};
}

double PresentTarget(const std::vector<AtomRecord*>& atoms) {
  double sum = 0.0;
  for (size_t i = 0; i + 1 < atoms.size(); i += 2) sum += Distance(atoms[i]->position, atoms[i + 1]->position);
  return sum / (static_cast<double>(atoms.size()) / 2.0);
}

// Occupancies that free variables make add up to a target, without one to what a whole site has; variables that several
// of the atoms share count once. The line, or what is in the way.
std::string SumOfOccupancies(const std::vector<AtomRecord*>& atoms, const RestraintRequest& request,
                             ComposedLine& line) {
  constexpr double kUsualSigma = 0.01;
  std::vector<double> codes;
  std::map<int, double> factors;  // by free variable
  double whole = 0.0, offset = 0.0;
  for (const AtomRecord* atom : atoms) {
    const double code = atom->partHasOccupancy ? static_cast<double>(atom->partOccupancy) : atom->occupancy;
    const CodedParts parts = SplitCodedValue(code);
    if (parts.variable < 2) return atom->name + " has an occupancy that no free variable makes.";
    if (std::ranges::find(codes, code) != codes.end()) continue;
    codes.push_back(code);
    factors[parts.variable] += parts.factor;
    offset += parts.offset;
    whole = std::max(whole, std::fabs(parts.factor));
  }
  std::erase_if(factors, [](const auto& one) { return std::fabs(one.second) < 1e-6; });
  if (factors.size() < 2)
    return "A sum restrains the occupancies of two or more free variables: of one and its rest it is 1 by itself.";
  line.Add(" " + FieldText(request.target.value_or(whole) - offset, 4));
  line.Add(" " + FieldText(request.sigma.value_or(kUsualSigma), 4));
  for (const auto& [variable, factor] : factors)
    line.Add(" " + FieldText(factor, 4)), line.Add(" " + std::to_string(variable));
  return {};
}

}  // namespace

std::span<const FieldRange> RestraintFields() {
  return kFields;
}

std::optional<RestraintRequest> ParseRestraint(const EditArguments& arguments, EditFault& fault) {
  fault = UnknownFieldFault(arguments, kFields);
  RestraintRequest request;
  const std::string* word = arguments.Find("kind");
  std::string_view words = kFields[0].words;
  while (word && !fault && !words.empty() && words.substr(0, words.find('|')) != *word) {
    words.remove_prefix(std::min(words.size(), words.find('|') == words.npos ? words.size() : words.find('|') + 1));
    ++request.kind;
  }
  if (!fault && (!word || words.empty()))
    fault = {"kind", std::string("Kind: one of ") + kFields[0].words + " is wanted."};
  const auto number = [&](const FieldRange& field) -> std::optional<double> {
    const std::string* text = fault ? nullptr : arguments.Find(field.key);
    return text ? ReadFieldNumber(field, *text, fault) : std::nullopt;
  };
  request.target = number(kFields[1]);
  request.sigma = number(kFields[2]);
  if (fault) return std::nullopt;
  const Kind& kind = kKinds[request.kind];
  if (request.target && !kind.hasTarget) fault = {"target", std::string("Target: ") + kind.keyword + " has none."};
  if (request.sigma && !kind.hasSigma) fault = {"sigma", std::string("Uncertainty: ") + kind.keyword + " has none."};
  return fault ? std::nullopt : std::optional(request);
}

std::string AddRestraint(Document& document, const std::vector<AtomRecord*>& atoms, const RestraintRequest& request) {
  const Kind& kind = kKinds[request.kind];
  const bool isAngle = kind.keyword == std::string_view("DANG") && atoms.size() == 3;
  const std::vector<AtomRecord*> chosen = isAngle ? std::vector{atoms[0], atoms[2]} : atoms;
  if (std::string fault = FaultOf(document, chosen, kind); !fault.empty()) return fault;
  ComposedLine line(kind.keyword);
  const bool isSum = kind.keyword == std::string_view("SUMP");
  if (std::string fault = isSum ? SumOfOccupancies(chosen, request, line) : ""; !fault.empty()) return fault;
  if (kind.hasTarget && !isSum) {
    const double present = kind.together == 2 ? PresentTarget(chosen) : 0.0;
    const bool isPlain = kind.together == 1 && !request.target && !request.sigma;
    if (!isPlain) line.Add(" " + FieldText(request.target.value_or(present), 3));
  }
  if (request.sigma && !isSum) line.Add(" " + FieldText(*request.sigma, 4));
  if (kind.least > 0 && !isSum)
    for (const AtomRecord* atom : chosen) line.Add(" " + QualifiedName(document, *atom));
  for (const KeptLine& kept : document.instructions.kept)
    if (kept.text == line.Text()) return "This restraint is there already: " + line.Text();
  document.instructions.kept.push_back({KeptPlace::Body, line.Text(), -1});
  return {};
}

std::vector<std::string> RestraintTexts(const Document& document) {
  std::vector<std::string> texts;
  for (const Instruction& line : InstructionsOf(document))
    if (Restrains(line.name)) texts.push_back(line.text);
  return texts;
}

bool RemoveRestraint(Document& document, size_t at) {
  const std::string* wanted = PlaceOf(document, at);
  if (!wanted) return false;
  const auto erase = [&](std::vector<KeptLine>& lines) {
    return std::erase_if(lines, [&](const KeptLine& line) { return &line.text == wanted; }) > 0;
  };
  if (erase(document.instructions.kept) || erase(document.atoms.trailingLines)) return true;
  for (AtomRecord* atom : Atoms(document.atoms))
    if (!atom->extras.empty() && erase(atom->MutableExtras().linesBefore)) return true;
  return false;
}

RestraintNumbers NumbersOf(const std::string& restraint) {
  const Instruction line = ParseInstruction(restraint);
  const Kind* kind = KindOf(line.name);
  if (!kind) return {};
  RestraintNumbers numbers{kind->hasTarget, kind->hasSigma, {}, {}};
  const std::vector<double> leading = LeadingNumbers(line);
  size_t next = 0;
  if (kind->hasTarget && next < leading.size()) numbers.target = leading[next++];
  if (kind->hasSigma && next < leading.size()) numbers.sigma = leading[next];
  return numbers;
}

std::span<const FieldRange> RestraintEditFields() {
  return kEditFields;
}

std::string EditRestraint(Document& document, size_t at, std::optional<double> target, std::optional<double> sigma) {
  std::string* place = PlaceOf(document, at);
  if (!place) return Printf("There is no restraint number %zu.", at + 1);
  const Instruction line = ParseInstruction(*place);
  const RestraintNumbers numbers = NumbersOf(line.text);
  if (!target && !sigma) return "Neither a target nor an uncertainty is given.";
  if (target && !numbers.hasTarget) return line.name + " has no target.";
  if (sigma && !numbers.hasSigma) return line.name + " has no uncertainty.";
  ComposedLine changed(line.text.substr(0, line.text.find_first_of(" \t")));
  const auto newSigma = sigma ? sigma : numbers.sigma;
  if (numbers.hasTarget) {
    const auto newTarget = target ? target : numbers.target;
    if (newTarget || newSigma) changed.Add(" " + FieldText(newTarget.value_or(0.0), 4));
  }
  if (newSigma) changed.Add(" " + FieldText(*newSigma, 5));
  const auto replaced =
      static_cast<size_t>(numbers.target.has_value()) + static_cast<size_t>(numbers.sigma.has_value());
  for (size_t i = replaced; i < line.all.size(); ++i) changed.Add(" " + line.all[i]);
  *place = changed.Text();
  return {};
}

std::vector<size_t> RestraintsOn(const Document& document, const std::vector<const AtomRecord*>& atoms) {
  std::vector<NamedSite> sites;
  std::vector<const AtomRecord*> listed;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (IsGrownAtom(*atom)) continue;
    listed.push_back(atom);
    sites.push_back(NamedSiteOf(document, *atom));
  }
  const AtomNameIndex index(std::move(sites));
  const auto isChosen = [&](const NamedAtoms::Named& named) {
    return std::ranges::find(atoms, listed[static_cast<size_t>(named.site)]) != atoms.end();
  };
  std::vector<size_t> places;
  size_t at = 0;
  for (const Instruction& line : InstructionsOf(document)) {
    if (!Restrains(line.name)) continue;
    bool names = line.words.empty();
    for (const ResidueNumber& residue : ResiduesOf(index, line))
      names = names || std::ranges::any_of(AtomsNamed(index, line, line.words, residue).atoms, isChosen);
    if (names) places.push_back(at);
    ++at;
  }
  return places;
}

}  // namespace marvik

#include "edit/edit_part.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <unordered_set>

#include "base/numbers.h"
#include "language/tokenizer.h"
#include "model/coded_values.h"

namespace marvik {
namespace {

constexpr std::array<FieldRange, 4> kFields{{{"part", "PART", -999.0, 999.0},
                                             {"fvar", "Free variable", -99.0, 99.0},
                                             {"occupancy", "Occupancy", 0.0, 4.99},
                                             {"value", "Value of the free variable", -4.99, 4.99}}};
constexpr const FieldRange& kPart = kFields[0];
constexpr const FieldRange& kFvar = kFields[1];
constexpr const FieldRange& kOccupancy = kFields[2];
constexpr const FieldRange& kValue = kFields[3];
constexpr float kNewVariable = 0.5f;

// m with its sign and p; p of a plain occupancy is the occupancy.
std::pair<int, double> SplitOccupancy(double coded) {
  const CodedParts parts = SplitCodedValue(coded);
  if (parts.variable == 0) return {0, coded};
  const double p = std::fabs(coded) - 10.0 * parts.variable;
  return {coded < 0.0 ? -parts.variable : parts.variable, p};
}

double OccupancyOf(const AtomRecord& atom) {
  return atom.partHasOccupancy ? static_cast<double>(atom.partOccupancy) : atom.occupancy;
}

void SetOccupancy(AtomRecord& atom, const PartChange& change) {
  if (!change.fvar && !change.occupancy) return;
  const auto [presentVariable, presentP] = SplitOccupancy(OccupancyOf(atom));
  atom.occupancy = CodedOccupancy(change.fvar.value_or(presentVariable),
                                  change.occupancy.value_or(presentP == 0.0 ? 1.0 : presentP));
  atom.codedValues[kCodedOccupancy] = 0.0;
  // That of the PART line would go before the atom's own.
  atom.partHasOccupancy = 0;
  atom.partOccupancy = 0.0f;
}

void SetVariable(Document& document, const PartChange& change) {
  const int variable = std::abs(change.fvar.value_or(0));
  if (variable < 2) return;
  auto& variables = document.instructions.freeVariables;
  const size_t index = static_cast<size_t>(variable) - 2;
  if (index == variables.size()) variables.push_back(kNewVariable);
  if (!change.value) return;
  variables[index] = static_cast<float>(*change.value);
  DecodeAtoms(document);
  document.RecomputePositions();
}

}  // namespace

double CodedOccupancy(int fvar, double p) {
  if (fvar == 0) return p;
  return fvar < 0 ? 10.0 * fvar - p : 10.0 * fvar + p;
}

std::span<const FieldRange> PartFields() {
  return kFields;
}

std::optional<PartChange> ParsePartChange(const Document& document, const EditArguments& arguments, EditFault& fault) {
  fault = UnknownFieldFault(arguments, kFields);
  PartChange change;
  const auto text = [&](const char* key) { return fault ? nullptr : arguments.Find(key); };
  if (const auto* t = text("part")) change.part = ReadFieldInteger(kPart, *t, fault);
  if (const auto* t = text("fvar")) change.fvar = ReadFieldInteger(kFvar, *t, fault);
  if (const auto* t = text("occupancy")) change.occupancy = ReadFieldNumber(kOccupancy, *t, fault);
  if (const auto* t = text("value")) change.value = ReadFieldNumber(kValue, *t, fault);
  if (fault) return std::nullopt;
  const int next = static_cast<int>(document.instructions.freeVariables.size()) + 2;
  if (change.fvar && std::abs(*change.fvar) > next) {
    fault = {"fvar",
             Printf("Free variable: %d is not there; the next new one is number %d.", std::abs(*change.fvar), next)};
  } else if (change.fvar && *change.fvar == -1) {
    fault = {"fvar", "Free variable: number 1 holds a value fixed and has no sign."};
  } else if (change.value && std::abs(change.fvar.value_or(0)) < 2) {
    fault = {"value", "Value of the free variable: this goes with a free variable of number 2 or above."};
  } else if (!change.part && !change.fvar && !change.occupancy) {
    fault = {"part", "PART: a number is missing."};
  }
  return fault ? std::nullopt : std::optional(change);
}

void ApplyPartChange(Document& document, const std::vector<AtomRecord*>& atoms, const PartChange& change) {
  const std::unordered_set<const AtomRecord*> chosen(atoms.begin(), atoms.end());
  for (AtomRecord* atom : Atoms(document.atoms)) {
    if (!chosen.contains(atom) && !(atom->parent && chosen.contains(atom->parent))) continue;
    SetOccupancy(*atom, change);
    if (!change.part) continue;
    atom->part = static_cast<int16_t>(*change.part);
    if (*change.part != 0) continue;
    atom->partHasOccupancy = 0;
    atom->partOccupancy = 0.0f;
  }
  SetVariable(document, change);
}

PartChange PartOf(const Document& document, const std::vector<AtomRecord*>& atoms) {
  PartChange state;
  if (atoms.empty()) return state;
  const auto [variable, p] = SplitOccupancy(OccupancyOf(*atoms[0]));
  const bool onePart = std::ranges::all_of(atoms, [&](const AtomRecord* a) { return a->part == atoms[0]->part; });
  if (onePart) state.part = atoms[0]->part;
  state.fvar = variable;
  state.occupancy = p;
  const auto& variables = document.instructions.freeVariables;
  const size_t index = static_cast<size_t>(std::max(std::abs(variable) - 2, 0));
  if (std::abs(variable) >= 2 && index < variables.size()) state.value = static_cast<double>(variables[index]);
  return state;
}

std::vector<int> PartsInFile(const Document& document) {
  std::set<int> parts;
  for (const AtomRecord* atom : Atoms(document.atoms)) parts.insert(atom->part);
  return {parts.begin(), parts.end()};
}

std::optional<std::vector<int>> ParseHiddenParts(const Document& document, const EditArguments& arguments,
                                                 EditFault& fault) {
  fault = UnknownFieldFault(arguments, {});
  const std::vector<int> present = PartsInFile(document);
  std::vector<std::string_view> words;
  SplitWords(arguments.atoms, words);
  std::vector<int> parts;
  for (const std::string_view word : words) {
    if (fault || (words.size() == 1 && UpperCase(word) == "NONE")) break;
    const auto part = ReadFieldInteger(kPart, word, fault);
    if (part && std::ranges::find(present, *part) == present.end()) {
      fault = {"part", Printf("PART: no atom is in PART %d.", *part)};
    }
    if (part && std::ranges::find(parts, *part) == parts.end()) parts.push_back(*part);
  }
  return fault ? std::nullopt : std::optional(parts);
}

void HideParts(Document& document, const std::vector<int>& parts) {
  AtomList& list = document.atoms;
  list.hiddenParts.assign(parts.begin(), parts.end());
  const std::vector<AtomRecord*> before(list.selection.begin(), list.selection.end());
  list.selection.Clear();
  for (AtomRecord* atom : before) {
    if (!list.IsPartHidden(atom->part)) list.selection.Append(atom);
  }
}

}  // namespace marvik

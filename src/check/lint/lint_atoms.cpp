#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "base/numbers.h"
#include "check/lint/lint_state.h"
#include "crystal/displacement.h"
#include "model/coded_values.h"

namespace marvik::lint {

namespace {

using enum InstructionKeyword;

constexpr size_t kOccupancy = 4;  // in LintAtom::values
constexpr size_t kU = 5;

int RowOf(const LintState& state, const LintAtom& atom) {
  const auto number = static_cast<size_t>(std::max(RoundHalfAway(atom.values[0]), 0));
  return number >= 1 && number <= state.sfac.size() ? state.sfac[number - 1] : -1;
}

double CodedOccupancy(const LintAtom& atom) {
  if (atom.partOccupancy != 0.0) return atom.partOccupancy;
  return atom.values.size() > kOccupancy ? atom.values[kOccupancy] : 11.0;
}

void Use(LintState& state, double coded, int line, std::vector<std::string> atoms, bool occupancy) {
  const int variable = VariableOf(coded);
  if (variable < 2) return;
  state.usedVariables.insert(variable);
  if (occupancy) state.occupancyVariables.insert(variable);
  if (static_cast<size_t>(variable) > state.freeVariables.size()) {
    state.Report("fvar-missing", line, std::to_string(variable), {}, {std::move(atoms), double(variable)});
  }
}

void Element(LintState& state, const LintAtom& atom) {
  const int row = RowOf(state, atom);
  if (row < 0) {
    state.Report("sfac-number", atom.line, atom.fullName, Printf("%g", atom.values[0]),
                 {{atom.fullName}, atom.values[0]});
    return;
  }
  static const ElementTable table;
  const std::string symbol(table[row].Symbol());
  // The name may begin with the symbol of one letter or of two; one that names no element of SFAC is the user's own.
  const int two = ElementTable::ElementFromLabel(atom.name);
  const int one = ElementTable::ElementFromLabel(atom.name.substr(0, 1));
  const auto onSfac = [&](int r) { return r != kUnknownRow && std::ranges::find(state.sfac, r) != state.sfac.end(); };
  const bool deuterium = row == kDeuteriumRow && one == kHydrogenRow;
  if (row > 0 && two != row && one != row && !deuterium && (onSfac(two) || onSfac(one))) {
    state.Report("element-mismatch", atom.line, atom.fullName, symbol, {{atom.fullName}});
  }
}

void Occupancy(LintState& state, const LintAtom& atom) {
  const double coded = CodedOccupancy(atom);
  const double value = Decoded(state, coded);
  const int variable = VariableOf(coded);
  if (variable >= 2 && static_cast<size_t>(variable) > state.freeVariables.size()) return;
  const LintDetails details{{atom.fullName}, value};
  if (value < -0.005 || value > 1.005) {
    state.Report("occupancy-range", atom.line, atom.fullName, Printf("%.4g", value), details);
  } else if (value == 0.0) {
    state.Report("occupancy-zero", atom.line, atom.fullName, {}, details);
  }
}

void Displacement(LintState& state, const LintAtom& atom, bool sawCarrier) {
  constexpr double kLargestMean = 0.5;  // Å²
  if (atom.values.size() <= kU) return;
  const double u = atom.values[kU];
  LintDetails details{{atom.fullName}, u};
  const bool isotropic = atom.values.size() < kU + 6;
  if (isotropic && IsRidingU(u)) {
    if (!sawCarrier) {
      state.Report("u-chain", atom.line, atom.fullName, {}, details);
    } else if (!IsHydrogenRow(RowOf(state, atom))) {
      state.Report("u-chain-heavy", atom.line, atom.fullName, "the atom before", details);
    }
    return;
  }
  if (isotropic) {
    const double value = Decoded(state, u);
    details.value = value;
    if (value <= 0.0 && VariableOf(u) < 2)
      state.Report("u-negative", atom.line, atom.fullName, Printf("%.4g", value), details);
    if (value > kLargestMean && !IsHydrogenRow(RowOf(state, atom))) {
      state.Report("u-large", atom.line, atom.fullName, Printf("%.3f", value), details);
    }
    return;
  }
  std::array<double, 6> tensor{};
  for (size_t i = 0; i < 6; ++i) tensor[i] = Decoded(state, atom.values[kU + i]);
  const double mean = state.metric ? state.metric->Ueq(tensor) : (tensor[0] + tensor[1] + tensor[2]) / 3.0;
  details.value = mean;
  if (mean > kLargestMean) state.Report("u-large", atom.line, atom.fullName, Printf("%.3f", mean), details);
}

void Names(LintState& state) {
  std::unordered_map<std::string, const LintAtom*> first;
  for (const LintAtom& atom : state.atoms) {
    if (atom.name.size() > 4) state.Report("name-long", atom.line, atom.name, {}, {{atom.fullName}});
    if (!first.emplace(atom.fullName, &atom).second) {
      state.Report("name-twice", atom.line, atom.fullName, {}, {{atom.fullName}});
    }
  }
}

// Alternatives in parts of one sign with full, fixed occupancies.
void Parts(LintState& state) {
  std::set<int> told;
  std::set<int> parts;
  for (const LintAtom& atom : state.atoms) parts.insert(atom.part);
  for (const LintAtom& atom : state.atoms) {
    if (atom.part <= 0 || !parts.contains(atom.part == 1 ? 2 : 1) || CodedOccupancy(atom) != 11.0) continue;
    if (!told.insert(atom.part).second) continue;
    state.Report("part-without-fvar", atom.line, std::to_string(atom.part), {}, {{atom.fullName}, 1.0});
  }
}

void FreeVariables(LintState& state) {
  const LintCommand* fvar = nullptr;
  for (const LintCommand& c : state.commands) {
    if (c.keyword == kFvar && !fvar) fvar = &c;
    // PART 1 21, AFIX 147 0.84 21 -1.5, DFIX 21 C1 C2: values behind the first number, or the first itself.
    const bool first = c.keyword == kDfix || c.keyword == kDang || c.keyword == kChiv;
    const bool later = c.keyword == kPart || c.keyword == kAfix || c.keyword == kHfix;
    if (first && !c.command.numbers.empty()) Use(state, c.command.numbers[0], c.line, {}, false);
    for (size_t i = 1; later && i < c.command.numbers.size(); ++i) {
      Use(state, c.command.numbers[i], c.line, {}, c.keyword == kPart);
    }
    for (size_t i = 3; c.keyword == kSump && i < c.command.numbers.size(); i += 2) {
      const int variable = RoundHalfAway(c.command.numbers[i]);
      state.usedVariables.insert(variable);
      if (variable < 1 || static_cast<size_t>(variable) > state.freeVariables.size()) {
        state.Report("sump-variable", c.line, std::to_string(variable), {}, {{}, double(variable)});
      }
    }
  }
  if (!fvar) {
    if (!state.atoms.empty()) {
      state.Report("no-fvar", state.atoms.front().line, {}, {},
                   {{}, {}, {}, TextEdit{state.atoms.front().line, 0, "FVAR 1.0"}});
    }
    return;
  }
  if (!state.freeVariables.empty() && !(state.freeVariables[0] > 0.0)) {
    state.Report("scale-not-positive", fvar->line, Printf("%g", state.freeVariables[0]), {},
                 {{}, state.freeVariables[0], 0.0});
  }
  std::string unused;
  for (size_t i = 1; i < state.freeVariables.size(); ++i) {
    const int variable = static_cast<int>(i) + 1;
    const double value = state.freeVariables[i];
    if (!state.usedVariables.contains(variable)) {
      unused.append(unused.empty() ? "" : ", ").append(std::to_string(variable));
    } else if (state.occupancyVariables.contains(variable) && (value < 0.0 || value > 1.0)) {
      state.Report("fvar-range", fvar->line, std::to_string(variable), {}, {{}, value});
    }
  }
  if (!unused.empty() && !state.includes) state.Report("fvar-unused", fvar->line, unused);
}

}  // namespace

void LintAtoms(LintState& state) {
  bool sawCarrier = false;
  for (const LintAtom& atom : state.atoms) {
    Element(state, atom);
    for (size_t i = 1; i < atom.values.size(); ++i) {
      if (i >= kU && IsRidingU(atom.values[i]) && atom.values.size() < kU + 6) continue;
      Use(state, atom.values[i], atom.line, {atom.fullName}, i == kOccupancy);
    }
    Occupancy(state, atom);
    Displacement(state, atom, sawCarrier);
    sawCarrier = sawCarrier || atom.values.size() <= kU || !IsRidingU(atom.values[kU]);
  }
  Names(state);
  Parts(state);
  FreeVariables(state);
}

}  // namespace marvik::lint

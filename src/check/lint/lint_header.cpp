#include <algorithm>
#include <cmath>

#include "base/mat3.h"
#include "base/numbers.h"
#include "check/lint/lint_state.h"
#include "crystal/cell_metric.h"
#include "crystal/space_group.h"
#include "crystal/symmetry.h"

namespace marvik::lint {

namespace {

constexpr double kCellTolerance = 0.02;

using enum InstructionKeyword;

const LintCommand* Find(const LintState& state, InstructionKeyword keyword) {
  const auto at = std::ranges::find(state.commands, keyword, &LintCommand::keyword);
  return at == state.commands.end() ? nullptr : &*at;
}

std::string Number(double value) {
  return Printf("%.6g", value);
}

std::string Symbol(int row) {
  static const ElementTable table;
  return row > 0 ? std::string(table[row].Symbol()) : "?";
}

// Words that are to be numbers, from `first` on.
void ExpectNumbers(LintState& state, const LintCommand& c) {
  for (const std::string& word : c.command.words) state.Report("number-unreadable", c.line, word);
}

void Cell(LintState& state) {
  const LintCommand* cell = Find(state, kCell);
  const LintCommand* zerr = Find(state, kZerr);
  if (!cell) return state.Report("no-cell", 1);
  ExpectNumbers(state, *cell);
  const auto& v = cell->command.numbers;
  if (v.size() < 7) return state.Report("too-few-words", cell->line, "CELL");
  state.wavelength = v[0];
  if (!(v[0] > 0.0)) {
    state.Report("wavelength-zero", cell->line, Number(v[0]), {}, {{}, v[0], 0.0});
  } else if (v[0] < 0.2 || v[0] > 2.8) {
    state.Report("wavelength-unusual", cell->line, Number(v[0]), {}, {{}, v[0]});
  }
  OrthogonalisationMatrix matrix;
  const CellParameters parameters{v[1], v[2], v[3], v[4], v[5], v[6]};
  if (!BuildOrthogonalisation(parameters, matrix)) {
    state.Report("cell-impossible", cell->line,
                 Printf("%.6g %.6g %.6g %.6g %.6g %.6g", v[1], v[2], v[3], v[4], v[5], v[6]));
  } else {
    state.metric = MakeMetric(parameters);
  }
  if (!zerr) return state.Report("no-zerr", cell->line);
  ExpectNumbers(state, *zerr);
  const auto& z = zerr->command.numbers;
  if (z.empty() || !(z[0] > 0.0)) state.Report("zerr-z", zerr->line, z.empty() ? "not given" : Number(z[0]));
  if (z.size() >= 7 && std::all_of(z.begin() + 1, z.begin() + 7, [](double su) { return su == 0.0; })) {
    state.Report("zerr-zero", zerr->line);
  }
}

void Symmetry(LintState& state) {
  const LintCommand* latt = Find(state, kLatt);
  const LintCommand* cell = Find(state, kCell);
  int lattice = 1;
  if (latt) {
    lattice = latt->command.numbers.empty() ? 1 : WholeNumber(latt->command.numbers[0]);
    if (lattice == 0 || std::abs(lattice) > 7) state.Report("latt-unknown", latt->line, std::to_string(lattice));
  }
  if (lattice == 0 || std::abs(lattice) > 7) return;
  CellParameters edges;
  if (cell && cell->command.numbers.size() >= 7) {
    const auto& v = cell->command.numbers;
    edges = {v[1], v[2], v[3], v[4], v[5], v[6]};
  }
  const bool cellKnown = cell && cell->command.numbers.size() >= 7 && IsPossible(edges);
  const Metric metric = MakeMetric(edges);
  std::vector<std::string> texts;
  std::string problem;
  for (const LintCommand& c : state.commands) {
    if (c.keyword != kSymm) continue;
    std::string text = c.command.text.substr(std::min<size_t>(4, c.command.text.size()));
    const auto op = ParseOperator(text);
    if (!op) {
      state.Report("symm-unreadable", c.line, text);
      continue;
    }
    if (cellKnown && !FitsCell(*op, metric, kCellTolerance)) state.Report("symm-cell", c.line, OperatorText(*op));
    const auto before = MakeSpaceGroup(lattice, ListOperators(lattice, texts), problem);
    texts.push_back(text);
    const auto after = MakeSpaceGroup(lattice, ListOperators(lattice, texts), problem);
    if (!after) {
      state.Report("symm-no-group", c.line);
      return;
    }
    if (before && std::ranges::find(before->all, Wrapped(*op)) != before->all.end() &&
        static_cast<size_t>(std::ranges::count(texts, text)) > 1) {
      state.Report("symm-repeated", c.line, OperatorText(*op), {}, {{}, {}, {}, TextEdit{c.line, c.lines, ""}});
    }
  }
}

void Contents(LintState& state) {
  const LintCommand* unit = Find(state, kUnit);
  const LintCommand* zerr = Find(state, kZerr);
  const bool hasSfac = Find(state, kSfac) != nullptr;
  if (!hasSfac) state.Report("no-sfac", 1);
  if (!unit) return state.Report("no-unit", 1);
  ExpectNumbers(state, *unit);
  std::vector<double> counts;
  for (const LintCommand& c : state.commands) {
    if (c.keyword == kUnit) counts.insert(counts.end(), c.command.numbers.begin(), c.command.numbers.end());
  }
  if (hasSfac && counts.size() != state.sfac.size()) {
    state.Report("sfac-unit", unit->line, Printf("%zu elements, %zu numbers", state.sfac.size(), counts.size()), {},
                 {{}, double(counts.size()), double(state.sfac.size())});
  }
  const double z = zerr && !zerr->command.numbers.empty() ? zerr->command.numbers[0] : 0.0;
  std::string odd;
  for (size_t i = 0; i < counts.size() && i < state.sfac.size(); ++i) {
    if (counts[i] < 0.0) state.Report("unit-negative", unit->line, Number(counts[i]), {}, {{}, counts[i], 0.0});
    // Half a formula is met, and so are shares of what is disordered; anything else is a slip.
    const double share = z > 0.0 ? 2.0 * counts[i] / z : 0.0;
    const bool shared = std::ranges::any_of(state.atoms, [&](const LintAtom& atom) {
      const bool ofElement = RoundHalfAway(atom.values[0]) == static_cast<int>(i) + 1;
      return ofElement && (atom.values.size() < 5 || atom.values[4] != 11.0 || atom.partOccupancy != 0.0);
    });
    if (!shared && std::fabs(share - std::round(share)) > 0.05)
      odd += (odd.empty() ? "" : ", ") + Symbol(state.sfac[i]);
  }
  if (!odd.empty() && z == std::round(z)) state.Report("unit-z", unit->line, odd);
}

// CELL ZERR LATT SYMM SFAC UNIT come in this order, other things that need them behind.
void Order(LintState& state) {
  constexpr InstructionKeyword kOrder[] = {kCell, kZerr, kLatt, kSymm, kSfac, kUnit};
  const LintCommand* last[std::size(kOrder)] = {};
  for (const LintCommand& c : state.commands) {
    const auto at = std::ranges::find(kOrder, c.keyword);
    if (at == std::end(kOrder)) continue;
    const auto place = static_cast<size_t>(at - std::begin(kOrder));
    if (c.keyword == kUnit && !last[4]) state.Report("header-order", c.line, "UNIT");
    if (c.keyword == kSfac && !last[0]) state.Report("header-order", c.line, "SFAC");
    if (c.keyword == kSymm && !last[0]) state.Report("header-order", c.line, "SYMM");
    last[place] = &c;
  }
  const LintCommand* fvar = Find(state, kFvar);
  if (fvar && !state.atoms.empty() && fvar->line > state.atoms.front().line) {
    state.Report("header-order", state.atoms.front().line, "The first atom");
  }
}

void Settings(LintState& state) {
  bool basf = false;
  const LintCommand* twin = Find(state, kTwin);
  for (const LintCommand& c : state.commands) {
    const auto& v = c.command.numbers;
    const double first = v.empty() ? 0.0 : v[0];
    basf = basf || c.keyword == kBasf;
    switch (c.keyword) {
      case kTemp:
        ExpectNumbers(state, c);
        if (first >= 80.0 && first <= 320.0) state.Report("temperature-kelvin", c.line, Number(first), {}, {{}, first});
        break;
      case kSize:
        if (std::ranges::any_of(v, [](double size) { return size <= 0.0 || size > 20.0; })) {
          state.Report("size-impossible", c.line, Number(*std::ranges::max_element(v)));
        }
        break;
      case kWght:
        if (first < 0.0) state.Report("weights-negative", c.line, Number(first), {}, {{}, first, 0.0});
        break;
      case kExti:
        if (first < 0.0) state.Report("extinction-negative", c.line, Number(first), {}, {{}, first, 0.0});
        break;
      case kHklf:
        state.hklfCode = RoundHalfAway(first);
        if (state.hklfCode < 1 || state.hklfCode > 6) state.Report("hklf-unknown", c.line, Number(first));
        break;
      case kPlan:
      case kLs:
      case kCgls:
      case kFmap:
      case kFvar:
        ExpectNumbers(state, c);
        break;
      default:
        break;
    }
  }
  if (twin) {
    const auto& v = twin->command.numbers;
    if (!v.empty() && v.size() < 9) state.Report("twin-matrix", twin->line, std::to_string(v.size()));
    if (v.size() >= 9) {
      const double determinant = Determinant({{{{v[0], v[1], v[2]}, {v[3], v[4], v[5]}, {v[6], v[7], v[8]}}}});
      if (std::fabs(std::fabs(determinant) - 1.0) > 0.02) {
        state.Report("twin-singular", twin->line, Number(determinant), {}, {{}, determinant, 1.0});
      }
    }
    if (!basf) state.Report("twin-without-basf", twin->line);
  } else if (basf && state.hklfCode == 4) {
    state.Report("basf-without-twin", Find(state, kBasf)->line);
  }
}

}  // namespace

void LintHeader(LintState& state) {
  Cell(state);
  Symmetry(state);
  Contents(state);
  Order(state);
  Settings(state);
}

}  // namespace marvik::lint

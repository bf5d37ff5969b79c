#include <algorithm>
#include <cmath>
#include <unordered_set>

#include "base/numbers.h"
#include "check/lint/lint_state.h"
#include "crystal/symmetry.h"
#include "language/tokenizer.h"

namespace marvik::lint {

namespace {

using enum InstructionKeyword;

// What a line that names atoms needs of them.
struct Naming {
  std::string_view keyword;
  size_t fewest = 1;   // atoms, if there are any
  bool pairs = false;  // atoms come in twos
  bool empty = false;  // none stand for all
  size_t words = 0;    // that stand before the names and are none
};
constexpr Naming kNamings[] = {
    {"ANIS", 1, false, true},
    {"BIND", 2, true},
    {"BLOC", 1, false, true},
    {"CHIV", 1},
    {"CONF", 4, false, true},
    {"CONN", 1, false, true},
    {"DANG", 2, true},
    {"DELU", 2, false, true},
    {"DFIX", 2, true},
    {"EADP", 2},
    {"EXYZ", 2},
    {"FLAT", 4},
    {"FREE", 2, true},
    {"HFIX", 1},
    {"HTAB", 2, false, true},
    {"ISOR", 1, false, true},
    {"MPLA", 3},
    {"RIGU", 2, false, true},
    {"RTAB", 1, false, false, 1},
    {"SADI", 4, true},
    {"SAME", 1},
    {"SIMU", 2, false, true},
};

bool IsPattern(std::string_view word) {
  return word.find_first_of("$<>*?") != word.npos || word == "LAST" || word == "FIRST";
}

// Whether an atom of that name is there, whatever the residue that a line is for.
class Names {
 public:
  explicit Names(const LintState& state) {
    for (const LintAtom& atom : state.atoms) {
      plain_.insert(atom.name);
      full_.insert(atom.name + "_" + std::to_string(atom.residue));
    }
    for (const LintCommand& c : state.commands) {
      if (c.keyword != kEqiv || c.command.all.empty()) continue;
      equivalents_.emplace(c.command.all[0], false);
    }
  }

  // Empty, or the name of the rule that a word breaks.
  std::string_view FaultOf(const std::string& word, const std::string& residue) {
    std::string name = UpperCase(word);
    if (name == ">" || name == "<" || name == "LAST" || name == "FIRST" || name.starts_with('$')) return {};
    if (name.find_first_of("*?") != name.npos) return {};
    const size_t dollar = name.find('$');
    if (dollar != name.npos) {
      const auto at = equivalents_.find(name.substr(dollar));
      if (at == equivalents_.end()) return "eqiv-undefined";
      at->second = true;
      name.erase(dollar);
      if (name.ends_with('_')) name.pop_back();
    }
    const size_t underscore = name.find('_');
    if (underscore == name.npos) {
      double number = 0.0;
      const bool one = ParseWholeNumber(residue, number);
      if (one && full_.contains(name + "_" + std::to_string(RoundHalfAway(number)))) return {};
      if (residue.empty() ? full_.contains(name + "_0") : plain_.contains(name)) return {};
      return "atom-missing";
    }
    const std::string suffix = name.substr(underscore + 1);
    double number = 0.0;
    if (!ParseWholeNumber(suffix, number)) return {};  // +, -, *, a class or a chain
    return full_.contains(name) ? std::string_view{} : "atom-missing";
  }

  std::map<std::string, bool> equivalents_;  // and whether it is used

 private:
  std::unordered_set<std::string> plain_, full_;
};

// The words that name atoms. RTAB, MPLA and HFIX begin with something else.
std::vector<std::string> NamesOn(const LintCommand& c, const Naming& naming) {
  const auto& words = c.command.words;
  return {words.begin() + static_cast<std::ptrdiff_t>(std::min(naming.words, words.size())), words.end()};
}

void Counts(LintState& state, const LintCommand& c, const Naming& naming, const std::vector<std::string>& names) {
  const std::string& keyword = c.command.name;
  if (names.empty()) {
    if (!naming.empty && c.command.residue.empty() && !(naming.keyword == "BIND" && !c.command.numbers.empty())) {
      state.Report("too-few-words", c.line, keyword);
    }
    return;
  }
  if (std::ranges::any_of(names, IsPattern)) return;
  const bool moved = c.command.residue == "*" || !c.command.residue.empty();
  if (names.size() < naming.fewest && !(moved && names.size() > 1)) {
    state.Report("one-atom", c.line, keyword, {}, {names, double(names.size()), double(naming.fewest)});
  } else if (naming.pairs && names.size() % 2 != 0) {
    state.Report("odd-atoms", c.line, keyword, {}, {names, double(names.size())});
  } else if (naming.pairs) {
    for (size_t i = 0; i + 1 < names.size(); i += 2) {
      if (UpperCase(names[i]) == UpperCase(names[i + 1])) {
        state.Report("same-atom-twice", c.line, names[i], keyword, {{names[i]}});
      }
    }
  }
}

void Target(LintState& state, const LintCommand& c) {
  constexpr double kLongest = 10.0;  // Å
  const auto& v = c.command.numbers;
  if (c.keyword == kDfix || c.keyword == kDang) {
    if (v.empty()) {
      state.Report("no-target", c.line, c.command.name);
      return;
    }
    const double distance = Decoded(state, v[0]);
    if (VariableOf(v[0]) < 2 && (std::fabs(v[0]) < 0.3 || std::fabs(v[0]) > kLongest)) {
      state.Report("dfix-impossible", c.line, Printf("%g", distance), {}, {{}, distance});
    }
  }
  const bool secondIsSu = c.keyword == kDfix || c.keyword == kDang || c.keyword == kChiv;
  const bool firstIsSu =
      c.keyword == kSadi || c.keyword == kSimu || c.keyword == kDelu || c.keyword == kIsor || c.keyword == kFlat;
  const size_t at = secondIsSu ? 1 : 0;
  if ((secondIsSu || firstIsSu) && v.size() > at && !(v[at] > 0.0)) {
    state.Report("restraint-uncertainty", c.line, c.command.name, {}, {{}, v[at], 0.0});
  }
}

void Equivalents(LintState& state) {
  std::unordered_set<std::string> seen;
  for (const LintCommand& c : state.commands) {
    if (c.keyword != kEqiv) continue;
    if (c.command.all.empty()) {
      state.Report("too-few-words", c.line, "EQIV");
      continue;
    }
    const std::string& symbol = c.command.all[0];
    if (!seen.insert(symbol).second) state.Report("eqiv-twice", c.line, symbol);
    std::string text;
    for (size_t i = 1; i < c.command.all.size(); ++i) text += (i > 1 ? "," : "") + c.command.all[i];
    const size_t behind = c.command.text.find(symbol);
    const std::string raw = behind == std::string::npos ? text : c.command.text.substr(behind + symbol.size());
    if (!ParseOperator(text) && !ParseOperator(raw)) state.Report("eqiv-unreadable", c.line, raw);
  }
}

}  // namespace

void LintCommands(LintState& state) {
  Equivalents(state);
  Names names(state);
  for (const LintCommand& c : state.commands) {
    Target(state, c);
    const auto naming = std::ranges::find(kNamings, c.command.name, &Naming::keyword);
    if (naming == std::end(kNamings)) continue;
    const std::string& residue = c.command.residue;
    double number = 0.0;
    if (!residue.empty() && residue != "*") {
      const bool there = ParseWholeNumber(residue, number)
                             ? state.residueNumbers.contains(RoundHalfAway(number))
                             : state.residueClasses.contains(residue) || residue.find_first_of(":+-") != residue.npos;
      if (!there) {
        state.Report("residue-missing", c.line, residue, c.command.name);
        continue;
      }
    }
    const auto words = NamesOn(c, *naming);
    Counts(state, c, *naming, words);
    for (const std::string& word : words) {
      const std::string_view fault = names.FaultOf(word, residue);
      if (state.includes && fault == "atom-missing") continue;
      if (fault == "eqiv-undefined") {
        state.Report(fault, c.line, word, {}, {{word}});
      } else if (!fault.empty()) {
        state.Report(fault, c.line, word, c.command.name, {{word}});
      }
    }
  }
  for (const LintCommand& c : state.commands) {
    if (c.keyword != kEqiv || c.command.all.empty() || names.equivalents_[c.command.all[0]]) continue;
    state.Report("eqiv-unused", c.line, c.command.all[0], {}, {{}, {}, {}, TextEdit{c.line, c.lines, ""}});
  }
}

}  // namespace marvik::lint

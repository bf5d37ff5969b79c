#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "base/numbers.h"
#include "files/res/read_state.h"
#include "language/residues.h"
#include "language/tokenizer.h"

namespace marvik {

namespace {

constexpr int kLargestSfacNumber = 999;

// The first argument as an integer that fits, 0 when there is none. What is no such number is kept as it stands and
// changes nothing.
bool TakeState(ReadState& s, int lowest, int highest, int& result) {
  double value = 0.0;
  if (s.words.empty() || ParseWholeNumber(s.words[0], value)) {
    const int integer = RoundHalfAway(value);
    if (integer >= lowest && integer <= highest) {
      result = integer;
      return true;
    }
  }
  s.afterEnd || s.Parked() ? s.KeepLine() : s.KeepBeforeNextAtom();
  return false;
}

bool HasMore(const ReadState& s, size_t usedWords) {
  return s.words.size() > usedWords || !s.line.comment.empty() || !s.line.lost.empty();
}

// The words from one on, and the comment.
std::string TextBehind(const ReadState& s, size_t usedWords) {
  std::string text;
  for (size_t i = usedWords; i < s.words.size(); ++i) text.append(text.empty() ? "" : " ").append(s.words[i]);
  if (!s.line.comment.empty()) text.append(text.empty() ? "" : " ").append(s.line.comment);
  return text;
}

// A number from end to end, or one with an uncertainty in parentheses.
bool TakeNumber(std::string_view word, double& value) {
  const size_t used = ParseNumber(word, value);
  if (used == word.size()) return used > 0;
  return used > 0 && word[used] == '(' && word.ends_with(')') &&
         word.substr(used + 1, word.size() - used - 2).find_first_not_of("0123456789") == std::string_view::npos;
}

struct AtomFields {
  std::array<double, 12> values{};  // by word; values[0] is not used
  size_t count = 0;                 // words up to the first that is no number, all words counted when they all are
};

// A name is written at the start of a line, so it must not be an instruction or a continuation mark there.
bool IsAtomName(std::string_view word) {
  double value = 0.0;
  if (word.find('=') != std::string_view::npos) return false;
  const LineHead head = HeadOf(word);
  return head.keyword == InstructionKeyword::kAtomLine && !ParseWholeNumber(word, value);
}

bool IsAtomLine(const ReadState& s, AtomFields& fields) {
  double value = 0.0;
  if (s.words.size() < 5 || !IsAtomName(s.words[0])) return false;
  fields.count = 1;
  for (size_t i = 1; i < s.words.size() && TakeNumber(s.words[i], value); ++i) {
    if (i < fields.values.size()) fields.values[i] = value;
    ++fields.count;
  }
  const double number = fields.values[1];
  return fields.count >= 5 && number == std::floor(number) && std::fabs(number) <= kLargestSfacNumber;
}

void TakeValues(const AtomFields& fields, AtomRecord& atom) {
  const auto& v = fields.values;
  const auto code = [&atom](size_t index, double value) {
    if (std::fabs(value) >= 5.0) atom.codedValues[index] = value;
  };
  for (int i = 0; i < 3; ++i) {
    atom.fract[i] = v[static_cast<size_t>(i + 2)];
    code(static_cast<size_t>(kCodedX + i), atom.fract[i]);
  }
  // Left out, the occupancy is 1 and not refined, which is written as 11.
  atom.occupancy = fields.count >= 6 ? v[5] : 11.0;
  if (fields.count == 12) {
    atom.uCount = 6;
    for (size_t i = 0; i < 6; ++i) code(kCodedU + i, atom.u[i] = v[6 + i]);
  } else if (fields.count >= 7) {
    atom.u[0] = v[6];
    if (v[6] < 0.0) {
      atom.codedValues[kCodedU] = v[6];
    } else {
      code(kCodedU, v[6]);
    }
  }
}

void TakeCurrentState(ReadState& s, AtomRecord& atom) {
  atom.part = static_cast<int16_t>(s.part);
  atom.partHasOccupancy = s.partOccupancy ? 1 : 0;
  atom.partOccupancy = s.partOccupancy.value_or(0.0f);
  atom.mole = static_cast<uint16_t>(s.mole);
  atom.residue = s.residue;
  if (s.residue >= 0) s.residueIsWritten[static_cast<size_t>(s.residue)] = true;
  if (atom.IsPeak()) s.afix = 0;
  atom.afix = static_cast<uint16_t>(s.afix);
  atom.afixGroup = s.afixGroup;
  if (atom.afix != 0 && !s.afixWords.empty()) {
    atom.MutableExtras().afixWords = std::move(s.afixWords);
    atom.MutableExtras().afixWordsCode = s.afix;
  }
  s.afixWords.clear();
  s.stateLines.clear();
  s.stateResidues.clear();
  if (!s.pendingLines.empty()) atom.MutableExtras().linesBefore = std::move(s.pendingLines);
  s.pendingLines.clear();
  s.plainSamePending = false;
}

}  // namespace

void HandlePart(ReadState& s) {
  if (!TakeState(s, std::numeric_limits<int16_t>::min(), std::numeric_limits<int16_t>::max(), s.part)) return;
  constexpr double kLimit = std::numeric_limits<float>::max();
  double occupancy = 0.0;
  s.partOccupancy.reset();
  const bool given = s.words.size() > 1 && ParseWholeNumber(s.words[1], occupancy);
  if (given) s.partOccupancy = static_cast<float>(std::clamp(occupancy, -kLimit, kLimit));
  s.NoteState({LayoutState::Part, given, s.part, 0, s.partOccupancy.value_or(0.0f)});
  if (HasMore(s, given ? 2 : 1)) s.Drop(s.Kept());
}

void HandleAfix(ReadState& s) {
  if (!TakeState(s, std::numeric_limits<int16_t>::min(), std::numeric_limits<int16_t>::max(), s.afix)) return;
  s.NoteState({LayoutState::Afix, false, s.afix, ++s.afixGroup});
  s.afixWords = TextBehind(s, 1);
  if (s.afix == 0 && HasMore(s, 1)) s.Drop(s.Kept());
}

void HandleMole(ReadState& s) {
  if (!TakeState(s, 0, std::numeric_limits<uint16_t>::max(), s.mole)) return;
  s.NoteState({LayoutState::Mole, false, s.mole});
  if (HasMore(s, 1)) s.Drop(s.Kept());
}

namespace {

// The residue that a RESI line names, made when it is new; -1 for none.
int ResidueOf(ReadState& s, std::string_view arguments, const std::string& text) {
  Residue residue = ParseResidue(arguments);
  if (IsNoResidue(residue)) return -1;
  const auto [at, isNew] = s.residueIndex.try_emplace(ResidueKey(residue), static_cast<int>(s.residueIndex.size()));
  if (isNew) {
    residue.line = text;
    s.document.residues.push_back(std::move(residue));
    s.residueIsWritten.push_back(false);
  }
  return at->second;
}

}  // namespace

void HandleResi(ReadState& s) {
  s.residue = ResidueOf(s, s.line.head.arguments, s.Kept());
  s.NoteState({LayoutState::Residue, false, s.residue});
  if (s.residue >= 0) {
    s.stateResidues.push_back(s.residue);
  } else if (HasMore(s, 1)) {
    s.Drop(s.Kept());
  }
}

// Two lists of plain names before one atom are a mistake.
void HandleSame(ReadState& s) {
  const auto plain = [](std::string_view word) {
    double value = 0.0;
    return !ParseWholeNumber(word, value) && word.find_first_of("$<>*_") == std::string_view::npos;
  };
  if (!s.words.empty() && s.residue < 0 && std::all_of(s.words.begin(), s.words.end(), plain)) {
    if (s.plainSamePending) s.refusedSameLines.append("\n").append(s.Kept());
    s.plainSamePending = true;
  }
  s.KeepLine();
}

void HandleAtomLine(ReadState& s) {
  AtomFields fields;
  if (!IsAtomLine(s, fields)) return s.KeepLine();
  AtomRecord* atom = s.document.atoms.CreateAtom(s.document.elements, s.messages);
  if (!atom) {
    s.stopped = true;
    return;
  }
  atom->name = s.words[0];
  atom->sfacNumber = static_cast<int16_t>(fields.values[1]);
  atom->sourceLine = s.LineNumber();
  s.SetRole(LineRole::Atom);
  TakeValues(fields, *atom);
  size_t used = fields.count == 12 ? 12 : std::min<size_t>(fields.count, 7);
  if (atom->IsPeak() && used == 7 && fields.count >= 8) {
    atom->peakHeight = fields.values[7];
    used = 8;
  }
  std::string surplus = TextBehind(s, used);
  if (!surplus.empty()) atom->MutableExtras().surplusWords = std::move(surplus);
  if (!s.line.lost.empty()) s.Drop(s.Kept());
  if (s.afterEnd) {
    if (!atom->IsPeak()) s.inGrownSection = true;
    if (s.inGrownSection) {
      atom->Set(kFromGrownSection, true);
    } else {
      atom->afterEnd = true;
    }
  }
  atom->afterHklf = s.afterHklf && !s.afterEnd;
  TakeCurrentState(s, *atom);
  s.document.atoms.LinkAtTail(atom);
  s.sawAtoms = true;
}

}  // namespace marvik

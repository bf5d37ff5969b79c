#include "files/res/read_state.h"

#include "base/numbers.h"
#include "language/tokenizer.h"

namespace marvik {

double ReadState::Number(size_t i) const {
  double value = kMissingNumber;
  if (i < words.size()) ParseNumber(words[i], value);
  return value;
}

int ReadState::Integer(size_t i) const {
  const double value = Number(i);
  return IsMissing(value) ? 0 : RoundHalfAway(value);
}

void ReadState::Keep(KeptPlace place) {
  document.instructions.kept.push_back({place, Kept()});
}

void ReadState::KeepBeforeNextAtom() {
  for (const int index : stateResidues) residueIsWritten[static_cast<size_t>(index)] = true;
  stateResidues.clear();
  pendingLines.append(stateLines).append(Kept()).append("\n");
  stateLines.clear();
}

void ReadState::KeepLine() {
  using enum InstructionKeyword;
  if (afterEnd) return Keep(KeptPlace::AfterEnd);
  if (Parked()) return Keep(KeptPlace::AfterHklf);
  if (line.head.include) {
    if (!sawSfac && !sawAtoms) return Keep(KeptPlace::BeforeSfac);
    return sawUnit || sawAtoms ? KeepBeforeNextAtom() : Keep(KeptPlace::AfterSfac);
  }
  switch (line.head.keyword) {
    case kAnis:
    case kMove:
    case kHope:
    case kSame:
      return KeepBeforeNextAtom();
    case kEqiv:
    case kDefs:
      return Keep(KeptPlace::Front);
    case kDisp:
      return Keep(KeptPlace::AfterSfac);
    case kFrag:
      return Keep(source.TakeFragment(line) ? KeptPlace::Fragment : KeptPlace::Body);
    case kFend:  // ends nothing, and must not end a FRAG that comes to stand before it
      return Drop(Kept());
    case kBlank:
      if (!sawCell) return Keep(KeptPlace::UnderTitle);
      [[fallthrough]];
    case kAtomLine:
      if (line.head.later) break;
      return sawAtoms ? KeepBeforeNextAtom() : Keep(KeptPlace::Body);
    default:
      break;
  }
  if (line.head.later && UpperCase(line.raw.substr(0, 4)) == "NEUT") return Keep(KeptPlace::BeforeSfac);
  // Names in an instruction within a residue are those of that residue, so it has to stay there.
  if (residue >= 0 && line.head.residue.empty()) return KeepBeforeNextAtom();
  Keep(KeptPlace::Body);
}

void ReadState::Drop(std::string text) {
  document.instructions.droppedRemarks.push_back(std::move(text));
}

void ReadState::Remember(const char* key) {
  Original& original = originals[key];
  if (!original.text.empty()) Drop(original.text);
  original = {Kept(), std::string(line.code), !line.comment.empty() || !line.lost.empty()};
}

void ReadState::FlushPending() {
  std::string& trailing = document.atoms.trailingLines;
  if (pendingSame) pendingLines.insert(pendingSameAt, pendingSameLine + "\n");
  pendingSame.reset();
  trailing += pendingLines;
  pendingLines.clear();
  stateLines.clear();
}

}  // namespace marvik

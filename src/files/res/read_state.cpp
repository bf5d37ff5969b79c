#include "files/res/read_state.h"

#include "base/numbers.h"
#include "language/tokenizer.h"

namespace marvik {

namespace {

std::shared_ptr<SourceLayout> LayoutOf(std::string text) {
  auto layout = std::make_shared<SourceLayout>();
  layout->text = std::move(text);
  // Pages that are not written to take no memory.
  constexpr size_t kShortLine = 16;
  layout->lines.reserve(layout->text.size() / kShortLine + 16);
  return layout;
}

}  // namespace

ReadState::ReadState(Document& target, std::string text, UserMessages& userMessages)
    : document(target), messages(userMessages), layout(LayoutOf(std::move(text))), source(layout->text) {
  layout->returnsOnly = source.LineEnd() == "\r";
}

bool ReadState::NextLine() {
  const char* begin = layout->text.data();
  const size_t at = static_cast<size_t>(source.Position() - begin);
  const size_t from = layout->lines.empty() ? 0 : at;
  const bool found = source.Next(line);
  const size_t start = found ? static_cast<size_t>(line.raw.data() - begin) : layout->text.size();
  if (start > from) layout->lines.push_back({static_cast<uint32_t>(from)});
  if (found) layout->lines.push_back({static_cast<uint32_t>(start)});
  return found;
}

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
  SetRole(LineRole::Kept);
  document.instructions.kept.push_back({place, Kept(), LineNumber()});
}

void ReadState::KeepBeforeNextAtom() {
  SetRole(LineRole::Kept);
  for (const int index : stateResidues) residueIsWritten[static_cast<size_t>(index)] = true;
  stateResidues.clear();
  pendingLines.insert(pendingLines.end(), stateLines.begin(), stateLines.end());
  stateLines.clear();
  pendingLines.push_back({KeptPlace::BeforeAtom, Kept(), LineNumber()});
}

void ReadState::KeepLine() {
  using enum InstructionKeyword;
  const KeywordRow& row = RowOf(line.head.keyword);
  if (afterEnd) return Keep(KeptPlace::AfterEnd);
  if (Parked()) return Keep(KeptPlace::AfterHklf);
  switch (row.keyword) {
    case kInclude:
      if (!sawSfac && !sawAtoms) return Keep(KeptPlace::BeforeSfac);
      return sawUnit || sawAtoms ? KeepBeforeNextAtom() : Keep(KeptPlace::AfterSfac);
    case kFrag:
      return Keep(source.TakeFragment(line) ? KeptPlace::Fragment : KeptPlace::Body);
    case kFend:  // ends nothing, and must not end a FRAG that comes to stand before it
      return Drop(Kept());
    case kDefs:
      defaultsAmongAtoms = defaultsAmongAtoms || sawAtoms;
      break;
    case kBlank:
      if (!sawCell) return Keep(KeptPlace::UnderTitle);
      [[fallthrough]];
    case kAtomLine:
      return sawAtoms ? KeepBeforeNextAtom() : Keep(KeptPlace::Body);
    default:
      break;
  }
  if (row.place == KeptPlace::BeforeAtom) return KeepBeforeNextAtom();
  if (row.place == KeptPlace::Here) return sawAtoms ? KeepBeforeNextAtom() : Keep(KeptPlace::Body);
  // Names in an instruction within a residue are those of that residue, so it has to stay there.
  if (row.place == KeptPlace::Body && ((residue >= 0 && line.head.residue.empty()) || defaultsAmongAtoms))
    return KeepBeforeNextAtom();
  Keep(row.place);
}

void ReadState::Drop(std::string text) {
  document.instructions.droppedRemarks.push_back(std::move(text));
}

void ReadState::Remember(const std::string& key, bool adds) {
  SetRole(LineRole::Piece);
  std::vector<int32_t>& lines = remembered[key];
  if (!adds) {
    for (const int32_t earlier : lines) {
      layout->lines[static_cast<size_t>(earlier)].role = LineRole::Text;
      document.instructions.replacedLines.push_back(TextOf(*layout, earlier));
    }
    lines.clear();
  }
  lines.push_back(LineNumber());
}

void ReadState::NoteState(LayoutState state) {
  SetRole(LineRole::State);
  layout->lines.back().index = static_cast<int32_t>(layout->states.size()) & 0x7FFFFF;
  layout->states.push_back(state);
  stateLines.push_back({KeptPlace::BeforeAtom, Kept(), LineNumber()});
}

void ReadState::FlushPending() {
  auto& trailing = document.atoms.trailingLines;
  trailing.insert(trailing.end(), pendingLines.begin(), pendingLines.end());
  pendingLines.clear();
  stateLines.clear();
  plainSamePending = false;
}

}  // namespace marvik

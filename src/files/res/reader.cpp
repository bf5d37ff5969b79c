#include "files/res/reader.h"

#include <new>

#include "base/files.h"
#include "base/numbers.h"
#include "files/res/read_state.h"
#include "language/tokenizer.h"

namespace marvik {

namespace {

void ShowNoMemory(UserMessages& messages) {
  messages.Show({MessageIcon::Warning, "", "Not enough memory."});
}

// What acts on the model wherever it stands: atoms and the state that they inherit, remarks and END. Everything else
// behind HKLF or END only goes back there.
bool ActsEverywhere(const ReadState& s) {
  switch (s.line.head.keyword) {
    case InstructionKeyword::kAfix:
    case InstructionKeyword::kPart:
    case InstructionKeyword::kMole:
    case InstructionKeyword::kResi:
    case InstructionKeyword::kRem:
    case InstructionKeyword::kEnd:
    case InstructionKeyword::kAtomLine:
      return true;
    case InstructionKeyword::kWght:
      return s.afterEnd;
    default:
      return false;
  }
}

// Instructions that may carry a residue are kept as they are when they do, but HFIX has a list of its own.
bool IsForHandler(const ReadState& s) {
  const InstructionKeyword keyword = s.line.head.keyword;
  if (!s.line.head.residue.empty() && keyword != InstructionKeyword::kHfix) return false;
  return !(s.afterEnd || s.Parked()) || ActsEverywhere(s);
}

void ReadLine(ReadState& s) {
  const InstructionKeyword keyword = s.line.head.keyword;
  const InstructionHandler handler = IsForHandler(s) ? HandlerOf(keyword) : nullptr;
  if (!handler) return s.KeepLine();
  SplitWords(keyword == InstructionKeyword::kAtomLine ? s.line.code : s.line.head.arguments, s.words);
  handler(s);
}

}  // namespace

bool ReadInstructionText(Document& document, std::string text, UserMessages& messages) {
  document.Clear();
  constexpr size_t kLargest = 0x7FFFFFFF;  // offsets and lines of the layout are smaller
  if (text.size() > kLargest) {
    ShowNoMemory(messages);
    return false;
  }
  try {
    ReadState state(document, std::move(text), messages);
    while (!state.stopped && state.NextLine()) ReadLine(state);
    if (FinishReading(state)) return true;
  } catch (const std::bad_alloc&) {
    ShowNoMemory(messages);
  }
  document.Clear();
  return false;
}

bool ReadInstructionFile(Document& document, const std::string& path, UserMessages& messages) {
  FileContent file = ReadWholeFile(path);
  if (file.outOfMemory) {
    ShowNoMemory(messages);
    return false;
  }
  if (file.opened && !file.complete) {
    messages.Show({MessageIcon::Warning, "", Printf("Error reading %s.", path.c_str())});
  }
  const auto stamp = StampOf(path);
  document.CurrentFile.clear();
  document.stamp.reset();
  if (!ReadInstructionText(document, std::move(file.content), messages)) return false;
  document.CurrentFile = path;
  document.WorkingDirectory = DirectoryOf(path);
  document.stamp = stamp;
  return true;
}

}  // namespace marvik

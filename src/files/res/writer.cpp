#include "files/res/writer.h"

#include <new>

#include "base/files.h"
#include "files/res/layouts.h"

namespace marvik {

namespace {

std::string WithLineEnds(const std::string& text, const std::string& lineEnd) {
  std::string result;
  result.reserve(text.size() + text.size() / 32);
  for (const char c : text) {
    if (c == '\n') {
      result += lineEnd;
    } else {
      result += c;
    }
  }
  return result;
}

void Compose(const Document& document, std::string& text, const WriteOptions& options) {
  constexpr size_t kBytesPerAtom = 144;
  const Instructions& in = document.instructions;
  text.clear();
  if (options.layout == FileLayout::AsRead && in.source) {
    text.reserve(4096 + in.source->text.size() + in.source->text.size() / 16);
    return ComposeAsRead(document, options, text);
  }
  text.reserve(4096 + kBytesPerAtom * document.atoms.RecordCount());
  ComposeStandard(document, text);
  if (in.lineEnd != "\n") text = WithLineEnds(text, in.lineEnd);
}

}  // namespace

bool ComposeInstructionText(const Document& document, std::string& text, UserMessages& messages,
                            const WriteOptions& options) {
  try {
    Compose(document, text, options);
  } catch (const std::bad_alloc&) {
    messages.Show({MessageIcon::Warning, "", "Not enough memory."});
    return false;
  }
  return true;
}

bool WriteInstructionFile(Document& document, const std::string& path, UserMessages& messages,
                          const std::string& backupPath, const WriteOptions& options) {
  std::string text;
  if (!ComposeInstructionText(document, text, messages, options)) return false;
  if (const int error = WriteFileAtomically(path, text, backupPath)) {
    messages.Show({MessageIcon::Warning, "Error: File I/O", WriteFault(path, error)});
    return false;
  }
  document.CurrentFile = path;
  document.WorkingDirectory = DirectoryOf(path);
  document.stamp = StampOf(path);
  return true;
}

}  // namespace marvik

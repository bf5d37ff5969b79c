#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "base/user_messages.h"
#include "model/document.h"

namespace marvik {

enum class FileLayout {
  AsRead,    // what no edit concerns comes back byte for byte, where it stood
  Standard,  // order and forms of the writer; remarks are left out
};

struct WriteOptions {
  FileLayout layout = FileLayout::AsRead;
  // For a refinement's result, in the layout of the file as it was read: whether a line behind HKLF that is nothing of
  // the model stays, and what comes to stand before END and behind it.
  std::function<bool(std::string_view text)> keeps;
  std::string beforeEnd;
  std::string behindEnd;
};

// The document as an instruction file, in `text`; a document that no file held has no layout but the standard one.
// False after a message without memory.
bool ComposeInstructionText(const Document& document, std::string& text, UserMessages& messages,
                            const WriteOptions& options = {});

// Writes it whole or not at all (a temporary file in the same folder, renamed). With a non-empty backupPath an existing
// file is kept under that name. On success CurrentFile, WorkingDirectory and the stamp are set. On failure the stated
// message was shown, and the old file is as it was.
bool WriteInstructionFile(Document& document, const std::string& path, UserMessages& messages,
                          const std::string& backupPath = {}, const WriteOptions& options = {});

}  // namespace marvik

#pragma once

#include <string>

#include "base/user_messages.h"
#include "model/document.h"

namespace marvik {

// The document as an instruction file, in `text`. False after a message when a SAME group cannot be written.
bool ComposeInstructionText(Document& document, std::string& text, UserMessages& messages);

// Writes it whole or not at all (a temporary file in the same folder, renamed). With a non-empty backupPath an existing
// file is kept under that name. On success CurrentFile, WorkingDirectory and the stamp are set. On failure the stated
// message was shown, and the old file is as it was.
bool WriteInstructionFile(Document& document, const std::string& path, UserMessages& messages,
                          const std::string& backupPath = {});

}  // namespace marvik

#pragma once

#include <string>

#include "model/document.h"
#include "util/user_messages.h"

namespace marvik {

// Replaces the document's structure and settings by those of an instruction or result file; element table and previous
// weights survive. On success CurrentFile, WorkingDirectory and the stamp are set and bonds are not yet made. On
// failure (cannot be opened, empty, no memory, no usable cell, not an instruction file at all) the model is empty,
// CurrentFile is empty and the caller tells the user, except for what the reader itself reports ("Error reading %s.",
// "Not enough memory.").
bool ReadInstructionFile(Document& document, const std::string& path, UserMessages& messages);

// The same for text that is already in memory; sets neither CurrentFile nor the stamp.
bool ReadInstructionText(Document& document, std::string text, UserMessages& messages);

}  // namespace marvik

#pragma once

#include <string>

#include "base/user_messages.h"
#include "model/document.h"

namespace marvik {

// Replaces the document's structure and settings by those of an instruction or result file; element table and previous
// weights survive. On success CurrentFile, WorkingDirectory and the stamp are set and bonds are not yet made. On
// failure (cannot be opened, empty, no usable cell and so no instruction file at all) the model and CurrentFile are
// empty and the caller tells the user. "Error reading %s." (and what arrived is used) and "Not enough memory." (and
// everything stays as it was) are reported here.
bool ReadInstructionFile(Document& document, const std::string& path, UserMessages& messages);

// The same for text that is already in memory; sets neither CurrentFile nor the stamp.
bool ReadInstructionText(Document& document, std::string text, UserMessages& messages);

}  // namespace marvik

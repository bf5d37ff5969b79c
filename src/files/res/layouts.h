#pragma once

#include <string>
#include <string_view>

#include "files/res/writer.h"

namespace marvik {

// Lines that are kept but must not begin to be read, as remarks.
std::string AsRemarks(std::string_view lines);

// Each appends to `text`, line ends as plain line feeds unless it says otherwise.
void ComposeStandard(const Document& document, std::string& text);
// The atoms that GROW and PACK made, with the remark before them; nothing when there are none.
void ComposeGrownSection(const Document& document, std::string& text);
// The lines of the document's source with its line ends; it must have one.
void ComposeAsRead(const Document& document, const WriteOptions& options, std::string& text);

}  // namespace marvik

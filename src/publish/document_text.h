#pragma once

#include "publish/document.h"

namespace marvik {

// Plain text with what the kind of document gives a meaning guarded.
std::string EscapedText(std::string_view text, DocumentKind kind);
// "C13 H11 N O5", "2(H2 O)" with their numbers lowered.
std::string LoweredFormula(std::string_view formula, DocumentKind kind);
// "P 21/c", "P -1", "I 41/a m d": screw axes with their subscripts, inversion axes with their bars.
std::string SymbolText(std::string_view symbol, DocumentKind kind);

}  // namespace marvik

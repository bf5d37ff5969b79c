#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "model/document.h"

namespace marvik {

// What of the file that a document was read from did not become what it was meant to be. Of lines the first word and
// the number: "C1 (line 40)".
struct FileDamage {
  bool isCutOff = false;               // neither HKLF nor END
  std::vector<std::string> noAtoms;    // lines that begin as atoms and are kept as text
  std::vector<std::string> nameless;   // atoms whose name begins with no letter
  std::vector<std::string> operators;  // SYMM lines that make no sense

  std::vector<std::string> Sentences() const;
};
FileDamage DamageOf(const Document& document);

// A sentence for text in UTF-16, which is not read; "" for any other.
std::string EncodingFault(std::string_view text);

}  // namespace marvik

#include "chem/joined_parts.h"

#include <algorithm>

#include "language/instruction.h"
#include "language/tokenizer.h"

namespace marvik {

JoinedParts JoinedPartsOf(const Document& document) {
  JoinedParts joined;
  for (const KeptLine& line : document.instructions.kept) {
    if (line.place != KeptPlace::Body || HeadOf(line.text).keyword != InstructionKeyword::kBind) continue;
    const Instruction bind = ParseInstruction(line.text);
    if (bind.words.empty() && bind.numbers.size() == 2)
      joined.emplace_back(WholeNumber(bind.numbers[0]), WholeNumber(bind.numbers[1]));
  }
  return joined;
}

bool AreJoined(const JoinedParts& joined, int a, int b) {
  return std::ranges::any_of(joined,
                             [&](const auto& pair) { return pair == std::pair(a, b) || pair == std::pair(b, a); });
}

}  // namespace marvik

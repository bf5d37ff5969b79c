#include "chem/bond_rules.h"

#include <algorithm>

#include "chem/connectivity.h"
#include "language/instruction.h"
#include "language/tokenizer.h"

namespace marvik {

BondRules::BondRules(const Document& document) : list_(&document.atoms) {
  for (const KeptLine& line : document.instructions.kept) {
    if (line.place != KeptPlace::Body || HeadOf(line.text).keyword != InstructionKeyword::kBind) continue;
    const Instruction bind = ParseInstruction(line.text);
    if (bind.words.empty() && bind.numbers.size() == 2)
      joined_.emplace_back(WholeNumber(bind.numbers[0]), WholeNumber(bind.numbers[1]));
  }
}

bool BondRules::PartsBond(int a, int b, bool isIdentity) const {
  return PartsMayBond(a, b, isIdentity) || std::ranges::any_of(joined_, [&](const auto& pair) {
           return pair == std::pair(a, b) || pair == std::pair(b, a);
         });
}

bool BondRules::IsFreed(const AtomRecord& a, const AtomRecord& b) const {
  return list_->freePairs.IndexOf(&a, &b) >= 0;
}

std::vector<BondRules::Pair> BondRules::Bound() const {
  std::vector<Pair> bound;
  for (const auto& [a, b, line] : list_->bindPairs.pairs)
    if (a && b && a != b && !IsFreed(*a, *b)) bound.emplace_back(a, b);
  return bound;
}

std::vector<BondRules::Pair> BondRules::Freed() const {
  std::vector<Pair> freed;
  for (const auto& [a, b, line] : list_->freePairs.pairs)
    if (a && b && a != b) freed.emplace_back(a, b);
  return freed;
}

}  // namespace marvik

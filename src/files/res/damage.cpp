#include "files/res/damage.h"

#include <algorithm>

#include "base/numbers.h"
#include "crystal/symmetry.h"
#include "language/keywords.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

constexpr size_t kMostListed = 20;
constexpr ptrdiff_t kFewestNumbers = 3;  // of a line that is taken for an atom

bool BeginsWithLetter(std::string_view text) {
  return !text.empty() && (text[0] | 0x20) >= 'a' && (text[0] | 0x20) <= 'z';
}

std::string_view FirstWord(std::string_view text) {
  return text.substr(0, std::min(text.find_first_of(" \t\r\n"), text.size()));
}

bool LooksLikeAtom(std::string_view text) {
  std::vector<std::string_view> words;
  SplitWords(text, words);
  double value = 0.0;
  return !words.empty() && text.data() == words[0].data() && !ParseWholeNumber(words[0], value) &&
         std::ranges::count_if(words, [&](std::string_view w) { return ParseWholeNumber(w, value); }) >= kFewestNumbers;
}

// A sentence that ends with what it is about, and how many more there are.
void Tell(std::vector<std::string>& sentences, const char* sentence, const std::vector<std::string>& about) {
  if (about.empty()) return;
  std::string text = sentence;
  for (size_t i = 0; i < std::min(about.size(), kMostListed); ++i) text += (i ? ", " : " ") + about[i];
  if (about.size() > kMostListed) text += " and " + std::to_string(about.size() - kMostListed) + " more";
  sentences.push_back(text + ".");
}

}  // namespace

FileDamage DamageOf(const Document& document) {
  FileDamage damage;
  const auto& source = document.instructions.source;
  if (!source) return damage;
  bool hasEnd = false;
  int number = 1;
  for (size_t i = 0; i < source->lines.size() && !hasEnd; ++i) {
    const std::string_view bytes = BytesOf(*source, static_cast<int32_t>(i));
    const auto about = [&] { return Printf("%s (line %d)", std::string(FirstWord(bytes)).c_str(), number); };
    const LineRole role = source->lines[i].role;
    if (role == LineRole::Atom) {
      if (!BeginsWithLetter(bytes)) damage.nameless.push_back(about());
    } else if (role != LineRole::State) {
      const LineHead head = HeadOf(bytes);
      const std::string_view code = head.arguments.substr(0, head.arguments.find_first_of("!\r\n"));
      hasEnd = role == LineRole::End || head.keyword == InstructionKeyword::kHklf || bytes.starts_with('+');
      if (head.keyword == InstructionKeyword::kSymm && !ParseOperator(code)) damage.operators.push_back(about());
      if (head.keyword == InstructionKeyword::kAtomLine && LooksLikeAtom(bytes)) damage.noAtoms.push_back(about());
    }
    number += static_cast<int>(std::ranges::count(bytes, source->returnsOnly ? '\r' : '\n'));
  }
  damage.isCutOff = !hasEnd;
  return damage;
}

std::vector<std::string> FileDamage::Sentences() const {
  std::vector<std::string> sentences;
  if (isCutOff) sentences.emplace_back("There is neither HKLF nor END: the file is cut off, and more may be missing.");
  Tell(sentences, "These lines begin as atoms and are kept as text:", noAtoms);
  Tell(sentences, "These atoms have names that begin with no letter; a part of the line may be missing:", nameless);
  Tell(sentences, "These operators make no sense and are kept as text:", operators);
  return sentences;
}

std::string EncodingFault(std::string_view text) {
  const std::string_view head = text.substr(0, 400);
  const bool isMarked = head.starts_with("\xff\xfe") || head.starts_with("\xfe\xff");
  const bool isWide = head.size() >= 40 && std::ranges::count(head, '\0') * 3 > static_cast<ptrdiff_t>(head.size());
  return isMarked || isWide ? "It is text in UTF-16; save it as UTF-8 or plain ASCII." : "";
}

}  // namespace marvik

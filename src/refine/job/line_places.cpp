#include "refine/job/line_places.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "base/numbers.h"
#include "language/line_source.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

constexpr size_t kPlaceWords = 4;  // the SFAC number and x y z behind the name

bool IsFinite(const std::string& word) {
  double value = 0.0;
  return ParseWholeNumber(word, value) && std::isfinite(value);
}

// A word that stands for a number, though it may be none that counts ("nan", "1.2.3").
bool LooksNumeric(const std::string& word) {
  const std::string upper = UpperCase(word);
  const size_t sign = upper[0] == '-' || upper[0] == '+' ? 1 : 0;
  return upper.substr(sign, 3) == "NAN" || upper.substr(sign, 3) == "INF" ||
         (upper.size() > sign && (std::isdigit(static_cast<unsigned char>(upper[sign])) || upper[sign] == '.'));
}

// What is wrong with a line that begins as an atom: "" for nothing.
std::string FaultOf(const std::vector<std::string>& words, int elements) {
  double entry = 0.0;
  if (!ParseWholeNumber(words[0], entry) || entry != std::floor(entry))
    return "is not refined: " + words[0] + " is no SFAC number";
  if (words.size() < kPlaceWords) return "is not refined: it has no three coordinates";
  for (size_t i = 1; i < kPlaceWords; ++i)
    if (!IsFinite(words[i])) return "is not refined: its coordinate " + words[i] + " is no number";
  if (entry < 1.0 || entry > elements)
    return Printf("has the SFAC number %s of %d; its name says what it is", words[0].c_str(), elements);
  for (size_t i = kPlaceWords; i < words.size() && i < kPlaceWords + 7; ++i)
    if (LooksNumeric(words[i]) && !IsFinite(words[i])) return words[i] + " is no number; the usual value is taken";
  return {};
}

int CountElements(const Instruction& sfac) {
  const bool isLong = std::any_of(sfac.all.begin() + (sfac.all.empty() ? 0 : 1), sfac.all.end(), IsFinite);
  return isLong ? 1 : static_cast<int>(sfac.all.size());
}

}  // namespace

std::string LinePlaces::Of(InstructionKeyword keyword) const {
  const auto found = first.find(keyword);
  return found == first.end() ? std::string() : Printf(" (%s, line %d)", file.c_str(), found->second);
}

std::string LinePlaces::Of(const Instruction& instruction) const {
  const auto found = texts.find(instruction.text);
  return found == texts.end() ? Of(instruction.keyword) : Printf(" (%s, line %d)", file.c_str(), found->second);
}

LinePlaces FindPlaces(std::string_view text, const std::string& file) {
  LinePlaces places;
  places.file = file;
  LineSource source(text);
  SourceLine line;
  const char end = text.find('\n') != std::string_view::npos ? '\n' : '\r';
  const char* counted = text.data();
  int number = 1;
  int elements = 0;
  while (source.Next(line) && line.head.keyword != InstructionKeyword::kEnd) {
    number += static_cast<int>(std::count(counted, line.raw.data(), end));
    counted = line.raw.data();
    places.first.emplace(line.head.keyword, number);
    if (line.head.keyword != InstructionKeyword::kAtomLine) places.texts.emplace(line.code, number);
    if (line.head.keyword == InstructionKeyword::kHklf) break;
    if (line.head.keyword == InstructionKeyword::kFrag) source.TakeFragment(line);
    if (line.head.keyword == InstructionKeyword::kSfac) elements += CountElements(ParseInstruction(line));
    if (line.head.keyword != InstructionKeyword::kAtomLine || line.code.empty()) continue;
    const std::vector<std::string> words = ParseInstruction(line).all;
    if (!std::isalpha(static_cast<unsigned char>(line.code[0])) || words.empty() || !LooksNumeric(words[0])) continue;
    const std::string fault = FaultOf(words, elements);
    if (fault.empty()) continue;
    const std::string name(line.code.substr(0, line.code.find_first_of(kSeparators)));
    places.notes.push_back(Printf("%s, line %d: %s: %s", file.c_str(), number, name.c_str(), fault.c_str()));
  }
  return places;
}

}  // namespace marvik

#include "language/instruction.h"

#include <algorithm>

#include "base/numbers.h"
#include "language/residues.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

bool IsRemark(InstructionKeyword keyword) {
  return keyword == InstructionKeyword::kBlank || keyword == InstructionKeyword::kRem;
}

bool Acts(KeptPlace place) {
  return place != KeptPlace::UnderTitle && place != KeptPlace::AfterHklf && place != KeptPlace::AfterEnd &&
         place != KeptPlace::Fragment;
}

int FindResidue(const Document& document, std::string_view line) {
  const std::string key = ResidueKey(ParseResidue(HeadOf(line).arguments));
  const auto at = std::ranges::find(document.residues, key, ResidueKey);
  return at == document.residues.end() ? -1 : static_cast<int>(at - document.residues.begin());
}

std::string NameOf(const SourceLine& line) {
  if (IsInstruction(line.head.keyword)) {
    const std::string_view spelling = SpellingOf(line.head.keyword);
    return std::string(spelling.substr(0, spelling.find(' ')));
  }
  const std::string_view head = line.code.substr(0, 4);
  return UpperCase(head.substr(0, head.find_last_not_of(kSeparators) + 1));
}

}  // namespace

Instruction ParseInstruction(const SourceLine& line) {
  Instruction result;
  result.keyword = line.head.keyword;
  result.name = NameOf(line);
  result.text = line.code;
  if (!line.head.residue.empty()) result.residue = UpperCase(line.head.residue.substr(1));
  std::vector<std::string_view> words;
  std::string_view rest = line.head.arguments;
  if (result.keyword == InstructionKeyword::kAtomLine) {
    const size_t name = std::min(line.code.find_first_not_of(kSeparators), line.code.size());
    rest = line.code.substr(std::min(line.code.find_first_of(kSeparators, name), line.code.size()));
  } else if (result.keyword == InstructionKeyword::kInclude) {
    rest = line.code.substr(std::min(line.code.find_first_not_of('+'), line.code.size()));
  }
  std::string spaced;
  if (RowOf(result.keyword).TakesNames() && rest.find_first_of("<>") != std::string_view::npos) {
    for (const char c : rest) spaced += c == '>' || c == '<' ? std::string{' ', c, ' '} : std::string(1, c);
    rest = spaced;
  }
  SplitWords(rest, words);
  for (const std::string_view word : words) {
    double value = 0.0;
    result.all.emplace_back(word);
    if (ParseWholeNumber(word, value)) {
      result.numbers.push_back(value);
    } else {
      result.words.emplace_back(word);
    }
  }
  return result;
}

Instruction ParseInstruction(std::string_view text) {
  LineSource source(text);
  SourceLine line;
  return source.Next(line) ? ParseInstruction(line) : Instruction{};
}

int WholeNumber(double value) {
  constexpr int kLargest = 1000000;
  return std::clamp(RoundHalfAway(value), -kLargest, kLargest);
}

void ForEachInstructionText(Document& document, const std::function<void(InstructionText)>& visit) {
  for (KeptLine& line : document.instructions.kept) {
    if (Acts(line.place)) visit({line.text, line.place, nullptr, -1});
  }
  if (!document.settings.BondLine.empty()) visit({document.settings.BondLine, KeptPlace::Body, nullptr, -1});
  for (HfixEntry& entry : document.atoms.hfix) visit({entry.text, KeptPlace::Body, nullptr, -1});
  int residue = -1;
  const auto among = [&](std::vector<KeptLine>& lines, AtomRecord* before) {
    for (KeptLine& line : lines) {
      if (HeadOf(line.text).keyword == InstructionKeyword::kResi) residue = FindResidue(document, line.text);
      visit({line.text, KeptPlace::BeforeAtom, before, residue});
    }
  };
  for (AtomRecord* atom : Atoms(document.atoms)) {
    if (!atom->extras.empty()) among(atom->extras.front().linesBefore, atom);
    residue = atom->residue;
  }
  among(document.atoms.trailingLines, nullptr);
}

std::optional<double> TemperatureOf(const Document& document) {
  const Instruction temp = ParseInstruction(document.instructions.tempLine);
  return temp.numbers.empty() ? std::nullopt : std::optional(temp.numbers[0]);
}

std::vector<Instruction> InstructionsOf(const Document& document) {
  std::vector<Instruction> instructions;
  // Nothing is changed.
  ForEachInstructionText(const_cast<Document&>(document), [&](const InstructionText& place) {
    if (&place.text == &document.settings.BondLine) return;
    LineSource source(place.text);
    SourceLine line;
    while (source.Next(line)) {
      if (IsRemark(line.head.keyword)) continue;
      instructions.push_back(ParseInstruction(line));
      instructions.back().before = place.before;
    }
  });
  return instructions;
}

void ReplaceInstructions(Document& document, InstructionKeyword keyword, const std::vector<std::string>& lines) {
  size_t used = 0;
  const auto replace = [&](std::vector<KeptLine>& kept) {
    for (KeptLine& line : kept) {
      if (!Acts(line.place) || HeadOf(line.text).keyword != keyword) continue;
      line.text = used < lines.size() ? lines[used] : std::string();
      ++used;
    }
    std::erase_if(kept, [](const KeptLine& line) { return line.text.empty(); });
  };
  replace(document.instructions.kept);
  for (AtomRecord* atom : Atoms(document.atoms)) {
    if (!atom->extras.empty()) replace(atom->extras.front().linesBefore);
  }
  replace(document.atoms.trailingLines);
  for (; used < lines.size(); ++used) document.instructions.kept.push_back({RowOf(keyword).place, lines[used], -1});
}

const LayoutPiece* FindPiece(const Document& document, std::string_view key) {
  const auto& source = document.instructions.source;
  if (!source) return nullptr;
  const auto at = std::find_if(source->pieces.begin(), source->pieces.end(),
                               [&](const LayoutPiece& piece) { return piece.key == key; });
  return at == source->pieces.end() ? nullptr : &*at;
}

std::string TextInFile(const Document& document, std::string_view key) {
  const LayoutPiece* piece = FindPiece(document, key);
  if (!piece || piece->lines.empty()) return "";
  return ParseInstruction(BytesOf(*document.instructions.source, piece->lines.back())).text;
}

}  // namespace marvik

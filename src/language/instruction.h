#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "language/line_source.h"
#include "model/document.h"

namespace marvik {

// One instruction as a value: "SADI_CF3 0.02 C1 F1 C1 F2" has the name SADI, the residue CF3, the leading number 0.02
// and the words behind it.
struct Instruction {
  InstructionKeyword keyword = InstructionKeyword::kAtomLine;
  std::string name;                    // upper case, at most four characters; "+" of "+file"; "" of an empty line
  std::string residue;                 // behind the underscore, upper case
  std::vector<double> numbers;         // all words that are numbers, in order
  std::vector<std::string> words;      // all that are not, in order
  std::vector<std::string> all;        // every word behind the keyword
  std::string text;                    // on one line, without comments
  std::string place;                   // " (job.ins, line 7)" for what is said about it, where that is known
  const AtomRecord* before = nullptr;  // the atom that the line stood before, where that matters
};
Instruction ParseInstruction(const SourceLine& line);
// The first instruction of a text; without a name when there is none.
Instruction ParseInstruction(std::string_view text);

// Rounded half away from zero, and kept within a million either way: sums, products and signs of such are safe.
int WholeNumber(double value);

// One place of a document that holds instruction lines as text.
struct InstructionText {
  std::string& text;
  KeptPlace place;
  AtomRecord* before;  // of a line that stands before an atom
  int residue;         // that it stands in, -1 for none
};
// Calls visit for each in file order: the kept lines, HFIX, BOND, the lines among the atoms. The text may be changed.
// What stands behind HKLF or END, the comment under the title and fragments are no instructions and are left out.
void ForEachInstructionText(Document& document, const std::function<void(InstructionText)>& visit);

// The temperature of the data in °C that TEMP says.
std::optional<double> TemperatureOf(const Document& document);

// Every instruction that is kept as text, in that order, but BOND, which is a setting.
std::vector<Instruction> InstructionsOf(const Document& document);

// Puts other lines in the place of every kept one with a keyword, one for one; what has no new line goes.
void ReplaceInstructions(Document& document, InstructionKeyword keyword, const std::vector<std::string>& lines);

// What the writer composed right after reading for one of its instructions ("PLAN", "L.S."), null for what it composes
// only now.
const LayoutPiece* FindPiece(const Document& document, std::string_view key);
// The last line of the file that said such an instruction, on one line; "" when there is none.
std::string TextInFile(const Document& document, std::string_view key);

}  // namespace marvik

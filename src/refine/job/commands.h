#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "language/tokenizer.h"
#include "model/document.h"

namespace marvik {

// One instruction that the model keeps as text: "SADI_CF3 0.02 C1 F1 C1 F2" has the keyword SADI, the residue CF3, the
// leading numbers {0.02} and the words behind them.
struct Command {
  std::string keyword;                 // upper case
  std::string residue;                 // behind the underscore, upper case
  std::vector<double> numbers;         // all that are numbers, in order
  std::vector<std::string> words;      // all that are not, in order
  std::vector<std::string> all;        // every word behind the keyword
  std::string text;                    // on one line
  const AtomRecord* before = nullptr;  // the atom that the line stood before, where that matters
};

// Words of a line, continuation signs and what follows "!" left out. Blanks and commas separate.
std::vector<std::string> WordsOf(std::string_view line);
Command ParseCommand(std::string_view line);
// Rounded half away from zero, and kept within a million either way: sums, products and signs of such are safe.
int WholeNumber(double value);

// Every kept instruction in file order: the kept lines, BASF, HFIX, OMIT h k l, and the lines that stand among the
// atoms. Fragments (FRAG ... FEND) are left out: their lines are no instructions.
std::vector<Command> CommandsOf(const Document& document);

// Writes another line in the place of every kept one with a keyword; an empty text takes them out.
void ReplaceInstruction(Document& document, const char* keyword, const std::string& replacement);

}  // namespace marvik

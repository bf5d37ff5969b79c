#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "language/instruction.h"

namespace marvik {

// Where the instructions of a file stand, for what is said about them.
struct LinePlaces {
  std::string file;                         // name without its folder
  std::map<InstructionKeyword, int> first;  // the first line of each, from 1
  std::map<std::string, int> texts;         // the first line of each text of an instruction
  std::vector<std::string> notes;           // atom lines that are not taken as they stand, with their lines

  // " (job.ins, line 7)", "" where it is not known.
  std::string Of(InstructionKeyword keyword) const;
  std::string Of(const Instruction& instruction) const;
};

// Reads the text of an instruction file up to its HKLF or END.
LinePlaces FindPlaces(std::string_view text, const std::string& file);

}  // namespace marvik

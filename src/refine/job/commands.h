#pragma once

#include "language/instruction.h"
#include "language/tokenizer.h"

namespace marvik {

// An instruction that the run carries out.
using Command = Instruction;

}  // namespace marvik

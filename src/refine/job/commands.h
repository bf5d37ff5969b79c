#pragma once

#include "language/instruction.h"

namespace marvik {

// An instruction that the run carries out.
using Command = Instruction;

}  // namespace marvik

#include "app/version.h"

namespace marvik {

const char* const kProgramVersion = MARVIK_VERSION;

}  // namespace marvik

#include "support/fake_refinement_path.h"

namespace marvik::test {

const char* const kFakeRefinement = FAKE_REFINEMENT;

}  // namespace marvik::test

#include "crystal/symmetry_codes.h"

namespace marvik {

std::optional<SymmetryOperator> OperatorOfCode(const SymmetryList& operators, int32_t code) {
  if (code < 1000 || OperatorNumberOf(code) >= operators.size()) return std::nullopt;
  return operators[OperatorNumberOf(code)].Shifted(TranslationOf(code));
}

}  // namespace marvik

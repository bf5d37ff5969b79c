#include "crystal/symmetry_codes.h"

namespace marvik {

std::optional<SymmetryOperator> OperatorOfCode(const SymmetryList& operators, int32_t code) {
  const auto op = static_cast<size_t>(code / 1000 - 1);
  if (code < 1000 || op >= operators.size()) return std::nullopt;
  return operators[op].Shifted({code / 100 % 10 - 5, code / 10 % 10 - 5, code % 10 - 5});
}

}  // namespace marvik

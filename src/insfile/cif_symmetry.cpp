#include "insfile/cif_symmetry.h"

#include <algorithm>
#include <cmath>

#include "cryst/symmetry.h"

namespace marvik {

namespace {

constexpr size_t kLongestOperator = 70;
constexpr double kSamePlace = 0.05;  // Å

// The first three components, x1 x2 x3 written as x y z; empty when these are no three.
std::string SpacePart(std::string_view text) {
  std::string part;
  size_t at = 0;
  for (int i = 0; i < 3; ++i) {
    const size_t comma = std::min(text.find(',', at), text.size());
    std::string component(text.substr(at, comma - at));
    for (const auto& [numbered, plain] : {std::pair{"x1", "x"}, {"x2", "y"}, {"x3", "z"}}) {
      for (size_t n; (n = component.find(numbered)) != std::string::npos;) component.replace(n, 2, plain);
    }
    if (component.find_first_of("xyzXYZ") == std::string::npos) return {};
    part.append(part.empty() ? "" : ",").append(component);
    at = std::min(comma + 1, text.size());
  }
  return part.size() > kLongestOperator ? std::string() : part;
}

bool IsIdentity(const SymmetryOperator& op) {
  for (size_t i = 0; i < 3; ++i)
    for (size_t j = 0; j < 4; ++j)
      if (op.rows[i][j] != (i == j ? 1.0 : 0.0)) return false;
  return true;
}

}  // namespace

CifSymmetry ReadCifSymmetry(const CifBlock& block, UserMessages& messages) {
  CifSymmetry symmetry;
  AddSymmetryOperator(symmetry.operators, "X,Y,Z", -1, kImpliedOperator, messages);
  const CifColumn texts = FindColumn(block, {"_symmetry_equiv_pos_as_xyz", "_space_group_symop_operation_xyz",
                                             "_space_group_symop_ssg_operation_algebraic"});
  for (size_t row = 0; row < texts.Rows(); ++row) {
    std::string text = SpacePart(texts[row]);
    if (text.find_first_of("\n\r\t!=") != std::string::npos || text.empty()) continue;
    symmetry.isGiven = true;
    AddSymmetryOperator(symmetry.operators, text, -1, kSymmLineOperator, messages);
    if (IsIdentity(symmetry.operators.back())) {
      symmetry.operators.pop_back();
    } else {
      symmetry.lines.push_back(std::move(text));
    }
  }
  return symmetry;
}

int SiteSymmetryOrder(const Fractional& place, const SymmetryList& operators, const OrthogonalisationMatrix& matrix) {
  int order = 0;
  for (const SymmetryOperator& op : operators) {
    Fractional difference = op.Apply(place) - place;
    for (int i = 0; i < 3; ++i) difference[i] -= std::round(difference[i]);
    order += Length(matrix * difference) < kSamePlace;
  }
  return std::max(order, 1);
}

}  // namespace marvik

#include "files/cif/cif_symmetry.h"

#include <algorithm>
#include <cmath>

#include "crystal/space_group.h"
#include "crystal/symmetry.h"

namespace marvik {

namespace {

constexpr size_t kLongestOperator = 70;
constexpr double kCellTolerance = 0.01;

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

}  // namespace

void CifSymmetry::Add(std::string text) {
  SymmetryList added;
  AddSymmetryOperator(added, text, -1, kSymmLineOperator);
  const SymmetryOperator op = Wrapped(added[0]);
  const bool known =
      std::ranges::any_of(operators, [&](const SymmetryOperator& other) { return Wrapped(other) == op; });
  if (known || op.Determinant() == 0) return;
  operators.push_back(std::move(added[0]));
  lines.push_back(std::move(text));
}

CifSymmetry ReadCifSymmetry(const CifBlock& block, const Metric& metric) {
  CifSymmetry symmetry;
  AddSymmetryOperator(symmetry.operators, "X,Y,Z", -1, kImpliedOperator);
  const CifColumn texts = FindColumn(block, {"_symmetry_equiv_pos_as_xyz", "_space_group_symop_operation_xyz",
                                             "_space_group_symop_ssg_operation_algebraic"});
  for (size_t row = 0; row < texts.Rows(); ++row) {
    std::string text = SpacePart(texts[row]);
    if (text.find_first_of("\n\r\t!=") != std::string::npos || text.empty()) continue;
    symmetry.isListed = true;
    symmetry.Add(std::move(text));
  }
  if (symmetry.isListed) return symmetry;
  const CifValue hall = FindColumn(block, {"_symmetry_space_group_name_hall", "_space_group_name_hall"})[0];
  const CifValue name = CifSpaceGroupName(block);
  for (const auto& [source, operators] :
       {std::pair{hall, OperatorsOfHallSymbol(hall)}, {name, OperatorsOfName(name, metric.cell)}}) {
    const auto fits = [&](const SymmetryOperator& op) { return FitsCell(op, metric, kCellTolerance); };
    if (operators.empty() || !std::ranges::all_of(operators, fits)) continue;
    for (const SymmetryOperator& op : operators) symmetry.Add(OperatorText(op, ","));
    symmetry.source = source;
    return symmetry;
  }
  return symmetry;
}

CifValue CifSpaceGroupName(const CifBlock& block) {
  return FindColumn(block, {"_symmetry_space_group_name_h-m", "_space_group_name_h-m_alt", "_space_group_name_h-m_ref",
                            "_space_group_name_h-m_full"})[0];
}

}  // namespace marvik

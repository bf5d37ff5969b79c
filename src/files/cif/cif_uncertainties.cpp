#include "files/cif/cif_uncertainties.h"

#include <cmath>
#include <unordered_map>

#include "base/numbers.h"
#include "files/cif/cif_atoms.h"

namespace marvik {
namespace {

double SuOf(CifValue value) {
  double number = 0.0;
  double su = 0.0;
  return ParseMeasuredCifNumber(value, number, su) ? su : 0.0;
}

}  // namespace

bool ParseMeasuredCifNumber(CifValue value, double& number, double& uncertainty) {
  double units = 0.0;
  uncertainty = 0.0;
  if (!ParseCifNumber(value, number, &units)) return false;
  const std::string_view digits = value.substr(0, ParseNumber(value, number));
  const size_t point = digits.find('.');
  const size_t end = std::min(digits.find_first_of("eE"), digits.size());
  double exponent = 0.0;
  if (end < digits.size()) ParseCifNumber(digits.substr(end + 1), exponent);
  const double decimals = point == std::string_view::npos ? 0.0 : static_cast<double>(end - point - 1);
  // An uncertainty with a point of its own is not in units of the last digit.
  const std::string_view inside = value.substr(std::min(value.find('('), value.size()));
  uncertainty = inside.find('.') == std::string_view::npos ? units * std::pow(10.0, exponent - decimals) : units;
  return true;
}

CifUncertainties ReadCifUncertainties(std::string_view text) {
  CifUncertainties result;
  CifReader reader(text, {"_cell_length", "_cell_angle", "_cell.", "_atom_site"});
  CifBlock block;
  do
    if (!reader.Next(block)) return result;
  while (!HasAtoms(block));
  constexpr const char* kCell[] = {"_cell_length_a",    "_cell_length_b",   "_cell_length_c",
                                   "_cell_angle_alpha", "_cell_angle_beta", "_cell_angle_gamma"};
  for (size_t i = 0; i < 6; ++i) result.cellSu[i] = SuOf(FindColumn(block, {kCell[i]})[0]);
  const CifColumn labels = FindColumn(block, {"_atom_site_label"});
  const CifColumn uiso = FindColumn(block, {"_atom_site_u_iso_or_equiv"});
  const CifColumn occupancy = FindColumn(block, {"_atom_site_occupancy"});
  std::array<CifColumn, 3> fract;
  for (size_t i = 0; i < 3; ++i) fract[i] = FindColumn(block, {std::string("_atom_site_fract_") + "xyz"[i]});
  const CifColumn anisotropic = FindColumn(block, {"_atom_site_aniso_label"});
  std::unordered_map<std::string_view, size_t> anisotropicRow;
  for (size_t row = 0; row < anisotropic.Rows(); ++row) anisotropicRow.try_emplace(anisotropic[row], row);
  constexpr const char* kPlaces[] = {"11", "22", "33", "23", "13", "12"};
  std::array<CifColumn, 6> u;
  for (size_t i = 0; i < 6; ++i) u[i] = FindColumn(block, {std::string("_atom_site_aniso_u_") + kPlaces[i]});
  for (size_t row = 0; row < labels.Rows(); ++row) {
    CifUncertainAtom atom;
    atom.label = labels[row];
    bool isPlaced = true;
    for (size_t i = 0; i < 3; ++i)
      isPlaced = isPlaced && ParseMeasuredCifNumber(fract[i][row], atom.fract[static_cast<int>(i)], atom.fractSu[i]);
    if (!isPlaced) continue;
    const auto at = anisotropicRow.find(labels[row]);
    if (at == anisotropicRow.end()) {
      atom.uSu[0] = SuOf(uiso[row]);
    } else {
      for (size_t i = 0; i < 6; ++i) atom.uSu[i] = SuOf(u[i][at->second]);
    }
    atom.occupancySu = SuOf(occupancy[row]);
    result.atoms.push_back(std::move(atom));
  }
  return result;
}

}  // namespace marvik

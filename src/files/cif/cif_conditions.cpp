#include "files/cif/cif_conditions.h"

#include <algorithm>

#include "base/numbers.h"

namespace marvik {

namespace {

constexpr double kZeroCelsius = 273.15;  // K

// The first number of a column between two bounds.
bool FindNumber(const CifColumn& column, double low, double high, double& number) {
  for (size_t row = 0; row < std::max<size_t>(column.Rows(), 1); ++row)
    if (ParseCifNumber(column[row], number) && number > low && number < high) return true;
  return false;
}

// In small letters and without blanks, as far as texts of programs differ.
std::string Condensed(CifValue text) {
  std::string condensed;
  for (const char c : text)
    if (static_cast<unsigned char>(c) > ' ') condensed += static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
  return condensed;
}

// "w=1/[\s^2^(Fo^2^)+(0.0604P)^2^+1.2345P] where P=(Fo^2^+2Fc^2^)/3"; nothing for any other scheme.
std::string WeightLine(CifValue details) {
  const std::string text = Condensed(details);
  const size_t end = text.find("p)^2^");
  const size_t open = text.rfind('(', end);
  double a = 0.0;
  double b = 0.0;
  if (end == std::string::npos || open == std::string::npos || text.find("(fo^2^)") == std::string::npos ||
      !ParseWholeNumber(std::string_view(text).substr(open + 1, end - open - 1), a) || !(a >= 0.0 && a < 10.0)) {
    return {};
  }
  const std::string_view rest = std::string_view(text).substr(end + 5);
  if (rest.starts_with('+')) {
    if (!ParseWholeNumber(rest.substr(1, rest.find('p') - 1), b) || !(b >= 0.0 && b < 1e5)) return {};
  }
  return b > 0.0 ? Printf("WGHT %.6g %.6g\n", a, b) : Printf("WGHT %.6g\n", a);
}

}  // namespace

CifConditions ReadCifConditions(const CifBlock& block) {
  CifConditions conditions;
  double number = 0.0;
  if (FindNumber(FindColumn(block, {"_diffrn_radiation_wavelength"}), 0.01, 10.0, number))
    conditions.wavelength = Printf("%.6g", number);
  if (FindNumber(FindColumn(block, {"_diffrn_ambient_temperature"}), 0.0, 3000.0, number) ||
      FindNumber(FindColumn(block, {"_cell_measurement_temperature"}), 0.0, 3000.0, number)) {
    conditions.measurement = Printf("TEMP %.6g\n", number - kZeroCelsius);
  }
  std::string size = "SIZE";
  bool isComplete = true;
  for (const char* name : {"_exptl_crystal_size_max", "_exptl_crystal_size_mid", "_exptl_crystal_size_min"}) {
    isComplete = isComplete && FindNumber(FindColumn(block, {name}), 0.0, 100.0, number);
    AppendPrintf(size, " %.4g", number);
  }
  if (isComplete) conditions.measurement += size + "\n";
  conditions.refinement = WeightLine(FindColumn(block, {"_refine_ls_weighting_details"})[0]);
  if (conditions.refinement.empty()) conditions.refinement = "WGHT 0.10000\n";
  // Other corrections have coefficients of other kinds and sizes.
  const std::string method = Condensed(FindColumn(block, {"_refine_ls_extinction_method"})[0]) +
                             Condensed(FindColumn(block, {"_refine_ls_extinction_expression"})[0]);
  if (method.find("0.001xfc^2^\\l^3^/sin(2\\q)]^-1/4^") != std::string::npos &&
      FindNumber(FindColumn(block, {"_refine_ls_extinction_coef"}), 0.0, 1000.0, number)) {
    AppendPrintf(conditions.refinement, "EXTI %.6g\n", number);
  }
  return conditions;
}

}  // namespace marvik

#include "chem/geometry/report_numbers.h"

#include <cmath>

#include "base/numbers.h"

namespace marvik {

double Shown(double value, int decimals) {
  if (!std::isfinite(value)) return 0.0;
  return std::fabs(value) < 0.5 * std::pow(10.0, -decimals) ? 0.0 : value;
}

std::string WithUncertainty(double value, std::optional<double> su, int decimals) {
  const std::string plain = Printf("%.*f", decimals, Shown(value, decimals));
  if (!su || !(*su > 0.0) || !std::isfinite(*su)) return plain;
  constexpr double kMostUnits = 19.5;
  int places = decimals + 1;
  while (places > 0 && *su * std::pow(10.0, places) >= kMostUnits) --places;
  const double units = std::round(*su * std::pow(10.0, places));
  return units < 1.0 ? plain : Printf("%.*f(%.0f)", places, Shown(value, places), units);
}

}  // namespace marvik

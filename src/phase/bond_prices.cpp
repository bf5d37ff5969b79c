#include "phase/bond_prices.h"

#include <algorithm>

namespace marvik::phase {
namespace {

constexpr double kWorst = 6.0;        // of one term: no single length decides alone
constexpr double kUnusualBond = 2.0;  // price of a bond that the table does not have

// Usual lengths between atoms but hydrogen, Å, and what the mere bond costs (F. H. Allen et al., J. Chem. Soc. Perkin
// Trans. II (1987) S1).
struct BondRange {
  int a, b;
  double shortest, longest, price;
};
constexpr BondRange kBonds[] = {
    {5, 5, 1.65, 1.90, 0},   {5, 6, 1.53, 1.65, 0},   {5, 7, 1.37, 1.62, 0},   {5, 8, 1.33, 1.50, 0},
    {5, 9, 1.32, 1.43, 0},   {6, 6, 1.18, 1.58, 0},   {6, 7, 1.13, 1.53, 0},   {6, 8, 1.11, 1.45, 0},
    {6, 9, 1.28, 1.40, 0},   {7, 7, 1.09, 1.45, 0.5}, {7, 8, 1.14, 1.44, 0.5}, {7, 9, 1.36, 1.42, 4},
    {8, 8, 1.43, 1.49, 3},   {8, 9, 1.40, 1.44, 5},   {9, 9, 1.41, 1.42, 6},   {6, 14, 1.83, 1.92, 0},
    {8, 14, 1.58, 1.68, 0},  {7, 14, 1.70, 1.78, 0},  {6, 15, 1.76, 1.88, 0},  {7, 15, 1.55, 1.72, 0},
    {8, 15, 1.44, 1.65, 0},  {9, 15, 1.50, 1.63, 0},  {6, 16, 1.64, 1.85, 0},  {7, 16, 1.52, 1.72, 0},
    {8, 16, 1.40, 1.62, 0},  {9, 16, 1.53, 1.60, 0},  {6, 17, 1.70, 1.82, 0},  {7, 17, 1.70, 1.78, 2},
    {8, 17, 1.36, 1.48, 0},  {15, 15, 2.15, 2.28, 0}, {15, 16, 1.90, 2.12, 0}, {15, 17, 1.95, 2.15, 0},
    {16, 16, 2.00, 2.12, 0}, {6, 35, 1.84, 1.97, 0},  {6, 53, 2.04, 2.20, 0},  {6, 34, 1.85, 1.98, 0},
};

}  // namespace

bool IsMainGroup(int z) {
  return z == 3 || z == 4 || (z >= 11 && z <= 13) || z == 19 || z == 20 || (z >= 30 && z <= 32) || z == 37 || z == 38 ||
         (z >= 48 && z <= 51) || z == 55 || z == 56 || (z >= 80 && z <= 83);
}

double BondPrice(int a, int b, double d, double spread) {
  if (a > b) std::swap(a, b);
  for (const BondRange& r : kBonds) {
    if (r.a != a || r.b != b) continue;
    const double beyond = std::max({0.0, r.shortest - d, d - r.longest}) / spread;
    return r.price + std::min(kWorst, 0.5 * beyond * beyond);
  }
  return kUnusualBond;
}

double CoordinationPrice(int z, size_t bonds, size_t metals) {
  const auto over = [&](size_t most) { return bonds > most ? static_cast<double>(bonds - most) : 0.0; };
  const auto under = [&](size_t least) {
    return bonds + metals < least ? static_cast<double>(least - bonds - metals) : 0.0;
  };
  switch (z) {
    case 6:
      return 4.0 * over(4) + (bonds == 0 && metals == 0 ? 4.0 : 0.0);
    case 7:
      return 2.5 * over(3) + (bonds == 0 && metals == 0 ? 3.0 : 0.0);
    case 8:
      return 4.0 * over(2);
    case 9:
      return 4.0 * over(1) + (bonds == 0 && metals == 0 ? 3.0 : 0.0);
    case 14:
      return 1.5 * under(4);
    case 15:
      return 1.5 * under(3);
    case 17:
      return bonds == 2 || bonds == 3 ? 3.0 : 0.0;
    case 35:
    case 53:
      return 2.0 * over(1);
    default:
      return 0.0;
  }
}

double EndPrice(int z, double d, double spread) {
  const auto outside = [&](double low, double high) {
    const double beyond = std::max({0.0, low - d, d - high}) / spread;
    return std::min(2.5, 0.5 * beyond * beyond);
  };
  switch (z) {
    case 6:  // methyl; =CH2 and alkynes are rare
      return std::min(outside(1.46, 1.56), 1.5 + outside(1.17, 1.34));
    case 7:  // amine, nitrile
      return std::min(outside(1.31, 1.49), outside(1.12, 1.17));
    case 8:  // carbonyl of a metal; ketone to alcohol
      return std::min(outside(1.11, 1.17), outside(1.19, 1.44));
    case 9:
      return outside(1.29, 1.40);
    default:
      return 0.0;
  }
}

}  // namespace marvik::phase

#include "chem/hydrogen_geometry.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace marvik {
namespace {

// Bond lengths as X-ray diffraction sees them, which is what riding hydrogens are refined with: the mean lengths from
// neutron diffraction (F. H. Allen et al., International Tables for Crystallography C, table 9.5.1.1: X3C-H 1.099,
// X2C-H2 1.092, C(ar)-H 1.083, C=C-H2 1.077, C#C-H 1.055, N+-H 1.033, planar X2N-H 1.009, O-H 0.967 Å; methyl 1.077 of
// F. H. Allen and I. J. Bruno, Acta Cryst. B66 (2010) 380-386) less the shortening by the pull of the bond on the
// electron of hydrogen: 0.13 Å on carbon and 0.14 Å on nitrogen, which make 0.95 and 0.87 Å of aromatic and planar
// groups (M. R. Churchill, Inorg. Chem. 12 (1973) 1213-1214), and 0.155 Å on oxygen (F. H. Allen, Acta Cryst. B42
// (1986) 515-522). Rounded to 0.01 Å.
constexpr HfixGroup kGroups[] = {
    {kHfixTertiary, 1, 3, false, -1.2, 0.97, 0.89, 0.81}, {kHfixSecondary, 2, 2, false, -1.2, 0.96, 0.89, 0.81},
    {kHfixAromatic, 1, 2, false, -1.2, 0.95, 0.87, 0.81}, {kHfixBondedHydroxyl, 1, 1, true, -1.5, 0.95, 0.89, 0.81},
    {kHfixTerminal, 2, 1, true, -1.2, 0.95, 0.87, 0.81},  {kHfixMethyl, 3, 1, true, -1.5, 0.95, 0.89, 0.81},
    {kHfixHydroxyl, 1, 1, true, -1.5, 0.95, 0.89, 0.81},  {kHfixAlkyne, 1, 1, false, -1.2, 0.93, 0.87, 0.81},
};

// Below these lengths a mean of unit vectors (three; two, which are then less than 20° from one line), or what is left
// of a bond across an axis, is no direction any more.
constexpr double kNoDirection = 0.05;
constexpr double kNoBisector = 0.17;
constexpr double kNoAcross = 0.1;
// A hydrogen nearer than this to a direction stands in it.
const double kSameDirection = std::cos(45.0 * kRadiansPerDegree);

Cartesian AnyAcross(const Cartesian& axis) {
  return Normalised(Cross(axis, std::fabs(axis.x) < 0.8 ? Cartesian{1, 0, 0} : Cartesian{0, 1, 0}));
}

// The part of `d` across a unit axis, as a unit vector; nothing when there is hardly any.
std::optional<Cartesian> Across(const Cartesian& axis, const Cartesian& d) {
  const Cartesian part = d - Dot(d, axis) * axis;
  if (Length(part) < kNoAcross * std::max(Length(d), 0.1)) return std::nullopt;
  return Normalised(part);
}

// Unit vectors at an angle to the bond `back`, turned about it from `zero` on.
std::vector<Cartesian> Umbrella(const Cartesian& back, const Cartesian& zero, double cosine, int count) {
  const double sine = std::sqrt(1.0 - cosine * cosine);
  const Cartesian third = Cross(back, zero);
  std::vector<Cartesian> directions;
  for (int i = 0; i < count; ++i) {
    const double turn = 360.0 / count * i * kRadiansPerDegree;
    directions.push_back(cosine * back + sine * (std::cos(turn) * zero + std::sin(turn) * third));
  }
  return directions;
}

std::optional<std::vector<Cartesian>> Terminal(const HfixGroup& group, const CarrierSurroundings& around,
                                               const Cartesian& back) {
  const bool isHydroxyl = group.code == kHfixHydroxyl || group.code == kHfixBondedHydroxyl;
  std::optional<Cartesian> zero;
  if (!around.hydrogens.empty()) zero = Across(back, around.hydrogens[0] - around.carrier);
  if (!zero && isHydroxyl && around.acceptor) zero = Across(back, *around.acceptor - around.carrier);
  if (!zero) {
    if (around.beyond.empty()) return std::nullopt;
    // Anti: away from the side on which the atom beyond lies. Where all of them lie in line any side will do.
    for (const Cartesian& beyond : around.beyond) {
      const auto side = Across(back, beyond - around.neighbours[0]);
      if (!side) continue;
      zero = -*side;
      break;
    }
    if (!zero) zero = AnyAcross(back);
  }
  // cos 109.47° is -1/3, cos 120° is -1/2.
  if (group.code == kHfixTerminal) return Umbrella(back, *zero, -0.5, 2);
  return Umbrella(back, *zero, -1.0 / 3.0, isHydroxyl ? 1 : 3);
}

std::optional<std::vector<Cartesian>> AllDirections(const HfixGroup& group, const CarrierSurroundings& around) {
  std::vector<Cartesian> u;
  Cartesian sum;
  for (const Cartesian& neighbour : around.neighbours) {
    u.push_back(Normalised(neighbour - around.carrier));
    sum += u.back();
  }
  if (static_cast<int>(u.size()) != group.neighbours || !IsFinite(sum)) return std::nullopt;
  if (group.neighbours == 1 && group.code != kHfixAlkyne) return Terminal(group, around, u[0]);
  const Cartesian mean = sum / static_cast<double>(u.size());
  if (Length(mean) < (u.size() == 2 ? kNoBisector : kNoDirection)) return std::nullopt;
  const Cartesian away = Normalised(-mean);
  if (group.code != kHfixSecondary) return std::vector{away};
  const Cartesian normal = Cross(u[0], u[1]);
  if (Length(normal) < kNoDirection) return std::nullopt;
  // H-X-H as wide as the four H-X-Y: with c the cosine between the bisector and a bond, half the opening has this one.
  const double c = Dot(u[0], away);
  const double cosine = (std::sqrt(c * c + 8.0) + c) * 0.25;
  const Cartesian up = std::sqrt(1.0 - cosine * cosine) * Normalised(normal);
  return std::vector{cosine * away + up, cosine * away - up};
}

}  // namespace

const HfixGroup* FindHfixGroup(int code) {
  const auto found =
      std::find_if(std::begin(kGroups), std::end(kGroups), [code](const HfixGroup& g) { return g.code == code; });
  return found == std::end(kGroups) ? nullptr : found;
}

double HydrogenDistance(const HfixGroup& group, int carrierNumber) {
  return carrierNumber == 7 ? group.nitrogen : carrierNumber == 8 ? group.oxygen : group.carbon;
}

std::optional<std::vector<Cartesian>> HydrogenDirections(const HfixGroup& group, const CarrierSurroundings& around) {
  auto directions = AllDirections(group, around);
  if (!directions) return directions;
  for (const Cartesian& hydrogen : around.hydrogens) {
    // Each hydrogen takes the place that is nearest to it.
    const Cartesian d = Normalised(hydrogen - around.carrier);
    const auto nearest =
        std::max_element(directions->begin(), directions->end(),
                         [&](const Cartesian& a, const Cartesian& b) { return Dot(a, d) < Dot(b, d); });
    if (nearest != directions->end() && Dot(*nearest, d) > kSameDirection) directions->erase(nearest);
  }
  const size_t missing = static_cast<size_t>(std::max(0, group.hydrogens - static_cast<int>(around.hydrogens.size())));
  if (directions->size() > missing) directions->resize(missing);
  return directions;
}

}  // namespace marvik

#include "chem/hydrogens/hydrogen_geometry.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace marvik {
namespace {

constexpr HfixGroup kGroups[] = {{1, 1, 3, false, -1.2},  {2, 2, 2, false, -1.2}, {3, 3, 1, true, -1.5},
                                 {4, 1, 2, false, -1.2},  {8, 1, 1, true, -1.5},  {9, 2, 1, true, -1.2},
                                 {12, 6, 1, true, -1.5},  {13, 3, 1, true, -1.5}, {14, 1, 1, true, -1.5},
                                 {15, 1, 4, false, -1.2}, {16, 1, 1, false, -1.2}};

// Where the electron of a hydrogen is seen at room temperature, Å: shorter than the distance of the nuclei by 0.13 on
// carbon and 0.14 on nitrogen (M. R. Churchill, Inorg. Chem. 12 (1973) 1213-1214), and the values that published
// refinements with riding hydrogens have.
struct DistanceRow {
  int m;
  int carrier;  // atomic number, 0 for any other
  double distance;
};
constexpr DistanceRow kDistances[] = {{1, 7, 0.91},  {1, 0, 0.98},  {2, 7, 0.90},  {2, 0, 0.97},  {3, 7, 0.89},
                                      {3, 0, 0.96},  {13, 7, 0.89}, {13, 0, 0.96}, {12, 0, 0.96}, {4, 7, 0.86},
                                      {4, 0, 0.93},  {9, 7, 0.86},  {9, 0, 0.93},  {8, 0, 0.82},  {14, 0, 0.82},
                                      {15, 0, 1.10}, {16, 0, 0.93}};

// Below these lengths a mean of unit vectors (three; two, which are then less than 20° from one line), or what is left
// of a bond across an axis, is no direction any more.
constexpr double kNoDirection = 0.05;
constexpr double kNoBisector = 0.17;
constexpr double kNoAcross = 0.1;
// A hydrogen nearer than this to a direction stands in it.
const double kSameDirection = std::cos(45.0 * kRadiansPerDegree);

// The part of `d` across a unit axis, as a unit vector; nothing when there is hardly any.
std::optional<Cartesian> Across(const Cartesian& axis, const Cartesian& d) {
  const Cartesian part = d - Dot(d, axis) * axis;
  if (Length(part) < kNoAcross * std::max(Length(d), 0.1)) return std::nullopt;
  return Normalised(part);
}

std::optional<std::vector<Cartesian>> Terminal(const HfixGroup& group, const CarrierSurroundings& around,
                                               const Cartesian& back) {
  const bool isHydroxyl = group.hydrogens == 1;
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
  return TerminalDirections(group, back, *zero, 0.0);
}

}  // namespace

const HfixGroup* FindHfixGroup(int m) {
  const auto found = std::find_if(std::begin(kGroups), std::end(kGroups), [m](const HfixGroup& g) { return g.m == m; });
  return found == std::end(kGroups) ? nullptr : found;
}

double HydrogenDistance(int m, int carrierNumber, double temperature) {
  // Less is lost to libration in the cold.
  const double longer = temperature < -70.0 ? 0.02 : temperature < -20.0 ? 0.01 : 0.0;
  for (const DistanceRow& row : kDistances)
    if (row.m == m && (row.carrier == carrierNumber || row.carrier == 0)) return row.distance + longer;
  return 0.96 + longer;
}

bool IsMetal(int atomicNumber) {
  constexpr int kOthers[] = {1, 2, 5, 6, 7, 8, 9, 10, 14, 15, 16, 17, 18, 33, 34, 35, 36, 52, 53, 54, 85, 86};
  return atomicNumber > 0 && atomicNumber <= 103 &&
         std::find(std::begin(kOthers), std::end(kOthers), atomicNumber) == std::end(kOthers);
}

bool BindsFace(const Cartesian& carrier, std::span<const Cartesian> others, const Cartesian& metal) {
  if (others.size() < 2) return false;
  Cartesian sum;
  for (const Cartesian& other : others) sum += Normalised(other - carrier);
  return Length(sum) < kNoBisector || Dot(Normalised(-sum), Normalised(metal - carrier)) < 0.5;
}

Cartesian AnyAcross(const Cartesian& axis) {
  return Normalised(Cross(axis, std::fabs(axis.x) < 0.8 ? Cartesian{1, 0, 0} : Cartesian{0, 1, 0}));
}

std::optional<std::vector<Cartesian>> FixedDirections(int m, const Cartesian& carrier,
                                                      std::span<const Cartesian> neighbours) {
  std::vector<Cartesian> u;
  Cartesian sum;
  for (const Cartesian& neighbour : neighbours) {
    u.push_back(Normalised(neighbour - carrier));
    sum += u.back();
  }
  if (u.empty() || !IsFinite(sum)) return std::nullopt;
  if (m == 1 && u.size() == 3) {
    const Cartesian normal = Cross(u[1] - u[0], u[2] - u[0]);
    if (Length(normal) < kNoDirection) return std::nullopt;
    const Cartesian unit = Normalised(normal);
    const double height = Dot(unit, u[0]);
    if (std::fabs(height) < kNoDirection) return std::nullopt;
    return std::vector{height > 0.0 ? -unit : unit};
  }
  const Cartesian mean = sum / static_cast<double>(u.size());
  if (Length(mean) < (u.size() == 2 ? kNoBisector : kNoDirection)) return std::nullopt;
  const Cartesian away = Normalised(-mean);
  if (m != 2) return std::vector{away};
  const Cartesian normal = Cross(u[0], u[1]);
  if (Length(normal) < kNoDirection) return std::nullopt;
  // H-X-H in degrees is 110.9 + 8·cos(Y-X-Y), which 70 of 70 published groups follow within 0.002°.
  const double cosine = std::cos(0.5 * (110.9 + 8.0 * Dot(u[0], u[1])) * kRadiansPerDegree);
  const Cartesian up = std::sqrt(1.0 - cosine * cosine) * Normalised(normal);
  return std::vector{cosine * away + up, cosine * away - up};
}

double TurnOf(int m, size_t hydrogen) {
  // Two in a plane; three; or a second set of three between the first.
  const double i = static_cast<double>(hydrogen % 3);
  return (m == 9 ? 180.0 * i : 120.0 * i + (hydrogen < 3 ? 0.0 : 60.0)) * kRadiansPerDegree;
}

std::vector<Cartesian> TerminalDirections(const HfixGroup& group, const Cartesian& back, const Cartesian& zero,
                                          double torsion, double sense) {
  // cos 120° is -1/2, cos 109.47° is -1/3.
  const double cosine = group.m == 9 ? -0.5 : -1.0 / 3.0;
  const double sine = std::sqrt(1.0 - cosine * cosine);
  const Cartesian third = Cross(zero, back);
  std::vector<Cartesian> directions;
  for (size_t i = 0; i < static_cast<size_t>(group.hydrogens); ++i) {
    const double turn = torsion + sense * TurnOf(group.m, i);
    directions.push_back(cosine * back + sine * (std::cos(turn) * zero + std::sin(turn) * third));
  }
  return directions;
}

std::optional<std::vector<Cartesian>> HydrogenDirections(const HfixGroup& group, const CarrierSurroundings& around) {
  if (around.neighbours.size() != static_cast<size_t>(group.neighbours)) return std::nullopt;
  const Cartesian back = Normalised(around.neighbours[0] - around.carrier);
  if (!IsFinite(back)) return std::nullopt;
  auto directions =
      group.isTerminal ? Terminal(group, around, back) : FixedDirections(group.m, around.carrier, around.neighbours);
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

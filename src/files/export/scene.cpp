#include "files/export/scene.h"

#include <algorithm>
#include <cmath>

#include "model/placement.h"

namespace marvik {

namespace {

// The window draws a ball of radius r with r / radius of the drawing area's side and a stick of width w with half of
// w / radius, while the area is 2.2 times the model's radius wide.
constexpr double kBallScale = 2.2;
constexpr double kStickScale = 0.5 * 0.5 * 2.2;
constexpr double kBoxPart = 0.8;  // of a ball's radius

std::array<double, 3> Equal(double radius) {
  return {radius, radius, radius};
}

SceneAtom SceneAtomOf(const AtomRecord& atom, const SceneOptions& options, const DisplacementFrame& frame) {
  SceneAtom scene;
  scene.atom = &atom;
  scene.place = SceneFrame(atom.position);
  const double radius = kBallScale * atom.element->drawRadius;
  scene.halfAxes = Equal(radius);
  const bool isHydrogen = atom.IsHydrogen();
  scene.isLabelled = options.labels && (options.hydrogenLabels || !isHydrogen) && !(atom.flags2 & kLabelOff);
  if (!options.ellipsoids || !atom.IsAnisotropic()) return scene;
  const DisplacementEllipsoid ellipsoid = EllipsoidAxes(TensorOf(frame, atom));
  if (!ellipsoid.positiveDefinite) {
    scene.shape = SceneShape::Box;
    scene.halfAxes = Equal(kBoxPart * radius);
    return scene;
  }
  scene.shape = SceneShape::Ellipsoid;
  const double scale = ProbabilityScale(options.probability);
  for (size_t k = 0; k < 3; ++k) {
    scene.halfAxes[k] = scale * ellipsoid.lengths[k];
    // Negating Z makes a left-handed set of a right-handed one, which turning the last axis round mends.
    const ScenePoint axis = SceneFrame(ellipsoid.axes[k]) * (k == 2 ? -1.0 : 1.0);
    for (int i = 0; i < 3; ++i) scene.axes[i][k] = axis[i];
  }
  return scene;
}

// Each half in the colour of its atom.
SceneBond SceneBondOf(const AtomRecord& atom, const BondRecord& bond) {
  SceneBond scene{&atom, bond.partner, bond.Order(), kStickScale * static_cast<double>(bond.width), {}};
  const ScenePoint from = SceneFrame(atom.position);
  const ScenePoint across = SceneFrame(bond.partner->position) - from;
  const auto add = [&](double begin, double end) {
    const AtomRecord& owner = begin < 0.5 ? atom : *bond.partner;
    scene.sticks.push_back({owner.element->atomicNumber, from + across * begin, from + across * end});
  };
  if (bond.Style() == kSolid) {
    add(0.0, 0.5);
    add(0.5, 1.0);
    return scene;
  }
  // Pieces and gaps in turn, so that no piece lies across the middle.
  const int pieces = bond.Style() == kDashed ? 6 : 12;
  const double filled = bond.Style() == kDashed ? 0.6 : 0.4;
  for (int i = 0; i < pieces; ++i) add((i + 0.5 - filled / 2.0) / pieces, (i + 0.5 + filled / 2.0) / pieces);
  return scene;
}

}  // namespace

ScenePoint SceneFrame(const Cartesian& place) {
  return {place.x, place.y, -place.z};
}

std::optional<Scene> BuildScene(const Document& document, const SceneOptions& options, UserMessages& messages) {
  const auto atoms = AtomsToExport(document, messages);
  if (!atoms) return {};
  Scene scene;
  const DisplacementFrame frame(document.cell, document.matrix);
  for (const AtomRecord* atom : atoms->Atoms()) {
    if (!IsFinite(atom->position)) continue;
    scene.atoms.push_back(SceneAtomOf(*atom, options, frame));
    atoms->ForEachBond(atom, [&](int, const BondRecord& bond) {
      if (IsFinite(bond.partner->position) && Length(bond.partner->position - atom->position) > 0.0 &&
          bond.width > 0.0f)
        scene.bonds.push_back(SceneBondOf(*atom, bond));
    });
  }
  return scene;
}

Mat3 TurnFromY(const ScenePoint& direction) {
  const ScenePoint y = Normalised(direction);
  const ScenePoint side = std::fabs(y.x) < 0.9 ? ScenePoint{1.0, 0.0, 0.0} : ScenePoint{0.0, 0.0, 1.0};
  const ScenePoint z = Normalised(Cross(side, y));
  const ScenePoint x = Cross(y, z);
  return {{{{x.x, y.x, z.x}, {x.y, y.y, z.y}, {x.z, y.z, z.z}}}};
}

std::array<double, 4> QuaternionOf(const Mat3& r) {
  // The largest of the four is found from the diagonal, the others by dividing by it.
  const double squares[] = {1.0 + r[0][0] - r[1][1] - r[2][2], 1.0 - r[0][0] + r[1][1] - r[2][2],
                            1.0 - r[0][0] - r[1][1] + r[2][2], 1.0 + r[0][0] + r[1][1] + r[2][2]};
  const auto largest = static_cast<size_t>(std::ranges::max_element(squares) - std::begin(squares));
  const double twice = std::sqrt(std::max(squares[largest], 1e-12));
  const double s = 0.5 / twice;
  std::array<double, 4> q{};
  q[largest] = 0.5 * twice;
  if (largest == 3) {
    q = {(r[2][1] - r[1][2]) * s, (r[0][2] - r[2][0]) * s, (r[1][0] - r[0][1]) * s, q[3]};
  } else {
    const int i = static_cast<int>(largest);
    const int j = (i + 1) % 3;
    const int k = (i + 2) % 3;
    const auto at = [&r](int row, int column) { return r[row][static_cast<size_t>(column)]; };
    q[static_cast<size_t>(j)] = (at(j, i) + at(i, j)) * s;
    q[static_cast<size_t>(k)] = (at(k, i) + at(i, k)) * s;
    q[3] = (at(k, j) - at(j, k)) * s;
  }
  const double length = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
  for (double& part : q) part /= q[3] < 0.0 ? -length : length;
  return q;
}

AxisAngle AxisAngleOf(const Mat3& rotation) {
  const auto q = QuaternionOf(rotation);
  const ScenePoint axis{q[0], q[1], q[2]};
  const double sine = Length(axis);
  if (!(sine > 1e-9)) return {};
  return {axis / sine, 2.0 * std::atan2(sine, q[3])};
}

}  // namespace marvik

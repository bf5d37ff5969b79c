#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "base/mat3.h"
#include "files/export/export_atoms.h"
#include "model/document.h"

namespace marvik {

// A place in Å in the right-handed frame that other programs get: the program's own with Z negated.
using ScenePoint = Triple<struct SceneSpace>;
ScenePoint SceneFrame(const Cartesian& place);

// The window's view: a parallel projection of a square.
struct SceneView {
  // Rows are the directions to the right, up, and toward the viewer; a proper rotation.
  Mat3 rotation = Mat3::Identity();
  ScenePoint centre;        // what the middle of the picture shows
  double halfExtent = 1.0;  // Å from there to the edge
};

struct SceneOptions {
  bool ellipsoids = false;
  double probability = 0.5;  // that the ellipsoids enclose
  bool labels = true;
  bool hydrogenLabels = true;
  SceneView view;
};

enum class SceneShape { Ball, Ellipsoid, Box };  // a box stands for a tensor that is no ellipsoid

struct SceneAtom {
  const AtomRecord* atom = nullptr;
  SceneShape shape = SceneShape::Ball;
  ScenePoint place;
  std::array<double, 3> halfAxes{};  // Å
  Mat3 axes = Mat3::Identity();      // columns are the directions of the half axes; a proper rotation
  bool isLabelled = false;
};

// A straight piece of one colour.
struct SceneStick {
  int row = 0;  // of the element table, whose colour it has
  ScenePoint from;
  ScenePoint to;
};

struct SceneBond {
  const AtomRecord* atom = nullptr;
  const AtomRecord* partner = nullptr;
  int order = 0;        // a BondOrder
  double radius = 0.0;  // Å
  std::vector<SceneStick> sticks;
};

struct Scene {
  std::vector<SceneAtom> atoms;
  std::vector<SceneBond> bonds;
};

// What the window shows, in its sizes: balls, ellipsoids of the probability, bonds in two halves with the colours of
// their atoms, dashed and dotted ones in pieces. Nothing, after a message, when a visible atom is a peak. Atoms without
// a finite place are left out.
std::optional<Scene> BuildScene(const Document& document, const SceneOptions& options, UserMessages& messages);

// The turn that takes the y axis to `direction`, as columns.
Mat3 TurnFromY(const ScenePoint& direction);
// Unit axis and angle (radians, 0 to π) of a proper rotation whose columns are the images of the axes.
struct AxisAngle {
  ScenePoint axis{0.0, 1.0, 0.0};
  double angle = 0.0;
};
AxisAngle AxisAngleOf(const Mat3& rotation);
// The same as a unit quaternion x, y, z, w.
std::array<double, 4> QuaternionOf(const Mat3& rotation);

}  // namespace marvik

#include "draw/view/view_state.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace marvik {

namespace {

constexpr double kFitMargin = 1.1;
constexpr double kSmallestRadius = 0.5;
// Keeps the bounds within single precision however often the view is zoomed out.
constexpr double kLargestRadius = 1e30;
constexpr double kZoomIn = 0.8333333;
constexpr double kZoomOut = 1.1111111;
constexpr double kPageUnitsPerView = 10160.0;  // hundredths of a millimetre: 4 inches

Matrix4 operator*(const Matrix4& a, const Matrix4& b) {
  Matrix4 product{};
  for (size_t i = 0; i < 4; ++i) {
    for (size_t j = 0; j < 4; ++j) {
      for (size_t k = 0; k < 4; ++k) product[i][j] += a[i][k] * b[k][j];
    }
  }
  return product;
}

ClipPoint Apply(const Matrix4& m, const Cartesian& v) {
  const auto row = [&](size_t i) { return m[i][0] * v.x + m[i][1] * v.y + m[i][2] * v.z + m[i][3]; };
  return {{row(0), row(1), row(2)}, row(3)};
}

// Rodrigues' formula: cos θ·I + (1 - cos θ)·a·aᵀ + sin θ·[a]×, for a unit axis.
Matrix4 RotationMatrix(double degrees, const std::array<double, 3>& a) {
  const double c = std::cos(degrees * kRadiansPerDegree);
  const double s = std::sin(degrees * kRadiansPerDegree);
  Matrix4 m = IdentityMatrix4();
  for (size_t i = 0; i < 3; ++i) {
    for (size_t j = 0; j < 3; ++j) m[i][j] = (i == j ? c : 0.0) + (1.0 - c) * a[i] * a[j];
  }
  for (size_t i = 0; i < 3; ++i) {
    const size_t j = (i + 1) % 3;
    const size_t k = (i + 2) % 3;
    m[k][j] += s * a[i];
    m[j][k] -= s * a[i];
  }
  return m;
}

// Half away from zero; far values, and those that are not numbers, end far outside.
int64_t RoundedPixels(double v) {
  constexpr double kFarthest = 1e8;
  v = v > -kFarthest ? v : -kFarthest;
  v = v < kFarthest ? v : kFarthest;
  const int32_t whole = static_cast<int32_t>(v);
  const double rest = v - whole;
  return whole + (rest >= 0.5 ? 1 : 0) - (rest <= -0.5 ? 1 : 0);
}

int16_t To16Bits(int64_t v) {
  return static_cast<int16_t>(v < -32768 ? -32768 : v > 32767 ? 32767 : v);
}

// A side of the drawing area as a whole number of pixels.
int32_t WholePixels(double side) {
  return side > 0.0 ? static_cast<int32_t>(std::min(side, 32767.0)) : 0;
}

int32_t MovedPan(int32_t pan, int delta) {
  constexpr int64_t kFarthest = 1'000'000;
  return static_cast<int32_t>(std::clamp<int64_t>(int64_t{pan} + delta, -kFarthest, kFarthest));
}

ViewSphere SphereAround(const std::vector<const AtomRecord*>& atoms) {
  ViewSphere sphere;
  if (atoms.empty()) return sphere;
  for (const AtomRecord* atom : atoms) sphere.centre += atom->position;
  sphere.centre = sphere.centre / static_cast<double>(atoms.size());
  for (const AtomRecord* atom : atoms) {
    sphere.radius = std::max(sphere.radius, Length(atom->position - sphere.centre));
  }
  return sphere;
}

}  // namespace

Matrix4 IdentityMatrix4() {
  return {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
}

void ViewState::SetOrtho(float left, float right, float bottom, float top, float near, float far) {
  if (left == right || bottom == top || near == far) return;
  for (const float bound : {left, right, bottom, top, near, far}) {
    if (!std::isfinite(bound)) return;
  }
  const auto setRow = [this](size_t row, double a, double b) {
    projection[row][row] = -2.0 / (a - b);
    projection[row][3] = (a + b) / (a - b);
  };
  projection = IdentityMatrix4();
  setRow(0, left, right);
  setRow(1, bottom, top);
  setRow(2, near, far);
  viewportWidth = viewportHeight = fullWidth = fullHeight = WholePixels(drawingSize);
  viewportOffsetX = viewportOffsetY = 0;
  RecomputeCombined();
}

void ViewState::SetViewport(float height, float width) {
  viewportWidth = fullWidth = WholePixels(width);
  viewportHeight = fullHeight = WholePixels(height);
  viewportOffsetX = viewportOffsetY = 0;
}

void ViewState::RecomputeCombined() {
  combined = modelview * projection;
}

void ViewState::MultiplyMatrix(const Matrix4& matrix, bool postFlag) {
  Matrix4& target = matrixMode == MatrixMode::Projection  ? projection
                    : matrixMode == MatrixMode::Modelview ? modelview
                                                          : combined;
  target = postFlag ? target * matrix : matrix * target;
  if (matrixMode == MatrixMode::Combined) return;
  RecomputeCombined();
  viewChanged = false;
}

bool ViewState::RotateView(double angle, std::array<double, 3> axis, bool postFlag) {
  const double length = std::hypot(axis[0], axis[1], axis[2]);
  if (!(length > 0.0) || !std::isfinite(length)) return false;
  if (!std::isfinite(angle)) return true;
  for (double& component : axis) component /= length;
  // The hair keeps a sum of tenths that came out one rounding error short, such as 0.7 - 0.4, at its tenth.
  const double tenths = std::trunc(angle * 10.0 + std::copysign(1e-9, angle));
  const Matrix4 rotation = RotationMatrix(tenths * 0.1, axis);
  if (!postFlag) {
    MultiplyMatrix(rotation, false);
    return true;
  }
  modelview = rotation * modelview;
  RecomputeCombined();
  return true;
}

void ViewState::Clip(const std::optional<std::array<double, 2>>& depths) {
  constexpr double kAll = std::numeric_limits<double>::infinity();
  clipFront = depths ? (*depths)[0] : kAll;
  clipBack = depths ? (*depths)[1] : -kAll;
}

ClipPoint ViewState::TransformPoint(const Cartesian& relativeToCentre) const {
  return Apply(combined, relativeToCentre);
}

PixelPoint ViewState::ToPixel(const ClipPoint& c) const {
  const double w = c.w > 1e-6 ? c.w : 1e-6;
  const double x = w == 1.0 ? c.p.x : c.p.x / w;
  const double y = w == 1.0 ? c.p.y : c.p.y / w;
  const int64_t right = RoundedPixels(x * (viewportWidth * 0.5 - 1.0)) + viewportOffsetX;
  const int64_t up = RoundedPixels(y * (viewportHeight * 0.5 - 1.0)) + viewportOffsetY;
  // Counted in halves, since the middle of an odd viewport lies at one; the halving cuts toward zero.
  return {To16Bits((2 * (right + deviceOriginX) + viewportWidth) / 2),
          To16Bits((2 * (fullHeight - 1 - up + deviceOriginY) - viewportHeight) / 2)};
}

std::optional<ViewState::PageSegment> ViewState::ProjectSegmentForPrint(const ClipPoint& p, const ClipPoint& q,
                                                                        double far, double near) const {
  if (p.p.z > far || p.p.z < near || q.p.z > far || q.p.z < near) return std::nullopt;
  const auto pageX = [this](const ClipPoint& c) { return c.p.x * kPageUnitsPerView + deviceOriginX * 36.0 + 9741.0; };
  const auto pageY = [this](const ClipPoint& c) {
    return c.p.y * kPageUnitsPerView - (deviceOriginY * 9.0 + 3429.0) * 4.0;
  };
  return PageSegment{pageX(p), pageY(p), pageX(q), pageY(q)};
}

void ViewState::FitView(double radius, const std::optional<Cartesian>& centre) {
  if (centre && IsFinite(*centre)) viewCentre = *centre;
  radius = radius > kSmallestRadius ? std::min(radius, kLargestRadius) : kSmallestRadius;
  halfExtent = radius * kFitMargin;
  const auto bound = static_cast<float>(halfExtent);
  SetOrtho(bound, -bound, bound, -bound, bound, -bound);
  SetViewport(static_cast<float>(drawingSize), static_cast<float>(drawingSize));
  viewRadius = radius;
  depthFar = drawingSize > 0.0 ? depthCueLevel * radius / drawingSize : 0.0;
  depthNear = -depthFar;
}

ViewSphere SphereOfModel(const Document& document) {
  std::vector<const AtomRecord*> atoms;
  for (const AtomRecord* atom : Atoms(document.atoms, kVisibleOnly)) {
    if (IsFinite(atom->position)) atoms.push_back(atom);
  }
  return SphereAround(atoms);
}

void ResetView(ViewState& view, const Document& document) {
  const ViewSphere sphere = SphereOfModel(document);
  view.panX = view.panY = 0;
  view.zoomedOnSelection = false;
  view.FitView(sphere.radius, sphere.centre);
}

bool ToggleZoomOnSelection(ViewState& view, const Document& document) {
  if (view.zoomedOnSelection) {
    ResetView(view, document);
    view.panX = view.savedPanX;
    view.panY = view.savedPanY;
    return true;
  }
  if (document.atoms.selection.Size() < 2) return false;
  std::vector<const AtomRecord*> atoms;
  for (const AtomRecord* atom : document.atoms.selection) {
    if (document.atoms.Passes(atom, kVisibleOnly) && IsFinite(atom->position)) atoms.push_back(atom);
  }
  if (atoms.empty()) return false;
  view.savedPanX = view.panX;
  view.savedPanY = view.panY;
  const ViewSphere sphere = SphereAround(atoms);
  view.zoomedOnSelection = true;
  view.FitView(sphere.radius, sphere.centre);
  return true;
}

void ZoomByDrag(ViewState& view, int dy) {
  if (dy == 0) return;
  view.FitView(std::max(view.halfExtent, kSmallestRadius) * (dy > 0 ? kZoomIn : kZoomOut), std::nullopt);
}

void DragView(ViewState& view, int dx, int dy, DragModifiers modifiers) {
  if (modifiers.control && modifiers.alt) {
    view.RotateView(dx, {0, 0, 1}, true);
  } else if (modifiers.alt) {
    ZoomByDrag(view, dy);
  } else if (modifiers.control || view.dragMode == 1) {
    view.panX = MovedPan(view.panX, dx);
    view.panY = MovedPan(view.panY, dy);
  } else {
    view.RotateView(dx, {0, 1, 0}, true);
    view.RotateView(dy, {1, 0, 0}, true);
  }
}

void PressViewKey(ViewState& view, ViewKey key, bool shift) {
  const int step = shift ? 90 : 1;
  const auto drag = [&view](int dx, int dy) { DragView(view, dx, dy, {}); };
  const auto turn = [&view, step](int direction) {
    if (view.dragMode == 0) view.RotateView(direction * step, {0, 0, 1}, true);
  };
  switch (key) {
    case ViewKey::PageUp:
      return drag(0, -10);
    case ViewKey::PageDown:
      return drag(0, 10);
    case ViewKey::Home:
      return drag(-10, 0);
    case ViewKey::End:
      return drag(10, 0);
    case ViewKey::Left:
      return drag(-step, 0);
    case ViewKey::Right:
      return drag(step, 0);
    case ViewKey::Up:
      return drag(0, -step);
    case ViewKey::Down:
      return drag(0, step);
    case ViewKey::Insert:
      return turn(-1);
    case ViewKey::Delete:
      return turn(1);
  }
}

}  // namespace marvik

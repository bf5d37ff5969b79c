#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>

#include "base/vec3.h"
#include "model/document.h"

namespace marvik {

using Matrix4 = std::array<std::array<double, 4>, 4>;

Matrix4 IdentityMatrix4();

// A transformed point with its homogeneous w.
struct ClipPoint {
  ViewPoint p;
  double w = 1.0;
};

struct PixelPoint {
  int16_t x = 0;
  int16_t y = 0;
};

enum class MatrixMode : int32_t { Combined = 0, Projection = 1, Modelview = 2 };

// The one view: how Cartesian coordinates minus viewCentre become pixels of a square drawing area. Parallel projection
// only. Everything but the fields marked otherwise is in the units of the name: pixels or Å.
class ViewState {
 public:
  Matrix4 projection = IdentityMatrix4();
  Matrix4 modelview = IdentityMatrix4();
  Matrix4 combined = IdentityMatrix4();
  MatrixMode matrixMode = MatrixMode::Combined;
  int32_t viewportWidth = 600;
  int32_t viewportHeight = 600;
  int32_t fullWidth = 600;
  int32_t fullHeight = 600;
  int32_t viewportOffsetX = 0;
  int32_t viewportOffsetY = 0;
  int32_t deviceOriginX = 0;
  int32_t deviceOriginY = 0;
  double drawingSize = 600.0;  // pixels, side of the square
  int32_t depthCueLevel = 50;  // 0..100
  Cartesian viewCentre;
  double viewRadius = 1.0;  // Å, never below 0.5
  double halfExtent = 1.1;  // Å
  double depthNear = 0.0;   // normalised
  double depthFar = 0.0;
  // Depths in Å from viewCentre to the viewer between which the model is drawn.
  double clipBack = -std::numeric_limits<double>::infinity();
  double clipFront = std::numeric_limits<double>::infinity();
  int32_t panX = 0;  // pixels
  int32_t panY = 0;
  uint8_t dragMode = 0;  // 0 rotate, 1 pan
  bool zoomedOnSelection = false;
  int32_t savedPanX = 0;
  int32_t savedPanY = 0;
  bool viewChanged = false;

  void SetOrtho(float left, float right, float bottom, float top, float near, float far);
  void SetViewport(float height, float width);
  void MultiplyMatrix(const Matrix4& matrix, bool postFlag);
  // Degrees, cut to tenths toward zero. With postFlag the picture turns about the screen's axes. False for an axis of
  // zero length, which nothing in the program asks for: the caller ends the program.
  bool RotateView(double angle, std::array<double, 3> axis, bool postFlag);
  ClipPoint TransformPoint(const Cartesian& relativeToCentre) const;
  // Front and back, nothing for all of the model.
  void Clip(const std::optional<std::array<double, 2>>& depths);
  bool IsClipped() const { return clipBack > -std::numeric_limits<double>::infinity(); }
  // Whether what stands at a transformed point is cut away.
  bool CutsAway(const ViewPoint& p) const {
    return IsClipped() && !(p.z * halfExtent >= clipBack && p.z * halfExtent <= clipFront);
  }
  // Pixel of a transformed point, without the depth test; clamped to 16 bits.
  PixelPoint ToPixel(const ClipPoint& p) const;
  // Both ends in hundredths of a millimetre on a page, one normalised unit being 10160; nothing when either lies
  // outside near..far.
  struct PageSegment {
    double x1, y1, x2, y2;
  };
  std::optional<PageSegment> ProjectSegmentForPrint(const ClipPoint& p, const ClipPoint& q, double far,
                                                    double near) const;
  void FitView(double radius, const std::optional<Cartesian>& centre);

 private:
  void RecomputeCombined();
};

// View changes that the window, the command line and the demo share.

// Mean position of all displayed atoms and the radius (Å, at least 0.5) of the sphere about it that holds them, ball
// radii not counted. Atoms without a finite position do not count; without any the sphere of radius 0.5 at the origin.
struct ViewSphere {
  Cartesian centre;
  double radius = 0.5;
};
ViewSphere SphereOfModel(const Document& document);
// The fit of the whole model, as after loading: nothing panned, not zoomed on the selection; the rotation stays.
void ResetView(ViewState& view, const Document& document);
// The toggle behind "Zoom". False, with nothing changed, when fewer than two atoms are selected or none of them is
// displayed.
bool ToggleZoomOnSelection(ViewState& view, const Document& document);
// One drag step while zooming: dy > 0 in, dy < 0 out.
void ZoomByDrag(ViewState& view, int dy);
// What a drag from one pointer position to the next does; pixels.
struct DragModifiers {
  bool control = false;
  bool alt = false;
};
void DragView(ViewState& view, int dx, int dy, DragModifiers modifiers);

// Keys act as drags from the last pointer position, so in pan mode they pan; Insert and Delete do nothing there.
enum class ViewKey { PageUp, PageDown, Home, End, Left, Right, Up, Down, Insert, Delete };
void PressViewKey(ViewState& view, ViewKey key, bool shift);

}  // namespace marvik

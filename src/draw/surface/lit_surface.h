#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "base/vec3.h"
#include "draw/canvas/image.h"

namespace marvik {

// Bodies that are lit pixel by pixel. Everything is in pixels of the picture: x to the right, y down, z to the viewer.
struct LitBall {
  ViewPoint centre;
  double radius = 0.0;
  Rgb colour;
  bool pale = false;  // lets the background through once it is lit
  friend bool operator==(const LitBall&, const LitBall&) = default;
};
// Three semi-axes at right angles. Cut: without the octant between those halves of the axes that come to the viewer.
struct LitEllipsoid {
  ViewPoint centre;
  std::array<ViewPoint, 3> axes;
  Rgb colour;
  bool cut = false;
  bool pale = false;
  friend bool operator==(const LitEllipsoid&, const LitEllipsoid&) = default;
};
// A cylinder or, with another radius at b, a cone without ends, each half in a colour of its own.
struct LitStick {
  ViewPoint a;
  ViewPoint b;
  double radius = 0.0;
  Rgb colourA;
  Rgb colourB;
  bool paleA = false;
  bool paleB = false;
  double widening = 0.0;  // of the radius, from a to b
  friend bool operator==(const LitStick&, const LitStick&) = default;
};
// A thin line without shade, hidden by bodies.
struct LitLine {
  ViewPoint a;
  ViewPoint b;
  Rgb colour;
  friend bool operator==(const LitLine&, const LitLine&) = default;
};
// A flat convex piece that lets through what lies behind it.
struct LitFace {
  std::vector<ViewPoint> corners;  // in order round it
  Rgb colour;
  double opacity = 0.5;
  friend bool operator==(const LitFace&, const LitFace&) = default;
};
struct LitScene {
  std::vector<LitBall> balls;
  std::vector<LitEllipsoid> ellipsoids;
  std::vector<LitStick> sticks;
  std::vector<LitLine> lines;
  std::vector<LitFace> faces;
  double lineWidth = 1.0;
  Rgb background;
  friend bool operator==(const LitScene&, const LitScene&) = default;
};

// How much of the background lies over what is farthest, in OpenGL pictures too.
inline constexpr double kFog = 0.28;

struct LitOptions {
  bool moving = false;  // a grid of half the resolution, for a view that turns; at rest twice the resolution, smoothed
  bool shadow = true;   // where much lies around, at rest
  int threads = 0;      // 0: as many as the machine has
};

// Rays through the pixels of a grid find what is nearest, its depth and its normal; light, soft outlines and shadow
// come from these. Intersections are true. What is not finite, or vast, is left out.
Image DrawLitSurface(const LitScene& scene, int width, int height, const LitOptions& options);

}  // namespace marvik

#pragma once

#include <cstdint>
#include <vector>

#include "draw/surface/body_rows.h"
#include "draw/surface/lit_grid.h"
#include "draw/surface/lit_surface.h"

namespace marvik {

// The bodies in the units of the grid, each with the rows that it reaches into.
class LitRays {
 public:
  LitRays(const LitScene& scene, double scale, LitGrid& grid);
  size_t Bands() const { return bands_.size(); }

  void DrawBand(size_t band);

 private:
  enum Kind : uint32_t { kBall, kEllipsoid, kStick, kLine, kFace, kKinds };
  struct Ellipsoid {
    EllipsoidRays rays;
    float halfX, halfY;
  };
  struct Face {
    std::vector<ViewPoint> corners;
    double slopeX, slopeY;  // of its depth
    uint32_t veil;
  };

  // A pixel's middle is half a pixel from its corner, so that grids of all resolutions agree.
  double Placed(double v) const { return (v + 0.5) * scale_ - 0.5; }
  ViewPoint Placed(const ViewPoint& p) const { return {Placed(p.x), Placed(p.y), p.z * scale_}; }

  void Enter(double low, double high, Kind kind, size_t index);
  void AddBall(const LitBall& ball);
  void AddEllipsoid(const LitEllipsoid& given);
  void AddStick(const LitStick& stick);
  void AddLine(const LitLine& line);
  // The farthest first, behind all bodies and lines.
  void AddFaces(const std::vector<LitFace>& given);
  void AddFace(const LitFace& given);
  // Calls draw(y, first x, last x) for the rows of a body within its bounds, the band and the grid.
  template <class Draw>
  void EachRow(double low, double high, double left, double right, int top, int bottom, Draw draw);
  void DrawBall(const LitBall& ball, int top, int bottom);
  void DrawEllipsoid(const Ellipsoid& e, int top, int bottom);
  void DrawStick(const LitStick& s, int top, int bottom);
  // Step by step along the longer of its sides, some pixels across; its bodies are in the grid already.
  void DrawLine(const LitLine& line, int top, int bottom);
  void DrawFace(const Face& face, int top, int bottom);

  LitGrid& grid_;
  double scale_;
  int lineWidth_ = 1;
  std::vector<std::vector<uint32_t>> bands_;
  std::vector<LitBall> balls_;
  std::vector<Ellipsoid> ellipsoids_;
  std::vector<LitStick> sticks_;
  std::vector<LitLine> lines_;
  std::vector<Face> faces_;
};

}  // namespace marvik

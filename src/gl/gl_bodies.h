#pragma once

#include <array>
#include <map>
#include <utility>

struct GLUquadric;

namespace marvik {

// Solids of unit size as display lists, each made when it is first used. One quadric serves them all. Needs a current
// context from its making to its end.
class GlBodies {
 public:
  GlBodies();
  ~GlBodies();
  GlBodies(const GlBodies&) = delete;
  GlBodies& operator=(const GlBodies&) = delete;

  enum Body {
    kSphere,       // radius 1
    kCutSphere,    // without the octant of positive x, y and z
    kQuarterDisc,  // x and y positive, radius 1, facing +z
    kTube,         // radius 1, z from 0 to 1, open
    kRod,          // the same with its ends closed
    kBand,         // a ring about z just outside the sphere, z from -1 to 1
    kOctahedron,   // corners at distance 1 on the axes
  };
  void Draw(Body body, int slices);
  // A tube whose radius goes from 1 to `top`; not kept.
  void DrawCone(double top, int slices) const;

 private:
  void Make(Body body, int slices) const;
  void MakeCutSphere(int slices) const;

  GLUquadric* quadric_;
  std::map<std::pair<Body, int>, unsigned> lists_;
};

// How finely a body of that radius is divided so that its outline strays less than about a seventh of a pixel from the
// true one: `standard` slices on what is usual, less on what is small, more on what is so large that corners would
// show.
int SlicesFor(double radiusPixels, int standard);

}  // namespace marvik

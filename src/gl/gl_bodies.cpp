#include "gl/gl_bodies.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "gl/gl_calls.h"

namespace marvik {
namespace {

constexpr double kOutlineError = 0.15;  // pixels
// Between these, a little inside and a little outside of the surface, lie the bands: far enough out that no corner of
// a body of 32 slices reaches through.
constexpr double kCutRadius = 0.985;
constexpr double kBandRadius = 1.01;

void SpherePoint(double longitude, double latitude) {
  const double flat = std::cos(latitude);
  const double x = flat * std::cos(longitude);
  const double y = flat * std::sin(longitude);
  const double z = std::sin(latitude);
  glNormal3d(x, y, z);
  glVertex3d(x, y, z);
}

// Between two latitudes, from one longitude to another; radians.
void SphereStrip(double low, double high, double from, double to, int steps) {
  glBegin(GL_TRIANGLE_STRIP);
  for (int i = 0; i <= steps; ++i) {
    const double longitude = from + (to - from) * i / steps;
    SpherePoint(longitude, high);
    SpherePoint(longitude, low);
  }
  glEnd();
}

void MakeOctahedron() {
  glBegin(GL_TRIANGLES);
  for (int octant = 0; octant < 8; ++octant) {
    const double x = octant & 1 ? -1.0 : 1.0;
    const double y = octant & 2 ? -1.0 : 1.0;
    const double z = octant & 4 ? -1.0 : 1.0;
    glNormal3d(x, y, z);
    glVertex3d(x, 0.0, 0.0);
    // Anticlockwise seen from outside.
    const bool mirrored = x * y * z < 0.0;
    glVertex3d(0.0, mirrored ? 0.0 : y, mirrored ? z : 0.0);
    glVertex3d(0.0, mirrored ? y : 0.0, mirrored ? 0.0 : z);
  }
  glEnd();
}

}  // namespace

int SlicesFor(double radiusPixels, int standard) {
  // n sides stray from a circle by r·(1 - cos π/n), nearly r·π²/2n².
  const double needed = std::numbers::pi * std::sqrt(std::max(radiusPixels, 0.0) / (2.0 * kOutlineError));
  for (const int slices : {8, 12, 16, 20, 24, 32, 40}) {
    if (slices >= needed && slices < standard) return slices;
  }
  for (const int times : {1, 2, 4}) {
    if (standard * times >= needed) return standard * times;
  }
  return 8 * standard;
}

GlBodies::GlBodies() : quadric_(gluNewQuadric()) {
  gluQuadricDrawStyle(quadric_, GLU_FILL);
  gluQuadricNormals(quadric_, GLU_SMOOTH);
}

GlBodies::~GlBodies() {
  for (const auto& [key, list] : lists_) glDeleteLists(list, 1);
  gluDeleteQuadric(quadric_);
}

void GlBodies::Draw(Body body, int slices) {
  unsigned& list = lists_[{body, slices}];
  if (list == 0) {
    list = glGenLists(1);
    glNewList(list, GL_COMPILE);
    Make(body, slices);
    glEndList();
  }
  glCallList(list);
}

void GlBodies::DrawCone(double top, int slices) const {
  gluCylinder(quadric_, 1.0, top, 1.0, slices, 1);
}

void GlBodies::MakeCutSphere(int slices) const {
  const int quarter = std::max(slices / 4, 2);
  const double step = std::numbers::pi / 2 / quarter;
  for (int i = -quarter; i < quarter; ++i) {
    const bool upper = i >= 0;
    SphereStrip(i * step, (i + 1) * step, upper ? std::numbers::pi / 2 : 0.0, 2.0 * std::numbers::pi,
                upper ? 3 * quarter : 4 * quarter);
  }
}

void GlBodies::Make(Body body, int slices) const {
  const auto disc = [&](double inner, double outer, double z, bool up) {
    glPushMatrix();
    glTranslated(0.0, 0.0, z);
    gluQuadricOrientation(quadric_, up ? GLU_OUTSIDE : GLU_INSIDE);
    gluDisk(quadric_, inner, outer, slices, 1);
    gluQuadricOrientation(quadric_, GLU_OUTSIDE);
    glPopMatrix();
  };
  switch (body) {
    case kSphere:
      gluSphere(quadric_, 1.0, slices, slices);
      break;
    case kCutSphere:
      MakeCutSphere(slices);
      break;
    case kQuarterDisc:
      gluPartialDisk(quadric_, 0.0, 1.0, std::max(slices / 4, 2), 1, 0.0, 90.0);
      break;
    case kTube:
      gluCylinder(quadric_, 1.0, 1.0, 1.0, slices, 1);
      break;
    case kRod:
      gluCylinder(quadric_, 1.0, 1.0, 1.0, slices, 1);
      disc(0.0, 1.0, 0.0, false);
      disc(0.0, 1.0, 1.0, true);
      break;
    case kBand:
      glPushMatrix();
      glTranslated(0.0, 0.0, -1.0);
      gluCylinder(quadric_, kBandRadius, kBandRadius, 2.0, slices, 1);
      glPopMatrix();
      disc(kCutRadius, kBandRadius, 1.0, true);
      disc(kCutRadius, kBandRadius, -1.0, false);
      break;
    case kOctahedron:
      MakeOctahedron();
      break;
  }
}

}  // namespace marvik

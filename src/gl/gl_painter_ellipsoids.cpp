#include <algorithm>

#include "draw/canvas/colours.h"
#include "draw/renderer/render_frame.h"
#include "gl/gl_calls.h"
#include "gl/gl_painter.h"

namespace marvik {
namespace {

constexpr int kEllipsoidSlices = 60;
constexpr double kBandWidth = 0.005;  // view units
constexpr double kSmallBitmapBandWidth = 0.0075;
constexpr int kLargeBitmap = 1000;      // pixels
constexpr double kWidestBand = 0.10;    // of the axis that it stands on
constexpr double kLeastBanded = 4.0;    // longer half axis of the smallest ellipsoid with bands, pixels
constexpr int kLeastBandedSlices = 32;  // coarser ones would reach through their bands
constexpr double kCutFaceShade = 0.12;  // how much lighter the cut faces are than the surface

// From the axes of a body of unit size to view units; the columns are the images of x, y and z.
void Place(const ViewPoint& at, const ViewPoint& x, const ViewPoint& y, const ViewPoint& z) {
  const double matrix[16] = {x.x, x.y, x.z, 0.0, y.x, y.y, y.z, 0.0, z.x, z.y, z.z, 0.0, at.x, at.y, at.z, 1.0};
  glMultMatrixd(matrix);
}

}  // namespace

void GlPainter::DrawEllipsoidGl(const GlAtom& atom) {
  const OutlineConic outline = OutlineOf(atom.axes);
  const double longest = Length(outline.p);
  const bool banded = Pixels(longest) >= kLeastBanded;
  const bool cut = style_.cutSection && banded;
  glLineWidth(static_cast<float>(2.0 * Pixels(scene_.unit) * style_.factor));
  constexpr double kShareInPrint = 0.98;
  double share = 1.0;
  if (!style_.colour) {
    DrawRing(atom.at, outline.p, outline.q);
    share = kShareInPrint;
    constexpr float kBright[] = {1.0f, 1.0f, 1.0f, 1.0f};
    glLightfv(GL_LIGHT0, GL_AMBIENT, kBright);
    UseTexture(atom.texture);
  }
  Shade(true);
  SetColour(style_.colour ? atom.colour : kWhite, true);
  glPushMatrix();
  Place(atom.at, atom.axes[0] * share, atom.axes[1] * share, atom.axes[2] * share);
  const int slices = Slices(longest, kEllipsoidSlices);
  bodies_.Draw(cut ? GlBodies::kCutSphere : GlBodies::kSphere, banded ? std::max(slices, kLeastBandedSlices) : slices);
  glPopMatrix();
  if (!style_.colour) UseTexture(0);
  if (cut) DrawCutFaces(atom);
  if (banded) DrawBands(atom);
  if (!style_.colour) {
    const float dark[] = {0.0f, 0.0f, 0.0f, static_cast<float>(layer_.alpha)};
    glLightfv(GL_LIGHT0, GL_AMBIENT, dark);
  }
  glLineWidth(static_cast<float>(Pixels(scene_.unit) * style_.factor));
}

// Closes the gap of the missing octant, and draws the half axes that run along its edges.
void GlPainter::DrawCutFaces(const GlAtom& atom) {
  SetColour(style_.colour ? MixColours(atom.colour, kWhite, kCutFaceShade) : kWhite, true);
  glEnable(GL_POLYGON_OFFSET_FILL);
  glPolygonOffset(1.0f, 1.0f);
  for (size_t k = 0; k < 3; ++k) {
    glPushMatrix();
    Place(atom.at, atom.axes[(k + 1) % 3], atom.axes[(k + 2) % 3], atom.axes[k]);
    bodies_.Draw(GlBodies::kQuarterDisc, Slices(Length(atom.axes[(k + 1) % 3]), kEllipsoidSlices));
    glPopMatrix();
  }
  glDisable(GL_POLYGON_OFFSET_FILL);
  Shade(false);
  SetColour(style_.colour ? InkOn(atom.colour) : kBlack, true);
  glBegin(GL_LINES);
  for (const ViewPoint& axis : atom.axes) {
    glVertex3d(atom.at.x, atom.at.y, atom.at.z);
    glVertex3d(atom.at.x + axis.x, atom.at.y + axis.y, atom.at.z + axis.z);
  }
  glEnd();
}

// The three principal ellipses.
void GlPainter::DrawBands(const GlAtom& atom) {
  const double width = style_.size >= kLargeBitmap ? kBandWidth : kSmallBitmapBandWidth;
  Shade(style_.colour);
  SetColour(style_.colour ? InkOn(atom.colour) : kBlack, true);
  for (size_t k = 0; k < 3; ++k) {
    const ViewPoint& along = atom.axes[k];
    const double half = 0.5 * std::min(width / Length(along), kWidestBand);
    const ViewPoint& p = atom.axes[(k + 1) % 3];
    const ViewPoint& q = atom.axes[(k + 2) % 3];
    glPushMatrix();
    Place(atom.at, p, q, along * half);
    const int slices = Slices(std::max(Length(p), Length(q)), kEllipsoidSlices);
    bodies_.Draw(GlBodies::kBand, std::max(slices, kLeastBandedSlices));
    glPopMatrix();
  }
}

}  // namespace marvik

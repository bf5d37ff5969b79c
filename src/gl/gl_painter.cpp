#include "gl/gl_painter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "draw/canvas/colours.h"
#include "draw/renderer/look.h"
#include "gl/gl_calls.h"
#include "gl/gl_light.h"
#include "gl/gl_program.h"
#include "gl/gl_textures.h"

namespace marvik {
namespace {

constexpr double kFineLine = 0.35;                // width of a net's lines against others
constexpr double kChannel = 0.00392156862745098;  // 1/255
constexpr float kShininess = 100.0f;
constexpr float kAmbientInPrint[] = {1.0f, 1.0f, 1.0f, 1.0f};

}  // namespace

GlPainter::GlPainter(const GlScene& scene, const GlStyle& style) : scene_(scene), style_(style) {
  if (style_.colour) program_ = MakeShadingProgram();
}

GlPainter::~GlPainter() {
  UseProgram(0);
  DeleteProgram(program_);
  for (const unsigned texture : textures_) {
    if (texture != 0) glDeleteTextures(1, &texture);
  }
}

void GlPainter::SetLens(const GlWindow& window) {
  const double pixel = 2.0 / style_.size;
  left_ = -1.0 + pixel * window.left;
  right_ = left_ + pixel * window.width;
  bottom_ = -1.0 + pixel * window.bottom;
  top_ = bottom_ + pixel * window.height;
}

void GlPainter::Begin(const GlWindow& window) {
  SetLens(window);
  const auto clear = [](uint8_t channel) { return static_cast<float>(channel * kChannel); };
  const Rgb ground = scene_.background;
  glClearColor(clear(ground.r), clear(ground.g), clear(ground.b), 0.0f);
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glOrtho(left_, right_, bottom_, top_, -scene_.depth, scene_.depth);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  glViewport(0, 0, window.width * style_.factor, window.height * style_.factor);
}

bool GlPainter::Sees(const ViewPoint& at, double reach) const {
  return Sees(at, at, reach);
}

bool GlPainter::Sees(const ViewPoint& a, const ViewPoint& b, double reach) const {
  return std::max(a.x, b.x) + reach > left_ && std::min(a.x, b.x) - reach < right_ &&
         std::max(a.y, b.y) + reach > bottom_ && std::min(a.y, b.y) - reach < top_;
}

bool GlPainter::ShowsAnything(const GlWindow& window) {
  SetLens(window);
  constexpr double kMargin = 0.02;
  return std::any_of(scene_.atoms.begin(), scene_.atoms.end(),
                     [&](const GlAtom& atom) { return Sees(atom.at, atom.Reach()); }) ||
         std::any_of(scene_.bonds.begin(), scene_.bonds.end(),
                     [&](const GlBond& bond) { return Sees(bond.a, bond.b, 4.0 * bond.radius + kMargin); }) ||
         std::any_of(scene_.lines.begin(), scene_.lines.end(),
                     [&](const GlLine& edge) { return Sees(edge.a, edge.b, kMargin); }) ||
         std::any_of(scene_.faces.begin(), scene_.faces.end(), [&](const GlFace& face) {
           const auto [left, right] = std::ranges::minmax(face.corners, {}, &ViewPoint::x);
           const auto [low, high] = std::ranges::minmax(face.corners, {}, &ViewPoint::y);
           return Sees({left.x, low.y, 0.0}, {right.x, high.y, 0.0}, kMargin);
         });
}

// The fixed functions light the corners only, so they get all of them.
int GlPainter::Slices(double viewUnits, int standard) const {
  const int slices = SlicesFor(Pixels(viewUnits), standard);
  return style_.colour && program_ == 0 ? std::max(slices, standard) : slices;
}

// What is lit gets the background as its own light: mixed before, its shades would be those of something grey.
void GlPainter::SetColour(Rgb colour, bool atom) const {
  if (pale_) colour = MixColours(lit_ ? kBlack : scene_.background, colour, kPaleInk);
  const int kind = atom ? kAtomSample : kBetweenSample;
  const double alpha = style_.sampled ? kind * kChannel : layer_.alpha;
  glColor4d(colour.r * kChannel, colour.g * kChannel, colour.b * kChannel, alpha);
}

void GlPainter::SetPale(bool pale) {
  if (pale == pale_) return;
  pale_ = pale;
  const float ink = pale ? static_cast<float>(kPaleInk) : 1.0f;
  const auto ground = [&](uint8_t channel) { return (1.0f - ink) * static_cast<float>(channel * kChannel); };
  const float own[] = {ground(scene_.background.r), ground(scene_.background.g), ground(scene_.background.b), 1.0f};
  const float specular[] = {ink, ink, ink, static_cast<float>(layer_.alpha)};
  glMaterialfv(GL_FRONT, GL_EMISSION, own);
  glMaterialfv(GL_FRONT, GL_SPECULAR, specular);
}

void GlPainter::Shade(bool lit) {
  lit_ = lit;
  (lit ? glEnable : glDisable)(GL_LIGHTING);
  if (program_ != 0) UseProgram(lit ? program_ : 0);
}

void GlPainter::UseTexture(int code) {
  if (code <= 0 || code >= kTextures) {
    glDisable(GL_TEXTURE_2D);
    return;
  }
  unsigned& texture = textures_[static_cast<size_t>(code)];
  if (texture != 0) {
    glBindTexture(GL_TEXTURE_2D, texture);
  } else {
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, kTextureSide, kTextureSide, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 TexturePattern(code).data());
  }
  for (const GLenum on : {GL_TEXTURE_2D, GL_TEXTURE_GEN_S, GL_TEXTURE_GEN_T}) glEnable(on);
}

bool GlPainter::Draw(const GlLayer& layer, const std::function<bool()>& before) {
  layer_ = layer;
  const float specular[] = {1.0f, 1.0f, 1.0f, static_cast<float>(layer.alpha)};
  glMaterialfv(GL_FRONT, GL_SPECULAR, specular);
  glMaterialf(GL_FRONT, GL_SHININESS, kShininess);
  glPushMatrix();
  gluLookAt(0.0, 0.0, kViewerDistance, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0);
  // Before the shift: the lamp stands still.
  glLightfv(GL_LIGHT0, GL_POSITION, kLightPosition);
  glTranslated(layer.dx, layer.dy, 0.0);
  bool finished = true;
  for (size_t i = 0; i < scene_.atoms.size(); ++i) {
    if (before && !before()) {
      finished = false;
      break;
    }
    const GlAtom& atom = scene_.atoms[i];
    if (Sees(atom.at, atom.Reach())) DrawAtomGl(atom);
    for (uint32_t k = atom.firstBond; k < scene_.EndOfBonds(i); ++k) {
      const GlBond& bond = scene_.bonds[k];
      if (Sees(bond.a, bond.b, 4.0 * bond.radius + 3.0 * scene_.unit)) DrawBondGl(bond);
    }
  }
  if (finished) DrawLines();
  glPopMatrix();
  return finished;
}

void GlPainter::DrawAtomGl(const GlAtom& atom) {
  if (!style_.colour && !layer_.atoms) return;
  SetPale(atom.pale);
  switch (atom.shape) {
    case GlShape::Ball:
      DrawBall(atom);
      break;
    case GlShape::Ellipsoid:
      DrawEllipsoidGl(atom);
      break;
    case GlShape::Mark:
      DrawMark(atom);
      break;
    case GlShape::CrossedBox:
      DrawCrossedBox(atom);
      break;
  }
  SetPale(false);
  Shade(true);
}

void GlPainter::DrawBall(const GlAtom& atom) {
  constexpr int kSlices = 30;
  constexpr double kShareInPrint = 0.98;
  double radius = atom.radius;
  if (!style_.colour) {
    DrawRing(atom.at, {radius, 0.0, 0.0}, {0.0, radius, 0.0});
    radius *= kShareInPrint;
    glLightfv(GL_LIGHT0, GL_AMBIENT, kAmbientInPrint);
    UseTexture(atom.texture);
  }
  Shade(true);
  SetColour(style_.colour ? atom.colour : kWhite, true);
  glPushMatrix();
  glTranslated(atom.at.x, atom.at.y, atom.at.z);
  glScaled(radius, radius, radius);
  bodies_.Draw(GlBodies::kSphere, Slices(radius, kSlices));
  glPopMatrix();
  if (style_.colour) return;
  UseTexture(0);
  const float dark[] = {0.0f, 0.0f, 0.0f, static_cast<float>(layer_.alpha)};
  glLightfv(GL_LIGHT0, GL_AMBIENT, dark);
}

// The ellipse of half axes p and q, flat and black, in print the outline of a body.
void GlPainter::DrawRing(const ViewPoint& at, const ViewPoint& p, const ViewPoint& q) {
  constexpr double kHalfWidth = 0.005;
  const int steps = std::max(SlicesFor(Pixels(std::max(Length(p), Length(q))), 60), 20);
  Shade(false);
  SetColour(kBlack, true);
  glBegin(GL_TRIANGLE_STRIP);
  for (int i = 0; i <= steps; ++i) {
    const double angle = 2.0 * std::numbers::pi * i / steps;
    const ViewPoint r = p * std::cos(angle) + q * std::sin(angle);
    const double length = Length(r);
    const double width = std::min(kHalfWidth, length);
    const double inner = length > 0.0 ? 1.0 - width / length : 1.0;
    const double outer = length > 0.0 ? 1.0 + kHalfWidth / length : 1.0;
    glVertex3d(at.x + r.x * inner, at.y + r.y * inner, at.z);
    glVertex3d(at.x + r.x * outer, at.y + r.y * outer, at.z);
  }
  glEnd();
}

void GlPainter::DrawMark(const GlAtom& atom) {
  const auto body = [&](double size, Rgb colour) {
    SetColour(colour, true);
    glPushMatrix();
    glTranslated(atom.at.x, atom.at.y, atom.at.z);
    glScaled(size, size, size);
    bodies_.Draw(GlBodies::kOctahedron, 0);
    glPopMatrix();
  };
  Shade(style_.colour);
  if (style_.colour) return body(atom.radius, atom.colour);
  body(atom.radius, kBlack);
  glPushMatrix();
  glTranslated(0.0, 0.0, atom.radius);
  body(std::max(atom.radius - 1.5 * scene_.unit, 0.3 * atom.radius), kWhite);
  glPopMatrix();
}

// A square face with a cross, which stands for a tensor that is no ellipsoid.
void GlPainter::DrawCrossedBox(const GlAtom& atom) {
  const double r = atom.radius;
  const double z = atom.at.z + r;
  const Rgb fill = style_.colour ? atom.colour : kWhite;
  const std::array<std::array<double, 2>, 4> corners{{{atom.at.x - r, atom.at.y - r},
                                                      {atom.at.x + r, atom.at.y - r},
                                                      {atom.at.x + r, atom.at.y + r},
                                                      {atom.at.x - r, atom.at.y + r}}};
  Shade(false);
  SetColour(fill, true);
  glBegin(GL_QUADS);
  for (const auto& corner : corners) glVertex3d(corner[0], corner[1], z);
  glEnd();
  SetColour(style_.colour ? InkOn(fill) : kBlack, true);
  glLineWidth(static_cast<float>(2.0 * Pixels(scene_.unit) * style_.factor));
  glBegin(GL_LINES);
  for (const auto& [from, to] : {std::pair{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 2}, {1, 3}}) {
    for (const int i : {from, to})
      glVertex3d(corners[static_cast<size_t>(i)][0], corners[static_cast<size_t>(i)][1], z + 0.2 * scene_.unit);
  }
  glEnd();
  glLineWidth(static_cast<float>(Pixels(scene_.unit) * style_.factor));
}

// Plain lines, without regard to light.
void GlPainter::DrawLines() {
  if (scene_.lines.empty()) return;
  Shade(false);
  for (const bool fine : {false, true}) {
    glLineWidth(static_cast<float>(Pixels(scene_.unit) * style_.factor * (fine ? kFineLine : 1.0)));
    glBegin(GL_LINES);
    for (const GlLine& line : scene_.lines) {
      if (line.fine != fine) continue;
      SetColour(style_.colour ? line.colour : kBlack, false);
      glVertex3d(line.a.x, line.a.y, line.a.z);
      glVertex3d(line.b.x, line.b.y, line.b.z);
    }
    glEnd();
  }
  Shade(true);
}

}  // namespace marvik

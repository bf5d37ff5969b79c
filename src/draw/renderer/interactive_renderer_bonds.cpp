#include <algorithm>
#include <cmath>
#include <span>

#include "draw/renderer/bond_sticks.h"
#include "draw/renderer/render_frame.h"

namespace marvik {

namespace {

constexpr double kWidestStick = 20000.0;  // device units
// A pipe is as many times as wide as the stick of the same bond.
constexpr double kPipeFactor = 3.0;
constexpr double kLeastRimmed = 4.0;     // width of the thinnest stick with a rim, pixels
constexpr double kThinPipe = 2.0;        // half a width in pixels
constexpr float kLonePipeWidth = 0.15f;  // Å, of an atom without bonds
// Strips of a pipe: their share of its width, their place across it, and their lightness.
struct Strip {
  double share;
  double place;
  double darker;
  double lighter;
};
constexpr std::array<Strip, 4> kPipeStrips{
    {{1.0, 0.0, 0.55, 0.0}, {0.82, 0.0, 0.25, 0.0}, {0.6, -0.1, 0.0, 0.0}, {0.22, -0.2, 0.0, 0.55}}};

constexpr std::array<Strip, 2> kPlainStrips{{{1.0, 0.0, 1.0, 0.0}, {0.7, 0.0, 0.0, 0.0}}};  // black and white

CanvasPoint Between(CanvasPoint a, CanvasPoint b, double t) {
  return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
}

// Unit vector across the line from a to b, to the upper left where it can be; nothing for a point.
CanvasPoint Across(CanvasPoint a, CanvasPoint b) {
  const double dx = b.x - a.x;
  const double dy = b.y - a.y;
  const double length = std::sqrt(dx * dx + dy * dy);
  if (!(length > 0.0)) return {0.0, 0.0};
  const CanvasPoint n{dy / length, -dx / length};
  return n.x + n.y > 0.0 ? CanvasPoint{-n.x, -n.y} : n;
}

CanvasPoint Moved(CanvasPoint p, CanvasPoint direction, double by) {
  return {p.x + direction.x * by, p.y + direction.y * by};
}

Rgb StripColour(Rgb colour, const Strip& strip) {
  return MixColours(MixColours(colour, kBlack, strip.darker), kWhite, strip.lighter);
}

}  // namespace

void DrawBondLine(Canvas& canvas, Rgb colour, CanvasPoint a, CanvasPoint b, double width, int style) {
  const double pen = std::max(width, 1.0);
  if (style == kDashed || style == kDotted) {
    canvas.Line(a, b, {colour, pen, style == kDashed ? LineStyle::Dashed : LineStyle::Dotted});
    return;
  }
  canvas.Line(a, b, {colour, pen, LineStyle::Solid});
  // Of the thinnest line the second pass would be the same pixels again.
  if (pen > 1.0) canvas.Line(b, a, {colour, std::max(pen / 5.0, 1.0), LineStyle::Solid});
}

// Device units; cut to whole pixels on the screen.
double RenderFrame::StickWidth(double width) const {
  if (!(width > 0.0)) return 0.0;
  const double device = std::min(width * map_.pen, kWidestStick);
  return map_.whole ? std::floor(device + 1e-6) : device;
}

// From where the bond leaves the body of the farther atom to the middle of the nearer one, whose body will cover the
// end. False when one body reaches into the other, so that nothing of the bond shows.
bool RenderFrame::BondEnds(const FrameBond& bond, CanvasPoint& a, CanvasPoint& b) const {
  const FrameAtom& farther = atoms_[bond.a];
  const FrameAtom& nearer = atoms_[bond.b];
  const ViewPoint delta{nearer.viewX - farther.viewX, nearer.viewY - farther.viewY, nearer.z - farther.z};
  const double out = SurfaceFraction(bond.a, delta);
  const double in = SurfaceFraction(bond.b, -delta);
  if (!(out + in < 1.0)) return false;
  b = Centre(nearer);
  a = Between(Centre(farther), b, out);
  return true;
}

void RenderFrame::NameBond(const BondRecord& bond) {
  groupName_ = bond.owner->name;
  groupName_.append("-").append(bond.partner->name);
}

void RenderFrame::DrawBond(const FrameBond& bond) {
  CanvasPoint a;
  CanvasPoint b;
  if (IsHidden(bond) || !BondEnds(bond, a, b)) return;
  if (!options_->printing && !map_.Shows(a, b, 2.0 * StickWidth(bond.width) + 4.0)) return;
  if (!Grouped()) {
    DrawSticks(bond, a, b);
    return;
  }
  NameBond(*bond.bond);
  canvas_->BeginGroup(groupName_);
  DrawSticks(bond, a, b);
  canvas_->EndGroup();
}

// As many lines side by side as the order asks for.
void RenderFrame::DrawSticks(const FrameBond& bond, CanvasPoint a, CanvasPoint b) {
  const bool dotted = bond.style == kSolid && bond.order == kPi;
  const int style = dotted ? static_cast<int>(kDotted) : bond.style;
  if (atoms_[bond.a].unknown || atoms_[bond.b].unknown) {
    canvas_->Line(a, b, {palette_[kGreyIndex], map_.unit, static_cast<LineStyle>(style)});
    return;
  }
  const Rgb colour = BondColour(bond);
  const double width = StickWidth(bond.width);
  // A dark rim keeps a stick apart from what lies behind it.
  if (style == kSolid && bond.order == kSingle && width >= kLeastRimmed * map_.unit)
    DrawPiece(bond, a, b, MixColours(colour, kBlack, options_->blackWhite ? 1.0 : 0.7), width, 2.0 * map_.unit, style);
  if (bond.order == kSingle || bond.order == kPi) {
    DrawStick(bond, a, b, std::max(width, map_.unit), style);
    return;
  }
  const CanvasPoint across = Across(a, b);
  for (const BondStick& stick : SticksOfOrder(bond.order)) {
    const double by = stick.side * std::max(width, 2.0 * map_.unit);
    DrawStick(bond, Moved(a, across, by), Moved(b, across, by), std::max(width * stick.share, map_.unit),
              stick.dashed ? static_cast<int>(kDashed) : style);
  }
}

// In the colour of its class, in the look's, or each half in that of its atom.
void RenderFrame::DrawStick(const FrameBond& bond, CanvasPoint a, CanvasPoint b, double width, int style) {
  if (Classic() || !colours_.bondsOfAtoms || options_->blackWhite) {
    const bool hollow = style == kSolid && bond.order == kSingle && width >= kLeastRimmed * map_.unit;
    DrawPiece(bond, a, b, options_->blackWhite && !hollow ? kBlack : BondColour(bond), width, 0.0, style);
    return;
  }
  const CanvasPoint from = Centre(atoms_[bond.a]);
  const CanvasPoint to = Centre(atoms_[bond.b]);
  const double length = std::hypot(to.x - from.x, to.y - from.y);
  const double hidden = length > 0.0 ? std::hypot(a.x - from.x, a.y - from.y) / length : 0.0;
  const CanvasPoint middle = Between(a, b, std::clamp((0.5 - hidden) / std::max(1.0 - hidden, 1e-6), 0.0, 1.0));
  DrawPiece(bond, a, middle, palette_[LineColour(atoms_[bond.a])], width, 0.0, style);
  DrawPiece(bond, middle, b, palette_[LineColour(atoms_[bond.b])], width, 0.0, style);
}

// In the looks in which bonds have one colour; pale where it leads to a symmetry mate that is.
Rgb RenderFrame::BondColour(const FrameBond& bond) const {
  const Rgb colour = Classic() && !options_->blackWhite ? kBondClassColours[bond.order] : colours_.bond;
  return Paled(atoms_[atoms_[bond.a].pale ? bond.a : bond.b], colour);
}

// Of a bond's width, at a place on it.
double RenderFrame::NearnessFactor(const FrameBond& bond, CanvasPoint at) const {
  const FrameAtom& a = atoms_[bond.a];
  const FrameAtom& b = atoms_[bond.b];
  const CanvasPoint from = Centre(a);
  const CanvasPoint along{Centre(b).x - from.x, Centre(b).y - from.y};
  const double square = along.x * along.x + along.y * along.y;
  const double t = square > 0.0 ? ((at.x - from.x) * along.x + (at.y - from.y) * along.y) / square : 0.5;
  return Nearness(a.z + (b.z - a.z) * std::clamp(t, 0.0, 1.0));
}

// A part of one of its sticks; `rim` is how much wider than the stick it is.
void RenderFrame::DrawPiece(const FrameBond& bond, CanvasPoint a, CanvasPoint b, Rgb colour, double width, double rim,
                            int style) {
  if (!options_->figure.taperedBonds || style != kSolid) {
    if (rim == 0.0) return DrawBondLine(*canvas_, colour, a, b, width, style);
    return canvas_->Line(a, b, {colour, width + rim, LineStyle::Solid});
  }
  const CanvasPoint across = Across(a, b);
  const auto half = [&](CanvasPoint at) { return 0.5 * (std::max(width * NearnessFactor(bond, at), map_.unit) + rim); };
  const std::array<CanvasPoint, 4> quad{
      {Moved(a, across, half(a)), Moved(b, across, half(b)), Moved(b, across, -half(b)), Moved(a, across, -half(a))}};
  canvas_->Polygon(quad, colour, {colour, 0.0, LineStyle::Solid});
}

// Peaks are near everything: their bonds would be webs.
bool RenderFrame::IsHidden(const FrameBond& bond) const {
  return !Classic() && (atoms_[bond.a].atom->IsPeak() || atoms_[bond.b].atom->IsPeak());
}

// A line along each side of a selected bond.
void RenderFrame::DrawSleeve(const FrameBond& bond) {
  const CanvasPoint a = Centre(atoms_[bond.a]);
  const CanvasPoint b = Centre(atoms_[bond.b]);
  const CanvasPoint across = Across(a, b);
  const double factor = options_->mode == kPipes ? kPipeFactor : 1.0;
  const double by = StickWidth(bond.width) * factor / 2.0 + 3.0 * map_.unit;
  const Pen pen{palette_[kSelectionIndex], 2.0 * map_.unit, LineStyle::Solid};
  for (const double side : {-by, by})
    canvas_->Line(Moved(Between(a, b, 0.2), across, side), Moved(Between(a, b, 0.8), across, side), pen);
}

void RenderFrame::SetUpPipes() {
  pipeStart_.assign(atoms_.size() + 2, 0);
  for (const FrameBond& bond : bonds_) {
    ++pipeStart_[bond.a + 2];
    ++pipeStart_[bond.b + 2];
  }
  for (size_t i = 1; i < pipeStart_.size(); ++i) pipeStart_[i] += pipeStart_[i - 1];
  pipes_.resize(bonds_.size() * 2);
  for (uint32_t i = 0; i < bonds_.size(); ++i) {
    pipes_[pipeStart_[bonds_[i].a + 1]++] = i;
    pipes_[pipeStart_[bonds_[i].b + 1]++] = i;
  }
}

// Half the width of the widest pipe that meets at the atom.
double RenderFrame::PipeRadius(uint32_t index) const {
  float widest = 0.0f;
  for (uint32_t k = pipeStart_[index]; k < pipeStart_[index + 1]; ++k)
    widest = std::max(widest, bonds_[pipes_[k]].width);
  if (!(widest > 0.0f)) widest = kLonePipeWidth;
  return std::max(StickWidth(widest) * kPipeFactor, 2.0 * map_.unit) / 2.0;
}

// The atom's halves of its bonds and the joint between them, strip by strip, so that they run into one another.
void RenderFrame::DrawPipes(uint32_t index) {
  const FrameAtom& atom = atoms_[index];
  const CanvasPoint centre = Centre(atom);
  const Rgb colour = ElementRgb(atom);
  const double radius = PipeRadius(index);
  // Strips of less than a pixel are left out: what is left is a line in the atom's own colour.
  const bool thin = map_.whole && radius < kThinPipe;
  const std::span<const Strip> strips =
      options_->blackWhite ? std::span<const Strip>(kPlainStrips) : std::span<const Strip>(kPipeStrips);
  for (const Strip& strip : strips) {
    if (thin && &strip != &strips.front()) break;
    const Rgb shade = thin && !options_->blackWhite ? colour : StripColour(colour, strip);
    const Pen none{shade, 0.0, LineStyle::Solid};
    if (!atom.unknown && (options_->printing || map_.Shows(centre, radius))) {
      const double shift = strip.place * radius * std::sqrt(2.0);
      const double r = strip.share * radius;
      canvas_->FillEllipse({{centre.x + shift, centre.y + shift}, {r, 0.0}, {0.0, r}}, shade, none);
    }
    for (uint32_t k = pipeStart_[index]; k < pipeStart_[index + 1]; ++k) {
      const FrameBond& bond = bonds_[pipes_[k]];
      const FrameAtom& other = atoms_[bond.a == index ? bond.b : bond.a];
      const CanvasPoint end = Between(centre, Centre(other), 0.5);
      if (!options_->printing && !map_.Shows(centre, end, radius)) continue;
      if (atom.unknown || other.unknown) {
        if (&strip == &strips.front()) canvas_->Line(centre, end, ThinPen(palette_[kGreyIndex]));
        continue;
      }
      const CanvasPoint across = Across(centre, end);
      const double half = std::max(StickWidth(bond.width) * kPipeFactor, 2.0 * map_.unit) / 2.0;
      const double from = half * (2.0 * strip.place - strip.share);
      const double to = half * (2.0 * strip.place + strip.share);
      const std::array<CanvasPoint, 4> quad{{Moved(centre, across, -from), Moved(end, across, -from),
                                             Moved(end, across, -to), Moved(centre, across, -to)}};
      canvas_->Polygon(quad, shade, none);
    }
  }
  if (atom.unknown) DrawMark(atom);
}

}  // namespace marvik

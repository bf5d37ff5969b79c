#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "crystal/symmetry.h"
#include "crystal/symmetry_codes.h"
#include "draw/renderer/cell_box.h"
#include "draw/renderer/render_frame.h"
#include "model/placement.h"

namespace marvik {
namespace {

constexpr double kEdge = 0.025;  // of the picture's side, from its edges
constexpr double kArm = 0.07;    // of a direction of the cell that lies flat
constexpr double kHead = 0.22;   // of an arrow, share of its arm
constexpr double kLongestBar = 0.2;
constexpr size_t kMostMates = 24;  // whose operations the legend lists

// Where a letter goes on in its direction until it is clear of the others.
CanvasPoint LetterBeside(const std::vector<CanvasPoint>& others, CanvasPoint at, CanvasPoint along, double size) {
  const double length = std::max(std::hypot(along.x, along.y), 1e-9);
  for (const CanvasPoint& other : others) {
    if (std::hypot(other.x - at.x, other.y - at.y) < 0.7 * size)
      at = {other.x + along.x / length * 0.8 * size, other.y + along.y / length * 0.8 * size};
  }
  return at;
}

}  // namespace

// What stands in the corners of a figure: directions, scale and the meaning of colours.
void RenderFrame::DrawCorners() {
  const FigureChoices& figure = options_->figure;
  if (!figure.tripod && !figure.scaleBar && !figure.legend) return;
  canvas_->BeginGroup(kCornerGroup);
  if (figure.tripod) DrawTripod();
  if (figure.scaleBar) DrawScaleBar();
  if (figure.legend) DrawLegend();
  canvas_->EndGroup();
}

void RenderFrame::DrawTripod() {
  const double side = 2.0 * map_.scale;
  const double edge = (kEdge + kArm) * side + canvas_->TextSize("a").y;
  const CanvasPoint root{map_.low.x + edge, map_.high.y - edge};
  constexpr std::array<Fractional, 3> kEnds{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  struct Arm {
    CanvasPoint tip;
    double z;
    size_t axis;
  };
  std::array<Arm, 3> arms{};
  for (size_t i = 0; i < 3; ++i) {
    const Cartesian end = document_->matrix * kEnds[i];
    const double length = Length(end);
    if (!(length > 1e-6) || !std::isfinite(length)) return;
    const Matrix4& m = view_->combined;
    const auto row = [&](size_t r) { return (m[r][0] * end.x + m[r][1] * end.y + m[r][2] * end.z) / length; };
    // In shares of a whole edge, whatever the view's extent.
    const ViewPoint v{row(0), row(1), row(2)};
    const double unit = std::max(Length(v), 1e-12);
    arms[i] = {{root.x + v.x / unit * kArm * side, root.y - v.y / unit * kArm * side}, v.z, i};
  }
  std::ranges::sort(arms, {}, &Arm::z);
  const CellColours colours = CellColoursOn(Paper());
  const double half = canvas_->TextSize("a").y / 2.0;
  std::vector<CanvasPoint> letters;
  for (const Arm& arm : arms) {
    const Rgb colour = options_->blackWhite ? kBlack : colours[arm.axis];
    const CanvasPoint along{arm.tip.x - root.x, arm.tip.y - root.y};
    const double length = std::hypot(along.x, along.y);
    canvas_->Line(root, arm.tip, {colour, 1.2 * map_.unit, LineStyle::Solid});
    if (length > 0.2 * kArm * side) {
      const CanvasPoint back{arm.tip.x - along.x * kHead, arm.tip.y - along.y * kHead};
      const CanvasPoint wide{-along.y * kHead * 0.35, along.x * kHead * 0.35};
      const std::array<CanvasPoint, 3> head{
          {arm.tip, {back.x + wide.x, back.y + wide.y}, {back.x - wide.x, back.y - wide.y}}};
      canvas_->Polygon(head, colour, {colour, 0.5 * map_.unit, LineStyle::Solid});
    }
    // An axis toward the viewer has its letter below the root.
    const double reach = length > half ? (length + half) / length : 0.0;
    const CanvasPoint letter = reach > 0.0 ? CanvasPoint{root.x + along.x * reach, root.y + along.y * reach}
                                           : CanvasPoint{root.x - half, root.y + half};
    letters.push_back(LetterBeside(letters, letter, along, 2.0 * half));
    canvas_->Text(letters.back(), TextAnchor::Centre, std::string_view("abc").substr(arm.axis, 1),
                  Paper() ? kBlack : kWhite);
  }
}

// As long as 1, 2 or 5 times a power of ten Å.
void RenderFrame::DrawScaleBar() {
  const double angstrom = view_->halfExtent > 0.0 ? map_.scale / view_->halfExtent : 0.0;
  const double side = 2.0 * map_.scale;
  if (!(angstrom > 0.0) || !(side > 0.0)) return;
  const double most = kLongestBar * side / angstrom;
  double length = std::pow(10.0, std::floor(std::log10(most)));
  for (const double times : {5.0, 2.0}) {
    if (length * times <= most) {
      length *= times;
      break;
    }
  }
  const double y = map_.high.y - kEdge * side, right = map_.high.x - kEdge * side;
  const double left = right - length * angstrom, tick = 3.0 * map_.unit;
  const Rgb ink = Paper() ? kBlack : kWhite;
  const std::array<CanvasPoint, 4> bar{{{left, y - tick}, {left, y}, {right, y}, {right, y - tick}}};
  canvas_->Polyline(bar, {ink, map_.unit, LineStyle::Solid});
  const std::string text = Printf("%g Å", length);
  canvas_->Text({(left + right) / 2.0, y - tick - canvas_->TextSize(text).y / 2.0}, TextAnchor::Centre, text, ink);
}

void RenderFrame::DrawLegend() {
  std::vector<std::pair<Rgb, std::string>> entries;
  if (options_->figure.colourBy == ColourBy::Element) {
    std::array<bool, kElementRows> present{};
    for (const FrameAtom& atom : atoms_) present[atom.row] = true;
    for (int row = 0; row < kUnknownRow; ++row) {
      if (present[static_cast<size_t>(row)])
        entries.emplace_back(
            options_->blackWhite ? kWhite : ElementColourOf(document_->elements, row, options_->safeColours),
            document_->elements[row].Symbol());
    }
  } else {
    for (const auto& [shade, text] : scheme_.Legend())
      entries.emplace_back(ColourScheme::ColourOf(options_->figure.colourBy, shade), text);
  }
  const Rgb ink = Paper() ? kBlack : kWhite;
  const double line = 1.15 * canvas_->TextSize("X").y, radius = 0.3 * line;
  const double edge = kEdge * 2.0 * map_.scale;
  CanvasPoint at{map_.low.x + edge + radius, map_.low.y + edge + radius};
  for (const auto& [colour, text] : entries) {
    const EllipseShape spot{at, {radius, 0.0}, {0.0, radius}};
    canvas_->FillEllipse(spot, colour, ThinPen(ink));
    if (options_->blackWhite && options_->figure.colourBy == ColourBy::Element)
      DrawPattern(spot, document_->elements[ElementTable::ElementFromLabel(text)].texture);
    const CanvasPoint size = canvas_->TextSize(text);
    canvas_->Text({at.x + 2.0 * radius, at.y + size.y / 2.0}, TextAnchor::BottomLeft, text, ink);
    at.y += line;
  }
  if (mateCodes_.size() > kMostMates) return;
  for (size_t i = 0; i < mateCodes_.size(); ++i) {
    const auto operation = OperatorOfCode(document_->symmetry, mateCodes_[i]);
    if (!operation) continue;
    std::string text = "(" + RomanNumeral(static_cast<int>(i) + 1) + ") ";
    for (const char c : OperatorText(*operation)) text += c == '-' ? "\u2212" : std::string(1, c);
    canvas_->Text({at.x - radius, at.y + canvas_->TextSize(text).y / 2.0}, TextAnchor::BottomLeft, text, ink);
    at.y += line;
  }
}

}  // namespace marvik

#include "draw/canvas/svg_canvas.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "base/numbers.h"
#include "base/vec3.h"

namespace marvik {

namespace {

constexpr double kThinnest = 0.5;  // points

// Two decimals, no needless zeros; what is not finite is drawn at the origin rather than breaking the file.
std::string Number(double v) {
  if (!std::isfinite(v)) return "0";
  std::string s = Printf("%.2f", std::clamp(v, -1e6, 1e6));
  s.erase(s.find_last_not_of('0') + 1);
  if (s.back() == '.') s.pop_back();
  return s == "-0" ? "0" : s;
}

std::string Pair(CanvasPoint p) {
  return Number(p.x) + ' ' + Number(p.y);
}

std::string Colour(Rgb c) {
  return Printf("#%02x%02x%02x", c.r, c.g, c.b);
}

std::string Stroke(const Pen& pen) {
  if (!(pen.width > 0.0)) return " stroke=\"none\"";
  const double width = std::max(pen.width, kThinnest);
  std::string s = std::string(" stroke=\"") + Colour(pen.colour) + "\" stroke-width=\"" + Number(width) + '"';
  if (pen.style == LineStyle::Dashed)
    s += std::string(" stroke-dasharray=\"") + Number(3 * width) + ' ' + Number(2 * width) + '"';
  if (pen.style == LineStyle::Dotted) s += std::string(" stroke-dasharray=\"0 ") + Number(2 * width) + '"';
  return s;
}

// Semi-axes and tilt in degrees of an ellipse given by conjugate half axes.
struct Axes {
  double major;
  double minor;
  double tilt;
};
Axes AxesOf(const EllipseShape& e) {
  // The matrix (p q)(p q)ᵀ has the squared semi-axes as eigenvalues.
  const double xx = e.p.x * e.p.x + e.q.x * e.q.x;
  const double yy = e.p.y * e.p.y + e.q.y * e.q.y;
  const double xy = e.p.x * e.p.y + e.q.x * e.q.y;
  const double mean = (xx + yy) / 2, spread = std::hypot((xx - yy) / 2, xy);
  const double tilt = spread > 1e-9 * mean ? 0.5 * std::atan2(2 * xy, xx - yy) * kDegreesPerRadian : 0.0;
  return {std::sqrt(std::max(mean + spread, 0.0)), std::sqrt(std::max(mean - spread, 0.0)), tilt};
}

// An arc of at most half a turn from where the path stands to the point at t, the way that t grows.
std::string ArcTo(const EllipseShape& shape, double t) {
  const Axes axes = AxesOf(shape);
  const bool clockwise = shape.p.x * shape.q.y - shape.p.y * shape.q.x > 0.0;
  return 'A' + Number(axes.major) + ' ' + Number(axes.minor) + ' ' + Number(axes.tilt) + " 0 " +
         (clockwise ? "1 " : "0 ") + Pair(PointOn(shape, t));
}

// Labels are bytes of a file: what XML cannot hold is left out.
std::string Escaped(std::string_view text) {
  std::string s;
  while (!text.empty()) {
    const std::string_view before = text;
    const char32_t c = TakeCharacter(text);
    const std::string_view bytes = before.substr(0, before.size() - text.size());
    switch (c) {
      case U'&':
        s += "&amp;";
        break;
      case U'<':
        s += "&lt;";
        break;
      case U'>':
        s += "&gt;";
        break;
      case U'"':
        s += "&quot;";
        break;
      default:
        if (c == U'?' || bytes[0] == '?') {
          s += '?';
        } else if (c >= 0x20) {
          s += bytes;
        }
    }
  }
  return s;
}

std::string Points(std::span<const CanvasPoint> points) {
  std::string s;
  for (const CanvasPoint& p : points) s += Number(p.x) + ',' + Number(p.y) + ' ';
  if (!s.empty()) s.pop_back();
  return s;
}

}  // namespace

void SvgCanvas::Clear(Rgb colour) {
  if (frames_ == 0) body_.clear();
  body_ += "<rect width=\"100%\" height=\"100%\" fill=\"" + Colour(colour) + "\"/>\n";
}

void SvgCanvas::Lines(std::span<const LinePiece> pieces, const Pen& pen) {
  if (pieces.empty()) return;
  body_ += std::string("<path") + Stroke(pen) + " d=\"";
  for (const LinePiece& p : pieces) AppendPrintf(body_, "M%d %dL%d %d", p.x1, p.y1, p.x2, p.y2);
  body_ += "\"/>\n";
}

void SvgCanvas::ScaledLines(std::span<const LinePiece> pieces, double scale, const Pen& pen) {
  if (pieces.empty()) return;
  body_ += std::string("<path") + Stroke(pen) + " d=\"";
  for (const LinePiece& p : pieces)
    body_ += 'M' + Pair({p.x1 * scale, p.y1 * scale}) + 'L' + Pair({p.x2 * scale, p.y2 * scale});
  body_ += "\"/>\n";
}

void SvgCanvas::Line(CanvasPoint a, CanvasPoint b, const Pen& pen) {
  body_ += std::string("<path") + Stroke(pen) + " d=\"M" + Pair(a) + 'L' + Pair(b) + "\"/>\n";
}

void SvgCanvas::FillEllipse(const EllipseShape& shape, Rgb fill, const Pen& outline) {
  const Axes axes = AxesOf(shape);
  const std::string place = std::string(" cx=\"") + Number(shape.centre.x) + "\" cy=\"" + Number(shape.centre.y) + '"';
  const std::string paint = std::string(" fill=\"") + Colour(fill) + '"' + Stroke(outline);
  if (axes.major - axes.minor < 0.005) {
    body_ += std::string("<circle") + place + " r=\"" + Number(axes.major) + '"' + paint + "/>\n";
    return;
  }
  body_ += std::string("<ellipse") + place + " rx=\"" + Number(axes.major) + "\" ry=\"" + Number(axes.minor) +
           "\" transform=\"rotate(" + Number(axes.tilt) + ' ' + Pair(shape.centre) + ")\"" + paint + "/>\n";
}

void SvgCanvas::Arc(const EllipseShape& shape, double t0, double t1, const Pen& pen) {
  const double turn = std::min(t1 - t0, 2 * std::numbers::pi);
  // Two halves, so that no arc is a full turn, which SVG cannot say.
  body_ += std::string("<path") + Stroke(pen) + " d=\"M" + Pair(PointOn(shape, t0)) + ArcTo(shape, t0 + turn / 2) +
           ArcTo(shape, t0 + turn) + "\"/>\n";
}

void SvgCanvas::FillSector(const EllipseShape& shape, double t0, double t1, Rgb fill) {
  body_ += std::string("<path fill=\"") + Colour(fill) + "\" d=\"M" + Pair(shape.centre) + 'L' +
           Pair(PointOn(shape, t0)) + ArcTo(shape, (t0 + t1) / 2) + ArcTo(shape, t1) + "Z\"/>\n";
}

void SvgCanvas::Polygon(std::span<const CanvasPoint> points, Rgb fill, const Pen& outline) {
  body_ +=
      std::string("<polygon fill=\"") + Colour(fill) + '"' + Stroke(outline) + " points=\"" + Points(points) + "\"/>\n";
}

void SvgCanvas::Facet(std::span<const CanvasPoint> points, Rgb fill, double opacity, const Pen& outline) {
  body_ += "<polygon fill=\"" + Colour(fill) + "\" fill-opacity=\"" + Number(opacity) + '"' + Stroke(outline) +
           " points=\"" + Points(points) + "\"/>\n";
}

void SvgCanvas::Polyline(std::span<const CanvasPoint> points, const Pen& pen) {
  body_ += std::string("<polyline") + Stroke(pen) + " points=\"" + Points(points) + "\"/>\n";
}

void SvgCanvas::Text(CanvasPoint at, TextAnchor anchor, std::string_view text, const TextLook& look) {
  // The base line stands above the bottom of the text box by the font's descent.
  const double base =
      anchor == TextAnchor::Centre ? at.y + (font_.Ascent() - font_.Descent()) / 2 : at.y - font_.Descent();
  body_ += "<text x=\"" + Number(at.x) + "\" y=\"" + Number(base) + "\" fill=\"" + Colour(look.colour) + '"';
  if (look.rim > 0.0) {
    body_ += " paint-order=\"stroke\" stroke=\"" + Colour(look.rimColour) + "\" stroke-width=\"" +
             Number(2.0 * look.rim) + '"';
  }
  body_ += (anchor == TextAnchor::Centre ? " text-anchor=\"middle\">" : ">");
  double down = 0.0;
  for (const TextRun& run : RunsOf(text, look.shift)) {
    if (run.text.empty()) continue;
    if (!run.shifted) {
      body_ += Escaped(run.text);
      continue;
    }
    body_ += "<tspan dy=\"" + Number((run.down - down) * font_.Pixels()) + "\" font-size=\"" +
             Number(kShiftedSize * font_.Pixels()) + "\">" + Escaped(run.text) + "</tspan>";
    down = run.down;
  }
  body_ += "</text>\n";
}

CanvasPoint SvgCanvas::TextSize(std::string_view text, const TextShift& shift) {
  return {font_.Width(text, shift), font_.Ascent() + font_.Descent()};
}

void SvgCanvas::BeginGroup(std::string_view name) {
  const std::string id = TakeId(name);
  body_ += "<g id=\"" + id + "\">\n";
  if (id != name) body_ += "<title>" + Escaped(name) + "</title>\n";
}

// XML allows each id once, and of ASCII letters, digits and few marks only.
std::string SvgCanvas::TakeId(std::string_view name) {
  std::string id;
  for (const char c : name) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
    const bool other = (c >= '0' && c <= '9') || c == '-' || c == '.';
    if (id.empty() && !letter) id = "_";
    id += letter || other ? c : '_';
  }
  if (id.empty()) id = "_";
  const std::string first = id;
  for (int& count = idCounts_[first]; !ids_.insert(id).second;) id = first + '.' + std::to_string(++count + 1);
  return id;
}

void SvgCanvas::EndGroup() {
  body_ += "</g>\n";
}

void SvgCanvas::BeginFrame(CanvasPoint corner, CanvasPoint size, CanvasPoint origin) {
  ++frames_;
  body_ += "<svg x=\"" + Number(corner.x) + "\" y=\"" + Number(corner.y) + "\" width=\"" + Number(size.x) +
           "\" height=\"" + Number(size.y) + "\" viewBox=\"" + Pair(origin) + ' ' + Pair(size) + "\">\n";
}

void SvgCanvas::EndFrame() {
  --frames_;
  body_ += "</svg>\n";
}

std::string SvgCanvas::Document() const {
  const std::string side = Number(side_);
  const std::string height = Number(height_);
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" "
         "width=\"" +
         side + "pt\" height=\"" + height + "pt\" viewBox=\"0 " + Number(top_) + ' ' + side + ' ' + height + "\">\n" +
         "<g fill=\"none\" stroke-linecap=\"round\" stroke-linejoin=\"round\" font-family=\"Arial, Liberation Sans, "
         "Helvetica, sans-serif\" font-size=\"" +
         Number(font_.Pixels()) + "\">\n" + body_ + "</g>\n</svg>\n";
}

}  // namespace marvik

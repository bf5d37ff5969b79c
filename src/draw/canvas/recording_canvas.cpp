#include "draw/canvas/recording_canvas.h"

#include <cmath>

#include "base/numbers.h"

namespace marvik {

namespace {

std::string Number(double v) {
  if (!std::isfinite(v)) return "nan";
  std::string s = Printf("%.3f", v);
  s.erase(s.find_last_not_of('0') + 1);
  if (s.back() == '.') s.pop_back();
  return s == "-0" ? "0" : s;
}

std::string Place(CanvasPoint p) {
  return Number(p.x) + ' ' + Number(p.y);
}

std::string Colour(Rgb c) {
  return Printf("#%02x%02x%02x", c.r, c.g, c.b);
}

std::string Stroke(const Pen& pen) {
  constexpr const char* kStyles[] = {"", " dashed", " dotted"};
  return Colour(pen.colour) + " w" + Number(pen.width) + kStyles[static_cast<int>(pen.style)];
}

std::string Outline(const Pen& pen) {
  return pen.width > 0.0 ? " outline " + Stroke(pen) : std::string();
}

std::string Shape(const EllipseShape& e) {
  return Place(e.centre) + " p " + Place(e.p) + " q " + Place(e.q);
}

std::string Places(std::span<const CanvasPoint> points) {
  std::string s;
  for (const CanvasPoint& p : points) s += (s.empty() ? "" : ", ") + Place(p);
  return s;
}

}  // namespace

void RecordingCanvas::Clear(Rgb colour) {
  text_ += "clear " + Colour(colour) + '\n';
}

void RecordingCanvas::Lines(std::span<const LinePiece> pieces, const Pen& pen) {
  for (const LinePiece& p : pieces) {
    AppendPrintf(text_, "piece %d %d %d %d %s\n", p.x1, p.y1, p.x2, p.y2, Stroke(pen).c_str());
  }
}

void RecordingCanvas::Line(CanvasPoint a, CanvasPoint b, const Pen& pen) {
  text_ += "line " + Place(a) + ' ' + Place(b) + ' ' + Stroke(pen) + '\n';
}

void RecordingCanvas::FillEllipse(const EllipseShape& shape, Rgb fill, const Pen& outline) {
  text_ += "ellipse " + Shape(shape) + ' ' + Colour(fill) + Outline(outline) + '\n';
}

void RecordingCanvas::DiscStack(CanvasPoint centre, std::span<const Disc> discs) {
  for (const Disc& disc : discs) {
    text_ += "disc " + Place({centre.x + disc.offset.x, centre.y + disc.offset.y}) + " r " + Number(disc.radius) + ' ' +
             Colour(disc.colour) + '\n';
  }
}

void RecordingCanvas::Arc(const EllipseShape& shape, double t0, double t1, const Pen& pen) {
  text_ += "arc " + Shape(shape) + " from " + Number(t0) + " to " + Number(t1) + ' ' + Stroke(pen) + '\n';
}

void RecordingCanvas::Polygon(std::span<const CanvasPoint> points, Rgb fill, const Pen& outline) {
  text_ += "polygon " + Places(points) + ' ' + Colour(fill) + Outline(outline) + '\n';
}

void RecordingCanvas::Polyline(std::span<const CanvasPoint> points, const Pen& pen) {
  text_ += "polyline " + Places(points) + ' ' + Stroke(pen) + '\n';
}

void RecordingCanvas::Text(CanvasPoint at, TextAnchor anchor, std::string_view text, const TextLook& look) {
  text_ += "text " + Place(at) + (anchor == TextAnchor::Centre ? " centre " : " left ") + Colour(look.colour) + ' ';
  text_ += text;
  text_ += '\n';
}

CanvasPoint RecordingCanvas::TextSize(std::string_view text, const TextShift& /*shift*/) {
  return {6.0 * static_cast<double>(text.size()), 10.0};
}

void RecordingCanvas::BeginGroup(std::string_view name) {
  text_ += "begin ";
  text_ += name;
  text_ += '\n';
}

void RecordingCanvas::EndGroup() {
  text_ += "end\n";
}

int RecordingCanvas::Count(std::string_view word) const {
  int count = 0;
  std::string_view rest = text_;
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    if (line.starts_with(word) && (line.size() == word.size() || line[word.size()] == ' ')) ++count;
    rest.remove_prefix(line.size() + 1);
  }
  return count;
}

}  // namespace marvik

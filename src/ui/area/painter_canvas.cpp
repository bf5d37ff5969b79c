#include "ui/area/painter_canvas.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <cmath>

#include "base/vec3.h"
#include "draw/labels/label_font.h"
#include "ui/text.h"

namespace marvik {
namespace {

QColor ColourOf(Rgb c) {
  return {c.r, c.g, c.b};
}

QPointF PointOf(CanvasPoint p) {
  return std::isfinite(p.x) && std::isfinite(p.y) ? QPointF(p.x, p.y) : QPointF();
}

QPen PenOf(const Pen& pen) {
  if (!(pen.width > 0.0)) return QPen(Qt::NoPen);
  QPen result(ColourOf(pen.colour), pen.width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
  // In widths; round caps add one to each dash.
  if (pen.style == LineStyle::Dashed) result.setDashPattern({3.0, 2.0});
  if (pen.style == LineStyle::Dotted) result.setDashPattern({0.01, 2.0});
  return result;
}

// The toolkit counts degrees against our sense, whose y runs down.
QPainterPath ArcPath(const EllipseShape& e, double t0, double t1, bool wedge) {
  const QRectF circle(-1.0, -1.0, 2.0, 2.0);
  QPainterPath path;
  if (!wedge) path.arcMoveTo(circle, -t0 * kDegreesPerRadian);
  path.arcTo(circle, -t0 * kDegreesPerRadian, -(t1 - t0) * kDegreesPerRadian);
  if (wedge) path.closeSubpath();
  const QPointF centre = PointOf(e.centre);
  return QTransform(e.p.x, e.p.y, e.q.x, e.q.y, centre.x(), centre.y()).map(path);
}

QPolygonF PolygonOf(std::span<const CanvasPoint> points) {
  QPolygonF polygon;
  for (const CanvasPoint& p : points) polygon << PointOf(p);
  return polygon;
}

// The face that the other kinds of pictures take.
QString LabelFamily() {
  static const QString family = [] {
    const int id = QFontDatabase::addApplicationFont(PathToText(FindSansFontFile()));
    const QStringList families = id >= 0 ? QFontDatabase::applicationFontFamilies(id) : QStringList();
    return families.isEmpty() ? QStringLiteral("Arial") : families.constFirst();
  }();
  return family;
}

}  // namespace

PainterCanvas::PainterCanvas(QPainter& painter, int labelSize) : painter_(painter), font_(LabelFamily()) {
  font_.setPixelSize(labelSize);
  font_.setHintingPreference(QFont::PreferNoHinting);
}

void PainterCanvas::Draw(const QPainterPath& path, const Pen& pen) {
  painter_.strokePath(path, PenOf(pen));
}

void PainterCanvas::Fill(const QPainterPath& path, Rgb fill, const Pen& outline) {
  painter_.setPen(PenOf(outline));
  painter_.setBrush(ColourOf(fill));
  painter_.drawPath(path);
}

void PainterCanvas::Lines(std::span<const LinePiece> pieces, const Pen& pen) {
  QList<QLineF> lines;
  for (const LinePiece& p : pieces) lines << QLineF(p.x1, p.y1, p.x2, p.y2);
  painter_.setPen(PenOf(pen));
  painter_.drawLines(lines);
}

void PainterCanvas::Line(CanvasPoint a, CanvasPoint b, const Pen& pen) {
  painter_.setPen(PenOf(pen));
  painter_.drawLine(PointOf(a), PointOf(b));
}

void PainterCanvas::FillEllipse(const EllipseShape& shape, Rgb fill, const Pen& outline) {
  QPainterPath path = ArcPath(shape, 0.0, 360.0 / kDegreesPerRadian, false);
  path.closeSubpath();
  Fill(path, fill, outline);
}

void PainterCanvas::Arc(const EllipseShape& shape, double t0, double t1, const Pen& pen) {
  Draw(ArcPath(shape, t0, t1, false), pen);
}

void PainterCanvas::FillSector(const EllipseShape& shape, double t0, double t1, Rgb fill) {
  Fill(ArcPath(shape, t0, t1, true), fill, Pen{fill, 0.0, LineStyle::Solid});
}

void PainterCanvas::Polygon(std::span<const CanvasPoint> points, Rgb fill, const Pen& outline) {
  painter_.setPen(PenOf(outline));
  painter_.setBrush(ColourOf(fill));
  painter_.drawPolygon(PolygonOf(points));
}

void PainterCanvas::Polyline(std::span<const CanvasPoint> points, const Pen& pen) {
  painter_.setPen(PenOf(pen));
  painter_.drawPolyline(PolygonOf(points));
}

void PainterCanvas::Text(CanvasPoint at, TextAnchor anchor, std::string_view text, const TextLook& look) {
  const QFontMetricsF metrics(font_);
  const bool centred = anchor == TextAnchor::Centre;
  const QPointF shift = centred ? QPointF(-TextSize(text, look.shift).x / 2, (metrics.ascent() - metrics.descent()) / 2)
                                : QPointF(0.0, -metrics.descent());
  QPainterPath letters;
  QPointF pen = PointOf(at) + shift;
  bool plain = true;
  for (const TextRun& run : RunsOf(text, look.shift)) {
    if (run.text.empty()) continue;
    const QFont font = run.shifted ? ShiftedFont() : font_;
    letters.addText(pen + QPointF(0.0, run.down * font_.pixelSize()), font, ToText(run.text));
    pen.rx() += QFontMetricsF(font).horizontalAdvance(ToText(run.text));
    plain = plain && !run.shifted;
  }
  if (look.rim > 0.0) Draw(letters, {look.rimColour, 2.0 * look.rim, LineStyle::Solid});
  if (plain) {
    painter_.setFont(font_);
    painter_.setPen(ColourOf(look.colour));
    painter_.drawText(PointOf(at) + shift, ToText(text));
  } else {
    painter_.fillPath(letters, ColourOf(look.colour));
  }
}

QFont PainterCanvas::ShiftedFont() const {
  QFont font = font_;
  font.setPixelSize(std::max(1, static_cast<int>(std::lround(kShiftedSize * font_.pixelSize()))));
  return font;
}

CanvasPoint PainterCanvas::TextSize(std::string_view text, const TextShift& shift) {
  const QFontMetricsF metrics(font_);
  double width = 0.0;
  for (const TextRun& run : RunsOf(text, shift)) {
    if (!run.text.empty())
      width += QFontMetricsF(run.shifted ? ShiftedFont() : font_).horizontalAdvance(ToText(run.text));
  }
  return {width, metrics.ascent() + metrics.descent()};
}

}  // namespace marvik

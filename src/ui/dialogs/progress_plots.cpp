#include "ui/dialogs/progress_plots.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>

namespace marvik {
namespace {

struct Plot {
  const char* title;
  std::optional<double> CyclePoint::*value;
  int digits;
};
constexpr Plot kPlots[] = {
    {"wR2", &CyclePoint::wR2, 4},
    {"R1", &CyclePoint::r1, 4},
    {"GooF", &CyclePoint::goof, 3},
    {"Largest shift, Å", &CyclePoint::shift, 4},
};
constexpr int kGap = 8;
constexpr qreal kDot = 2.5;

// Known values with the cycle they belong to.
std::vector<std::pair<size_t, double>> ValuesOf(const std::vector<CyclePoint>& points, const Plot& plot) {
  std::vector<std::pair<size_t, double>> values;
  for (size_t i = 0; i < points.size(); ++i) {
    if (const auto& value = points[i].*plot.value) values.emplace_back(i, *value);
  }
  return values;
}

void DrawCurve(QPainter& painter, const QRectF& box, const std::vector<std::pair<size_t, double>>& values,
               size_t cycles, const QColor& colour) {
  double top = 0.0;
  for (const auto& value : values) top = std::max(top, value.second);
  if (!(top > 0.0)) top = 1.0;
  const double steps = std::max<double>(1.0, static_cast<double>(cycles) - 1.0);
  QPolygonF line;
  for (const auto& [cycle, value] : values) {
    line << QPointF(box.left() + box.width() * static_cast<double>(cycle) / steps,
                    box.bottom() - box.height() * std::clamp(value / top, 0.0, 1.0));
  }
  painter.setPen(QPen(colour, 1.5));
  painter.drawPolyline(line);
  painter.setPen(Qt::NoPen);
  painter.setBrush(colour);
  for (const QPointF& point : line) painter.drawEllipse(point, kDot, kDot);
  painter.setBrush(Qt::NoBrush);
}

}  // namespace

ProgressPlots::ProgressPlots(QWidget* parentWidget) : QWidget(parentWidget) {
  setMinimumSize(sizeHint().width() / 4, sizeHint().height() / 2);
}

QSize ProgressPlots::sizeHint() const {
  const int line = fontMetrics().height();
  return {line * 42, line * 7};
}

void ProgressPlots::SetPoints(const std::vector<CyclePoint>& points) {
  if (points.size() == points_.size() && points.empty()) return;
  points_ = points;
  update();
}

void ProgressPlots::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const int count = static_cast<int>(std::size(kPlots));
  const int width = (this->width() - (count - 1) * kGap) / count;
  const int line = fontMetrics().height();
  for (int i = 0; i < count; ++i) {
    const Plot& plot = kPlots[i];
    const QRectF frame(i * (width + kGap) + 0.5, line + 2.5, width - 1, height() - line - 4);
    painter.fillRect(frame, palette().base());
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(frame);
    painter.setPen(palette().color(QPalette::WindowText));
    const QRectF caption(frame.left(), 0, frame.width(), line);
    painter.drawText(caption, Qt::AlignLeft, QString::fromUtf8(plot.title));
    const auto values = ValuesOf(points_, plot);
    if (values.empty()) continue;
    const QString now = QString::number(values.back().second, 'f', plot.digits);
    const QFontMetrics letters = painter.fontMetrics();
    if (letters.horizontalAdvance(QString::fromUtf8(plot.title) + QLatin1Char(' ') + now) <= width)
      painter.drawText(caption, Qt::AlignRight, now);
    DrawCurve(painter, frame.adjusted(5, 6, -5, -4), values, points_.size(), palette().color(QPalette::Highlight));
  }
}

}  // namespace marvik

#include "ui/dialogs/refinement/progress_plots.h"

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

ProgressPlots::ProgressPlots(QWidget* parentWidget, int columns) : QWidget(parentWidget), columns_(columns) {
  setMinimumSize(sizeHint().width() / 4, sizeHint().height() / 2);
}

std::vector<size_t> ProgressPlots::Known() const {
  std::vector<size_t> known;
  for (size_t i = 0; i < std::size(kPlots); ++i)
    if (columns_ == kAll || !ValuesOf(points_, kPlots[i]).empty()) known.push_back(i);
  return known;
}

int ProgressPlots::Rows() const {
  return std::max(1, (static_cast<int>(Known().size()) + columns_ - 1) / columns_);
}

QSize ProgressPlots::sizeHint() const {
  const int line = fontMetrics().height();
  return columns_ == kAll ? QSize(line * 42, line * 7) : QSize(line * 12, line * 5 * Rows());
}

void ProgressPlots::SetPoints(const std::vector<CyclePoint>& points) {
  if (points.size() == points_.size() && points.empty()) return;
  points_ = points;
  if (columns_ != kAll) setMinimumHeight(sizeHint().height());
  updateGeometry();
  update();
}

void ProgressPlots::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const std::vector<size_t> known = Known();
  const int columns = std::max(1, std::min(columns_, static_cast<int>(known.size())));
  const int width = (this->width() - (columns - 1) * kGap) / columns;
  const int height = this->height() / Rows();
  const int line = fontMetrics().height();
  for (int i = 0; i < static_cast<int>(known.size()); ++i) {
    const Plot& plot = kPlots[known[static_cast<size_t>(i)]];
    const int top = i / columns * height;
    const QRectF frame(i % columns * (width + kGap) + 0.5, top + line + 2.5, width - 1, height - line - 4);
    painter.fillRect(frame, palette().base());
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(frame);
    painter.setPen(palette().color(QPalette::WindowText));
    const QRectF caption(frame.left(), top, frame.width(), line);
    const QFontMetrics letters = painter.fontMetrics();
    painter.drawText(
        caption, Qt::AlignLeft,
        letters.elidedText(QString::fromUtf8(plot.title), Qt::ElideRight, static_cast<int>(frame.width())));
    const auto values = ValuesOf(points_, plot);
    if (values.empty()) continue;
    const QString now = QString::number(values.back().second, 'f', plot.digits);
    if (letters.horizontalAdvance(QString::fromUtf8(plot.title) + QLatin1Char(' ') + now) <= width)
      painter.drawText(caption, Qt::AlignRight, now);
    DrawCurve(painter, frame.adjusted(5, 6, -5, -4), values, points_.size(), palette().color(QPalette::Highlight));
  }
}

}  // namespace marvik

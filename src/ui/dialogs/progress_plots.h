#pragma once

#include <QWidget>
#include <vector>

#include "run/progress_curve.h"

namespace marvik {

// Four small curves against the cycle: wR2, R1, goodness of fit and the largest shift.
class ProgressPlots : public QWidget {
  Q_OBJECT

 public:
  explicit ProgressPlots(QWidget* parentWidget);
  void SetPoints(const std::vector<CyclePoint>& points);
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::vector<CyclePoint> points_;
};

}  // namespace marvik

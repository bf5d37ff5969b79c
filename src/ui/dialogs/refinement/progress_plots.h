#pragma once

#include <QWidget>
#include <vector>

#include "run/progress_curve.h"

namespace marvik {

// Small curves against the cycle: wR2, R1, goodness of fit and the largest shift. Four stand side by side from the
// beginning; in fewer columns there are only those of which something is known, in as many rows as they need.
class ProgressPlots : public QWidget {
  Q_OBJECT

 public:
  static constexpr int kAll = 4;
  explicit ProgressPlots(QWidget* parentWidget, int columns = kAll);
  void SetPoints(const std::vector<CyclePoint>& points);
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::vector<size_t> Known() const;
  int Rows() const;

  std::vector<CyclePoint> points_;
  int columns_;
};

}  // namespace marvik

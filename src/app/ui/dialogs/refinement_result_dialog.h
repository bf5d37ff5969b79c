#pragma once

#include <QDialog>

#include "app/refine_report.h"

class QCheckBox;
class QDoubleSpinBox;
class QTreeWidget;

namespace marvik {

// When the table of what a refinement did is left out and its result accepted at once.
struct ResultSkipping {
  bool on = true;
  double below = 0.001;  // Å: the largest shift that counts as nothing
};

// Whether a result is so plain that nobody need look at it.
bool MaySkipResult(const RefinementReport& report, const ResultSkipping& skipping);

// "Refinement Result": figures of merit old and new, what moved, and the new peaks. Accepted or rejected (Discard).
class RefinementResultDialog : public QDialog {
  Q_OBJECT

 public:
  RefinementResultDialog(QWidget* parentWidget, const RefinementReport& report, const ResultSkipping& skipping);
  ResultSkipping Skipping() const;

 private:
  QWidget* Figures(const RefinementReport& report);
  QTreeWidget* AtomTable(const ModelChanges& changes);
  QTreeWidget* PeakTable(const ModelChanges& changes);

  QCheckBox* skip_ = nullptr;
  QDoubleSpinBox* below_ = nullptr;
};

}  // namespace marvik

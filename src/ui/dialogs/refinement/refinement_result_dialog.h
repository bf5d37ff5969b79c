#pragma once

#include <QDialog>

#include "app/refinement/refine_report.h"

class QCheckBox;
class QDoubleSpinBox;
class QTreeWidget;

namespace marvik {

// "Refinement Result": figures of merit old and new, what moved, and the new peaks. Accepted or rejected (Discard).
class RefinementResultDialog : public QDialog {
  Q_OBJECT

 public:
  RefinementResultDialog(QWidget* parentWidget, const RefinementReport& report, const ResultSkipping& skipping);
  ResultSkipping Skipping() const;

  void reject() override;

 private:
  QWidget* Figures(const RefinementReport& report);
  QTreeWidget* AtomTable(const ModelChanges& changes);
  QTreeWidget* PeakTable(const ModelChanges& changes);
  // With pages for restraints and diagnosis where there are some.
  QWidget* Pages(const RefinementReport& report);

  QCheckBox* skip_ = nullptr;
  QDoubleSpinBox* below_ = nullptr;
};

}  // namespace marvik

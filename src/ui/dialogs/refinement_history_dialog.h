#pragma once

#include <QDialog>
#include <vector>

#include "run/job_files.h"

class QTreeWidget;

namespace marvik {

// "Refinement History": the accepted steps of the job, the latest first; each can be looked at and gone back to.
class RefinementHistoryDialog : public QDialog {
  Q_OBJECT

 public:
  RefinementHistoryDialog(QWidget* parentWidget, std::vector<RefinementStep> steps);
  // The chosen step.
  int Number() const;

 private:
  void Look();

  std::vector<RefinementStep> steps_;
  QTreeWidget* table_ = nullptr;
};

}  // namespace marvik

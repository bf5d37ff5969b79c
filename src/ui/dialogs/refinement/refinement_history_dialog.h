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
  // The argument of a comparison when that was wanted: of two chosen steps, or of one with the structure as it is.
  const std::string& Comparison() const { return comparison_; }

 private:
  void Look();
  void Compare();

  std::vector<RefinementStep> steps_;
  std::string comparison_;
  QTreeWidget* table_ = nullptr;
};

}  // namespace marvik

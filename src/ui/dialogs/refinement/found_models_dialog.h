#pragma once

#include <QDialog>
#include <functional>

#include "app/refinement/solve_flow.h"

class QTreeWidget;

namespace marvik {

// The models of a solution or completion in a table, to choose one from; the one that the cursor is on is shown in the
// window.
class FoundModelsDialog : public QDialog {
  Q_OBJECT

 public:
  FoundModelsDialog(QWidget* parentWidget, const FoundModels& found, std::function<void(size_t row)> show);
  // The row that was chosen; the result of the dialog says whether one was.
  size_t Row() const;

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  QTreeWidget* table_ = nullptr;
};

}  // namespace marvik

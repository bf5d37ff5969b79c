#pragma once

#include <QColor>
#include <QObject>
#include <QString>
#include <vector>

#include "app/workbench.h"
#include "edit/edit_fields.h"
#include "edit/edit_fragment.h"

namespace marvik {

class DrawingArea;

// Draws a fragment over the picture as it would lie on the selected atoms, for as long as this lives.
class GhostMarks : public QObject {
  Q_OBJECT

 public:
  GhostMarks(Workbench& bench, DrawingArea& area, std::vector<GroupShape> library);
  ~GhostMarks() override;

  // By the arguments of the command; in words how well it fits, or why it does not.
  QString Show(const EditArguments& arguments);

 private:
  struct Ball {
    Cartesian position;
    QColor colour;
    double bondRadius;  // Å
  };
  void Paint();

  Workbench& bench_;
  DrawingArea& area_;
  const std::vector<GroupShape> library_;
  std::vector<Ball> balls_;
};

}  // namespace marvik

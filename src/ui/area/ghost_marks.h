#pragma once

#include <QColor>
#include <QObject>
#include <QString>
#include <functional>
#include <vector>

#include "app/workbench.h"
#include "edit/edit_fields.h"
#include "edit/edit_fragment.h"

namespace marvik {

class DrawingArea;

struct GhostBall {
  Cartesian position;
  const ElementInfo* element = nullptr;
  int part = 0;  // no bonds between two PARTs
};
// What a command would put into the picture by these arguments; in words what that is, or why there is nothing.
using GhostPreview = std::function<QString(const EditArguments& arguments, std::vector<GhostBall>& balls)>;
// A fragment of the library on the selected atoms, and the parts of a split where they are not where the atoms are now.
GhostPreview FragmentPreview(const Workbench& bench, std::vector<GroupShape> library);
GhostPreview SplitPreview(const Workbench& bench);

// Draws that over the picture, for as long as this lives.
class GhostMarks : public QObject {
  Q_OBJECT

 public:
  GhostMarks(DrawingArea& area, GhostPreview preview);
  ~GhostMarks() override;

  QString Show(const EditArguments& arguments);

 private:
  void Paint();

  DrawingArea& area_;
  const GhostPreview preview_;
  std::vector<GhostBall> balls_;
};

}  // namespace marvik

#pragma once

#include <QObject>
#include <optional>
#include <vector>

#include "ui/seen_state.h"

namespace marvik {

class DrawingArea;

// The restraints of the model drawn over the picture: a line between two atoms, rings around one or more. Blue within
// one standard uncertainty of the target, green within two, orange within three, red beyond.
class RestraintMarks : public QObject {
  Q_OBJECT

 public:
  RestraintMarks(Workbench& bench, DrawingArea& area);

 private:
  struct Mark {
    std::vector<uint32_t> serials;
    double strain = 0.0;  // deviation from the target in standard uncertainties
  };
  void Paint();
  void Update();

  Workbench& bench_;
  DrawingArea& area_;
  std::vector<Mark> marks_;  // of the state of the document below; the most strained last
  SeenState seen_;
};

}  // namespace marvik

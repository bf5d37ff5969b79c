#pragma once

#include <QObject>
#include <vector>

#include "app/measures.h"
#include "ui/seen_state.h"

namespace marvik {

class DrawingArea;

// What is measured, drawn over the picture: a dashed line through the atoms and the value beside its middle.
class MeasureMarks : public QObject {
  Q_OBJECT

 public:
  MeasureMarks(Workbench& bench, DrawingArea& area);

 private:
  struct Site {
    uint32_t serial;
    int32_t symmetryCode;
  };
  struct Mark {
    std::vector<Site> sites;
    std::string text;
  };
  void Paint();
  void Update();
  const AtomRecord* Shown(const Site& site) const;

  Workbench& bench_;
  DrawingArea& area_;
  std::vector<Mark> marks_;  // of the state of the document below
  SeenState seen_;
};

}  // namespace marvik

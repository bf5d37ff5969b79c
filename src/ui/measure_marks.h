#pragma once

#include <QObject>
#include <vector>

#include "app/measures.h"

namespace marvik {

class DrawingArea;

// What is measured, drawn over the picture: a dashed line through the atoms and the value beside its middle.
class MeasureMarks : public QObject {
  Q_OBJECT

 public:
  MeasureMarks(Workbench& bench, DrawingArea& area);

 private:
  void Paint();
  const AtomRecord* Shown(const GeometrySite& site) const;

  Workbench& bench_;
  DrawingArea& area_;
  std::vector<Measure> measures_;  // of the state of the document below
  unsigned changes_ = ~0u;
  std::string file_;
};

}  // namespace marvik

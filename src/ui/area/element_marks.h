#pragma once

#include <QObject>
#include <map>
#include <optional>

#include "check/model_trials.h"
#include "ui/area/seen_state.h"

namespace marvik {

class DrawingArea;

// Badges beside atoms whose electrons are those of another element. They are worked out off the window's thread.
class ElementMarks : public QObject {
  Q_OBJECT

 public:
  ElementMarks(Workbench& bench, DrawingArea& area);

 private:
  void Paint();
  void Update();

  Workbench& bench_;
  DrawingArea& area_;
  std::map<uint32_t, std::string> symbols_;  // by serial, of the state of the document below
  SeenState seen_;
};

}  // namespace marvik

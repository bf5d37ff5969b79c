#pragma once

#include <QObject>
#include <QPointF>
#include <string>
#include <vector>

#include "app/workbench.h"
#include "chem/hanging_contacts.h"
#include "ui/area/seen_state.h"

namespace marvik {

class DrawingArea;

// Where hydrogen bonds and short contacts are drawn: those to atoms that the picture does not show, dashed, with a ring
// at the end that a click grows from.
class ContactStubs : public QObject {
  Q_OBJECT

 public:
  ContactStubs(Workbench& bench, DrawingArea& area);

  // The argument of the command that grows what is there, "" where there is no ring; in coordinates of mouse events.
  std::string At(const QPointF& position) const;

 private:
  struct Stub {
    Cartesian from, to;
    uint32_t source;
    int32_t symmetryCode;
    bool hydrogenBond;
  };
  static std::vector<Stub> StubsOf(const Document& document, bool hydrogenBonds, bool shortContacts);
  bool IsShown(const Stub& stub) const;
  void Update();
  void Paint();

  Workbench& bench_;
  DrawingArea& area_;
  std::vector<Stub> stubs_;
  SeenState seen_;
  size_t shown_ = 0;  // which atoms, and which contacts are wanted
};

}  // namespace marvik

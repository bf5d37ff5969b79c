#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointF>
#include <QTimer>
#include <functional>
#include <vector>

#include "app/commands/command_table.h"
#include "ui/area/atom_keys.h"
#include "ui/area/drawing_area.h"

class QKeyEvent;
class QMouseEvent;
class QWheelEvent;

namespace marvik {

// What mouse, keys and touch do in the drawing area:
// left button turns the model (Ctrl moves it, Alt zooms, Ctrl + Alt turns it about the viewing axis), Shift + left
// draws the rubber band, a click without movement selects; the middle button and two fingers move, the wheel and a
// pinch zoom where they are, letters act on the atom under the pointer, the
// right button opens the menu of what it points at. Pending operations: a pick that names an atom for a command.
class InputController : public QObject {
  Q_OBJECT

 public:
  using Runner = std::function<Outcome(int id, const std::string& argument)>;

  // Commands that a gesture stands for go through `run`.
  InputController(Workbench& bench, DrawingArea& area, Runner run);

  // Waits for an atom to be named for a command: a click names one, Enter or a second click on it runs the command with
  // it, Escape gives up. The atom that a context menu is open on stays the command's own.
  void StartPick(int command);
  // What grows at a position, for the clicks that hit nothing else: the argument of the command, "" for nothing.
  void SetContacts(std::function<std::string(const QPointF&)> contacts) { contactAt_ = std::move(contacts); }
  bool PickPending() const { return pick_.command != 0; }
  // Lets drags and arrow keys move the label of the atom that the context menu is open on; Enter runs the command with
  // the new place, Escape puts the label back.
  void StartLabelMove();
  bool LabelPending() const { return label_.atom != 0; }
  // Ends whatever is pending: the pick, the label, the rubber band.
  void CancelPending();

 Q_SIGNALS:
  // Escape while nothing was pending here.
  void Escaped();
  // What lies under the pointer, or what a pending operation waits for.
  void StatusText(const QString& text);
  // The pick is set; it is to be cleared when the menu's command has run.
  void ContextMenuWanted(marvik::MenuKind kind, const QPoint& globalPosition);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  enum class Gesture { None, Pressed, Turning, Band, Moving };
  struct Pick {
    int command = 0;
    uint32_t start = 0;   // the atom of the context menu that the command came from
    uint32_t target = 0;  // the atom that a click has named
  };

  struct LabelMove {
    uint32_t atom = 0;
    float x = 0.0f;  // what the atom's record held before
    float y = 0.0f;
    uint8_t flags = 0;
  };

  void MousePress(const QMouseEvent& event);
  void MouseMove(const QMouseEvent& event);
  void MouseRelease(const QMouseEvent& event);
  void Drag(const QPointF& position, Qt::KeyboardModifiers modifiers);
  void SpinOn();
  void EndGesture();
  void Click(const QPointF& position);
  void ToggleBand(const QRect& band);
  QRect BandTo(const QPointF& position) const;
  void Wheel(const QWheelEvent& event);
  bool NativeGesture(QEvent& event);
  bool Pinch(QEvent& event);
  void ZoomBy(double factor, const QPointF& at);
  void MoveBy(const QPointF& pixels);
  bool KeyPress(const QKeyEvent& event);
  bool ViewKeyPress(const QKeyEvent& event);
  bool AtomKeyPress(const QKeyEvent& event);
  void MakeElements(const AtomKey& key, const std::vector<uint32_t>& serials);
  bool LabelKeyPress(const QKeyEvent& event);
  void DragLabel(int dx, int dy);
  void PlaceLabel(double x, double y);
  void RestoreLabel();
  void Confirm();
  void PickClick(AtomRecord* atom);
  void ShowContextMenu(const QPointF& position);
  void UpdateHover();
  QString PendingText() const;
  AtomRecord* AtomAt(const QPointF& position) const;
  BondRecord* BondAt(const QPointF& position) const;

  Workbench& bench_;
  DrawingArea& area_;
  Runner run_;
  std::function<std::string(const QPointF&)> contactAt_;
  Gesture gesture_ = Gesture::None;
  bool doubleClick_ = false;
  QPointF pressed_;  // where the button went down
  QPointF last_;     // up to where the view has followed the pointer
  Pick pick_;
  LabelMove label_;
  QPointF exactPan_;  // of the view, device pixels
  QPointF hover_;
  bool inside_ = false;
  QTimer hoverTimer_;
  // A view that turns on: pixels a ms, and what has not come to a whole pixel yet.
  QTimer spinTimer_;
  QElapsedTimer sinceDrag_;
  QPointF spin_;
  QPointF spun_;
};

}  // namespace marvik

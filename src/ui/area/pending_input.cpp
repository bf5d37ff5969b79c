// What waits for more of the user: the target of a command, the place of a label.
#include <QKeyEvent>
#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "ui/area/input_controller.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr double kLabelStep = 0.0025;  // view units for each pixel of a drag
constexpr double kLabelReach = 0.5;

struct LabelKeyRow {
  int key;
  double dx;  // view units
  double dy;
};
constexpr LabelKeyRow kLabelKeys[] = {
    {Qt::Key_Left, -0.005, 0.0},
    {Qt::Key_Right, 0.005, 0.0},
    {Qt::Key_Up, 0.0, 0.005},
    {Qt::Key_Down, 0.0, -0.01},
};

}  // namespace

void InputController::StartPick(int command) {
  CancelPending();
  const AtomRecord* start = bench_.PickedAtom();
  pick_ = {command, start ? start->serial : 0, 0};
  area_.SetMarks(pick_.start, 0);
  area_.setCursor(Qt::CrossCursor);
  area_.setFocus();
  Q_EMIT StatusText(PendingText());
}

void InputController::CancelPending() {
  EndGesture();
  if (!PickPending() && !LabelPending()) return;
  RestoreLabel();
  pick_ = {};
  area_.SetMarks(0, 0);
  area_.unsetCursor();
  Q_EMIT StatusText({});
}

void InputController::PickClick(AtomRecord* atom) {
  if (!atom) return;
  if (atom->serial == pick_.target) return Confirm();
  pick_.target = atom->serial;
  area_.SetMarks(pick_.start, pick_.target);
  Q_EMIT StatusText(PendingText());
}

void InputController::StartLabelMove() {
  CancelPending();
  AtomRecord* atom = bench_.PickedAtom();
  if (!atom) return;
  const CanvasPoint offset = bench_.renderer.LabelOffset(*atom, bench_.view);
  label_ = {atom->serial, atom->labelOffsetX, atom->labelOffsetY, atom->flags2};
  area_.SetMarks(label_.atom, 0);
  area_.setCursor(Qt::SizeAllCursor);
  area_.setFocus();
  PlaceLabel(offset.x, offset.y);
  Q_EMIT StatusText(PendingText());
}

void InputController::PlaceLabel(double x, double y) {
  AtomRecord* atom = bench_.document.atoms.FindSerial(label_.atom);
  if (!atom) return CancelPending();
  atom->labelOffsetX = static_cast<float>(std::clamp(x, -kLabelReach, kLabelReach));
  atom->labelOffsetY = static_cast<float>(std::clamp(y, -kLabelReach, kLabelReach));
  atom->flags2 |= kLabelPlaced;
  area_.Redraw();
}

void InputController::RestoreLabel() {
  AtomRecord* atom = label_.atom ? bench_.document.atoms.FindSerial(label_.atom) : nullptr;
  if (atom) {
    atom->labelOffsetX = label_.x;
    atom->labelOffsetY = label_.y;
    atom->flags2 = label_.flags;
    area_.Redraw();
  }
  label_ = {};
}

// One step for each pixel, as slow movements report them; a step that would go too far is dropped.
void InputController::DragLabel(int dx, int dy) {
  const AtomRecord* atom = bench_.document.atoms.FindSerial(label_.atom);
  if (!atom) return CancelPending();
  const auto moved = [](double offset, int pixels) {
    const double to = offset + pixels * kLabelStep;
    return std::abs(to) <= kLabelReach ? to : offset;
  };
  PlaceLabel(moved(atom->labelOffsetX, dx), moved(atom->labelOffsetY, -dy));
}

bool InputController::LabelKeyPress(const QKeyEvent& event) {
  const auto row = std::ranges::find(kLabelKeys, event.key(), &LabelKeyRow::key);
  const AtomRecord* atom = bench_.document.atoms.FindSerial(label_.atom);
  if (row == std::end(kLabelKeys) || !atom) return false;
  PlaceLabel(atom->labelOffsetX + row->dx, atom->labelOffsetY + row->dy);
  return true;
}

void InputController::Confirm() {
  if (const AtomRecord* atom = label_.atom ? bench_.document.atoms.FindSerial(label_.atom) : nullptr) {
    // Back first, so that the command finds what it is to change, and undo what was there before.
    const std::string place = Printf("#%u %.5f %.5f", label_.atom, atom->labelOffsetX, atom->labelOffsetY);
    CancelPending();
    run_(kPositionLabelCommand, place);
    return;
  }
  const Pick pick = pick_;
  if (!pick.command || !pick.target) return;
  CancelPending();
  if (pick.start) bench_.PickAtom(bench_.document.atoms.FindSerial(pick.start));
  run_(pick.command, Printf("#%u", pick.target));
  bench_.ClearPick();
}

QString InputController::PendingText() const {
  if (LabelPending()) {
    const AtomRecord* atom = bench_.document.atoms.FindSerial(label_.atom);
    return tr("Label of %1: drag it or press arrow keys, Enter keeps the place, Escape puts it back")
        .arg(atom ? ToText(atom->name) : QString());
  }
  const QString name = PlainCommandName(FindCommand(pick_.command)->text);
  const AtomRecord* target = pick_.target ? bench_.document.atoms.FindSerial(pick_.target) : nullptr;
  if (!target) return tr("%1: click the target atom, Escape to leave").arg(name);
  return tr("%1 %2: Enter or a second click confirms, Escape leaves").arg(name, ToText(target->name));
}

}  // namespace marvik

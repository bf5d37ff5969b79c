#include "ui/area/input_controller.h"

#include <QContextMenuEvent>
#include <QGestureEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QNativeGestureEvent>
#include <QPinchGesture>
#include <QWheelEvent>
#include <cmath>
#include <unordered_set>

#include "app/density.h"
#include "base/numbers.h"
#include "draw/view/picking.h"
#include "edit/symmetry_commands.h"
#include "ui/area/atom_keys.h"
#include "ui/area/atom_text.h"
#include "ui/text.h"

namespace marvik {
namespace {

// A press and release within this distance is a click.
constexpr double kClickReach = 3.0;
constexpr double kWheelStep = 120;       // eighths of a degree
constexpr double kAnglePerPixel = 4.0;   // where a touch pad tells no pixels
constexpr double kZoomStep = 11.0 / 12;  // of the radius that is shown; what one step of a zooming drag does
constexpr int kHoverDelay = 20;          // ms
// Of a view that turns on by itself.
constexpr int kSpinFrame = 16;         // ms
constexpr qint64 kSpinGap = 60;        // ms between the last movement and the release of one that is held still
constexpr double kSpinTime = 500.0;    // ms in which it gets slower by a factor of e
constexpr double kSlowestSpin = 0.02;  // pixels a ms

struct KeyRow {
  int key;
  ViewKey view;
  int dx;  // what the key does when Ctrl makes it a movement, pixels
  int dy;
};
constexpr KeyRow kViewKeys[] = {
    {Qt::Key_PageUp, ViewKey::PageUp, 0, -10}, {Qt::Key_PageDown, ViewKey::PageDown, 0, 10},
    {Qt::Key_Home, ViewKey::Home, -10, 0},     {Qt::Key_End, ViewKey::End, 10, 0},
    {Qt::Key_Left, ViewKey::Left, -1, 0},      {Qt::Key_Right, ViewKey::Right, 1, 0},
    {Qt::Key_Up, ViewKey::Up, 0, -1},          {Qt::Key_Down, ViewKey::Down, 0, 1},
    {Qt::Key_Insert, ViewKey::Insert, 0, 0},   {Qt::Key_Delete, ViewKey::Delete, 0, 0},
};

std::vector<uint32_t> SerialsOf(const std::vector<AtomRecord*>& atoms) {
  std::vector<uint32_t> serials;
  for (const AtomRecord* atom : atoms) serials.push_back(atom->serial);
  return serials;
}

}  // namespace

InputController::InputController(Workbench& bench, DrawingArea& area, Runner run)
    : QObject(&area), bench_(bench), area_(area), run_(std::move(run)) {
  area.installEventFilter(this);
  area.grabGesture(Qt::PinchGesture);
  hoverTimer_.setSingleShot(true);
  hoverTimer_.setInterval(kHoverDelay);
  connect(&hoverTimer_, &QTimer::timeout, this, &InputController::UpdateHover);
  spinTimer_.setInterval(kSpinFrame);
  connect(&spinTimer_, &QTimer::timeout, this, &InputController::SpinOn);
}

bool InputController::eventFilter(QObject* watched, QEvent* event) {
  const QEvent::Type type = event->type();
  if (type == QEvent::MouseButtonPress || type == QEvent::KeyPress || type == QEvent::Wheel) spinTimer_.stop();
  switch (type) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
      MousePress(*static_cast<QMouseEvent*>(event));
      return true;
    case QEvent::MouseMove:
      MouseMove(*static_cast<QMouseEvent*>(event));
      return true;
    case QEvent::MouseButtonRelease:
      MouseRelease(*static_cast<QMouseEvent*>(event));
      return true;
    case QEvent::Wheel:
      Wheel(*static_cast<QWheelEvent*>(event));
      return true;
    case QEvent::KeyPress:
      return KeyPress(*static_cast<QKeyEvent*>(event));
    case QEvent::NativeGesture:
      return NativeGesture(*event);
    case QEvent::Gesture:
      return Pinch(*event);
    case QEvent::ContextMenu: {
      const auto& menu = *static_cast<QContextMenuEvent*>(event);
      if (menu.reason() == QContextMenuEvent::Keyboard) ShowContextMenu(inside_ ? hover_ : area_.rect().center());
      return true;
    }
    case QEvent::Leave:
      inside_ = false;
      hoverTimer_.start();
      return false;
    default:
      return QObject::eventFilter(watched, event);
  }
}

void InputController::MousePress(const QMouseEvent& event) {
  if (event.button() == Qt::RightButton) {
    if (gesture_ != Gesture::None) return;
    if (PickPending() || LabelPending()) return CancelPending();
    return ShowContextMenu(event.position());
  }
  if (gesture_ != Gesture::None) return;
  if (event.button() == Qt::LeftButton) gesture_ = Gesture::Pressed;
  doubleClick_ = event.type() == QEvent::MouseButtonDblClick;
  if (event.button() == Qt::MiddleButton) gesture_ = Gesture::Moving;
  pressed_ = last_ = event.position();
  spin_ = QPointF();
  sinceDrag_.start();
}

void InputController::MouseMove(const QMouseEvent& event) {
  const QPointF position = event.position();
  inside_ = true;
  hover_ = position;
  // A menu or a box that came up in between has taken the release.
  if (gesture_ != Gesture::None && !(event.buttons() & (Qt::LeftButton | Qt::MiddleButton))) EndGesture();
  switch (gesture_) {
    case Gesture::None:
      if (!hoverTimer_.isActive()) hoverTimer_.start();
      return;
    case Gesture::Pressed:
      if ((position - pressed_).manhattanLength() <= kClickReach) return;
      gesture_ = event.modifiers() & Qt::ShiftModifier ? Gesture::Band : Gesture::Turning;
      area_.SetPointer(std::nullopt);
      area_.SetDragging(gesture_ == Gesture::Turning && !LabelPending());
      return MouseMove(event);
    case Gesture::Turning:
      return Drag(position, event.modifiers());
    case Gesture::Moving:
      return Drag(position, Qt::ControlModifier);
    case Gesture::Band:
      return area_.SetBand(BandTo(position));
  }
}

// Turning goes by nominal pixels, a degree each, moving by device pixels, so that the model stays under the pointer.
void InputController::Drag(const QPointF& position, Qt::KeyboardModifiers modifiers) {
  if (LabelPending() && gesture_ == Gesture::Turning) {
    const QPoint step = (position - last_).toPoint();
    last_ += step;
    return DragLabel(step.x(), step.y());
  }
  const DragModifiers drag{modifiers.testFlag(Qt::ControlModifier), modifiers.testFlag(Qt::AltModifier)};
  const bool moves = !drag.alt && (drag.control || bench_.view.dragMode == 1);
  const double ratio = moves ? area_.devicePixelRatioF() : 1.0;
  const QPointF delta = (position - last_) * ratio;
  const int dx = static_cast<int>(std::lround(delta.x()));
  const int dy = static_cast<int>(std::lround(delta.y()));
  if (dx == 0 && dy == 0) return;
  last_ += QPointF(dx, dy) / ratio;
  DragView(bench_.view, dx, dy, drag);
  area_.RedrawMoving();
  const bool turns = !moves && !drag.alt;
  const auto time = static_cast<double>(std::max<qint64>(sinceDrag_.restart(), 1));
  spin_ = turns ? spin_ * 0.5 + QPointF(dx, dy) * (0.5 / time) : QPointF();
}

// Turns on as the drag did, ever slower.
void InputController::SpinOn() {
  const auto time = static_cast<double>(sinceDrag_.restart());
  spin_ *= std::exp(-time / kSpinTime);
  spun_ += spin_ * time;
  const QPoint whole(static_cast<int>(spun_.x()), static_cast<int>(spun_.y()));
  spun_ -= whole;
  if (std::hypot(spin_.x(), spin_.y()) < kSlowestSpin || PickPending() || LabelPending()) return spinTimer_.stop();
  if (whole.isNull()) return;
  DragView(bench_.view, whole.x(), whole.y(), {});
  area_.RedrawMoving();
}

void InputController::MouseRelease(const QMouseEvent& event) {
  const Gesture ended = gesture_;
  const auto button = ended == Gesture::Moving ? Qt::MiddleButton : Qt::LeftButton;
  if (ended == Gesture::None || event.button() != button) return;
  const QRect band = ended == Gesture::Band ? BandTo(event.position()) : QRect();
  EndGesture();
  if (ended == Gesture::Turning && bench_.inertia && !LabelPending() && sinceDrag_.isValid() &&
      sinceDrag_.elapsed() < kSpinGap) {
    spun_ = QPointF();
    spinTimer_.start();
  }
  if (ended == Gesture::Pressed) Click(event.position());
  if (ended == Gesture::Band) ToggleBand(band);
  hoverTimer_.start();
}

void InputController::EndGesture() {
  gesture_ = Gesture::None;
  area_.SetDragging(false);
  area_.SetBand({});
}

QRect InputController::BandTo(const QPointF& position) const {
  const QPointF a = area_.ToDevice(pressed_);
  const QPointF b = area_.ToDevice(position);
  return QRect(QPoint(static_cast<int>(std::floor(std::min(a.x(), b.x()))),
                      static_cast<int>(std::floor(std::min(a.y(), b.y())))),
               QPoint(static_cast<int>(std::floor(std::max(a.x(), b.x()))),
                      static_cast<int>(std::floor(std::max(a.y(), b.y())))));
}

void InputController::ToggleBand(const QRect& band) {
  AtomArray& selection = bench_.document.atoms.selection;
  const auto inside = AtomsInRectangle(bench_.document.atoms, band.left(), band.top(), band.right(), band.bottom());
  if (inside.empty()) return;
  // One pass over the selection, however many atoms leave it.
  std::unordered_set<const AtomRecord*> leaving;
  for (const AtomRecord* atom : inside) {
    if (atom->Has(kSelected)) leaving.insert(atom);
  }
  std::vector<AtomRecord*> chosen;
  for (AtomRecord* atom : selection) {
    if (!leaving.contains(atom)) chosen.push_back(atom);
  }
  for (AtomRecord* atom : inside) {
    if (!leaving.contains(atom)) chosen.push_back(atom);
  }
  selection.Clear();
  for (AtomRecord* atom : chosen) selection.Append(atom);
  bench_.Repaint();
}

AtomRecord* InputController::AtomAt(const QPointF& position) const {
  const AtomRecord* atom = area_.HitAt(position).atom;
  return atom ? bench_.document.atoms.FindSerial(atom->serial) : nullptr;
}

BondRecord* InputController::BondAt(const QPointF& position) const {
  const BondRecord* bond = area_.HitAt(position).bond;
  return bond ? bench_.document.atoms.FindBond(bond->owner, bond->partner) : nullptr;
}

void InputController::Click(const QPointF& position) {
  AtomRecord* atom = AtomAt(position);
  if (PickPending()) return PickClick(atom);
  if (LabelPending()) return;
  if (atom) {
    bench_.PickAtom(atom);
    // The second click of two gives the atom back the selection state that it had before the first.
    run_(kSelectPickedAtomCommand, {});
    if (doubleClick_) run_(kRenameAtomCommand, {});
  } else if (BondRecord* bond = BondAt(position)) {
    bench_.PickBond(bond);
    run_(kSelectPickedBondCommand, {});
  } else if (const std::string contact = contactAt_ ? contactAt_(position) : ""; !contact.empty()) {
    run_(FindCommand("grow-contact")->id, contact);
  }
  bench_.ClearPick();
}

void InputController::ShowContextMenu(const QPointF& position) {
  QPointF place = position;
  MenuKind kind = MenuKind::BackgroundPopup;
  if (AtomRecord* atom = AtomAt(position)) {
    bench_.PickAtom(atom);
    kind = MenuKind::AtomPopup;
    place = area_.FromDevice(QPointF(atom->screenX, atom->screenY));
  } else if (BondRecord* bond = BondAt(position)) {
    bench_.PickBond(bond);
    kind = MenuKind::BondPopup;
  }
  Q_EMIT ContextMenuWanted(kind, area_.mapToGlobal(place.toPoint()));
}

void InputController::Wheel(const QWheelEvent& event) {
  // Two fingers move the model; Ctrl makes them zoom, as a wheel does, which with Ctrl sets the level of the density.
  const bool fingers = event.phase() != Qt::NoScrollPhase || event.deviceType() == QInputDevice::DeviceType::TouchPad;
  if (fingers && !(event.modifiers() & Qt::ControlModifier)) {
    const QPointF way = event.pixelDelta().isNull() ? QPointF(event.angleDelta()) / kAnglePerPixel : event.pixelDelta();
    return MoveBy(way * area_.devicePixelRatioF());
  }
  if (event.modifiers() & Qt::ShiftModifier && !fingers && event.angleDelta().y() != 0) {
    const bool up = event.angleDelta().y() > 0;
    const bool moves = event.modifiers() & Qt::ControlModifier;
    run_(moves ? (up ? kClipNearerCommand : kClipFartherCommand) : up ? kClipThickerCommand : kClipThinnerCommand, {});
    return;
  }
  if (event.modifiers() & Qt::ControlModifier && !fingers && event.angleDelta().y() != 0 &&
      CommandChecked(bench_, kDensityCommand)) {
    run_(event.angleDelta().y() > 0 ? kDensityRaiseCommand : kDensityLowerCommand, {});
    return;
  }
  if (event.angleDelta().y() != 0) ZoomBy(std::pow(kZoomStep, event.angleDelta().y() / kWheelStep), event.position());
}

void InputController::MoveBy(const QPointF& pixels) {
  const QPoint before(bench_.view.panX, bench_.view.panY);
  if (exactPan_.toPoint() != before) exactPan_ = before;
  exactPan_ += pixels;
  const QPoint now = exactPan_.toPoint();
  bench_.view.panX = now.x();
  bench_.view.panY = now.y();
  area_.RedrawMoving();
}

bool InputController::NativeGesture(QEvent& event) {
  const auto& gesture = static_cast<QNativeGestureEvent&>(event);
  if (gesture.gestureType() != Qt::ZoomNativeGesture) return false;
  ZoomBy(1.0 / std::clamp(1.0 + gesture.value(), 0.2, 5.0), gesture.position());
  return true;
}

bool InputController::Pinch(QEvent& event) {
  auto* pinch = static_cast<QPinchGesture*>(static_cast<QGestureEvent&>(event).gesture(Qt::PinchGesture));
  if (!pinch) return false;
  // The first finger of the two has started to turn the model.
  if (pinch->state() == Qt::GestureStarted) EndGesture();
  const QPointF middle = area_.mapFromGlobal(pinch->centerPoint());
  if (pinch->changeFlags() & QPinchGesture::CenterPointChanged && pinch->state() != Qt::GestureStarted)
    MoveBy((pinch->centerPoint() - pinch->lastCenterPoint()) * area_.devicePixelRatioF());
  if (pinch->changeFlags() & QPinchGesture::ScaleFactorChanged && pinch->scaleFactor() > 0.0) {
    ZoomBy(1.0 / std::clamp(pinch->scaleFactor(), 0.2, 5.0), middle);
  }
  return true;
}

// What is under the pointer stays there, but in the classic look.
void InputController::ZoomBy(double factor, const QPointF& at) {
  const double before = bench_.view.viewRadius;
  bench_.view.FitView(before * factor, std::nullopt);
  const double larger = before / bench_.view.viewRadius;
  if (bench_.look != Look::Classic && std::isfinite(larger)) {
    const QPointF middle = area_.ToDevice(QPointF(area_.width(), area_.height()) / 2.0);
    const QPoint pan(bench_.view.panX, bench_.view.panY);
    if (exactPan_.toPoint() != pan) exactPan_ = pan;
    MoveBy((area_.ToDevice(at) - middle - exactPan_) * (1.0 - larger));
  }
  area_.RedrawMoving();
  hoverTimer_.start();
}

bool InputController::KeyPress(const QKeyEvent& event) {
  switch (event.key()) {
    case Qt::Key_Escape:
      area_.IgnoreHeldKey();
      if (PickPending() || LabelPending()) {
        CancelPending();
      } else {
        CancelPending();
        Q_EMIT Escaped();
      }
      area_.Redraw();
      return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
      Confirm();
      area_.Redraw();
      return true;
    case Qt::Key_Plus:
    case Qt::Key_Minus:
      run_(event.key() == Qt::Key_Plus ? kZoomInCommand : kZoomOutCommand, {});
      return true;
    default:
      if (LabelPending() && LabelKeyPress(event)) return true;
      return ViewKeyPress(event) || AtomKeyPress(event);
  }
}

// A letter alone acts on the atom under the pointer, else on what is selected; with Shift on their whole fragments.
bool InputController::AtomKeyPress(const QKeyEvent& event) {
  const auto key = std::ranges::find(AtomKeys(), event.key(), &AtomKey::key);
  const bool isWhole = event.modifiers().testFlag(Qt::ShiftModifier);
  if (key == AtomKeys().end() || (event.modifiers() & ~(Qt::KeypadModifier | Qt::ShiftModifier)) || PickPending() ||
      LabelPending())
    return false;
  AtomArray& selection = bench_.document.atoms.selection;
  const std::vector<AtomRecord*> chosen(selection.begin(), selection.end());
  AtomRecord* atom = inside_ ? AtomAt(hover_) : nullptr;
  std::vector<AtomRecord*> targets = atom ? std::vector{atom} : chosen;
  if (isWhole) {
    targets = ConnectedFragments(bench_.document, targets);
    std::erase_if(targets, [](const AtomRecord* target) { return target->IsPeak(); });
  }
  if (targets.empty()) {
    Q_EMIT StatusText(tr("%1: put the pointer on an atom, or select some").arg(tr(key->what)));
  } else if (!key->command) {
    MakeElements(*key, SerialsOf(targets));
  } else if (atom && !isWhole && key->pickedCommand) {
    bench_.PickAtom(atom);
    run_(key->pickedCommand, key->argument);
    bench_.ClearPick();
  } else if (atom || isWhole) {
    // Commands of the selection act on these alone, and what was selected is so again.
    const std::vector<uint32_t> before = SerialsOf(chosen);
    selection.Clear();
    for (AtomRecord* target : targets) selection.Append(target);
    run_(key->command, key->argument);
    AtomArray& now = bench_.document.atoms.selection;
    now.Clear();
    for (const uint32_t serial : before) {
      if (AtomRecord* back = bench_.document.atoms.FindSerial(serial)) now.Append(back);
    }
    bench_.Repaint();
  } else {
    run_(key->command, key->argument);
  }
  hoverTimer_.start();
  return true;
}

// An element goes with the name.
void InputController::MakeElements(const AtomKey& key, const std::vector<uint32_t>& serials) {
  const std::string names = NamesAs(bench_.document, key, serials);
  if (!names.empty()) run_(kRenameAtomCommand, names);
}

bool InputController::ViewKeyPress(const QKeyEvent& event) {
  const auto row = std::ranges::find(kViewKeys, event.key(), &KeyRow::key);
  if (row == std::end(kViewKeys)) return false;
  const bool shift = event.modifiers() & Qt::ShiftModifier;
  if (event.modifiers() & Qt::ControlModifier) {
    const int times = shift && std::abs(row->dx + row->dy) == 1 ? 90 : 1;
    DragView(bench_.view, row->dx * times, row->dy * times, {true, false});
  } else {
    PressViewKey(bench_.view, row->view, shift);
  }
  area_.RedrawMoving();
  return true;
}

void InputController::UpdateHover() {
  if (bench_.density && bench_.density->followsPointer && inside_ && gesture_ == Gesture::None) {
    const AtomRecord* atom = AtomAt(hover_);
    if (atom && bench_.density->PointAt(atom->serial)) area_.Redraw();
  }
  area_.SetPointer(inside_ && gesture_ == Gesture::None ? std::optional(hover_) : std::nullopt);
  if (PickPending()) {
    const AtomRecord* atom = inside_ ? AtomAt(hover_) : nullptr;
    return Q_EMIT StatusText(atom ? PendingText() + QStringLiteral("   (%1)").arg(ToText(atom->name)) : PendingText());
  }
  if (LabelPending()) return Q_EMIT StatusText(PendingText());
  if (!inside_) return Q_EMIT StatusText({});
  if (const AtomRecord* atom = AtomAt(hover_)) return Q_EMIT StatusText(DescribeAtom(bench_.document, *atom));
  const BondRecord* bond = BondAt(hover_);
  Q_EMIT StatusText(bond ? DescribeBond(*bond) : QString());
}

}  // namespace marvik

#include "ui/area/contact_stubs.h"

#include <QPainter>
#include <QPointer>
#include <memory>

#include "app/beside.h"
#include "base/numbers.h"
#include "draw/renderer/look.h"
#include "ui/area/drawing_area.h"

namespace marvik {
namespace {

constexpr double kRing = 6.0;  // radius, nominal pixels
constexpr size_t kMostStubs = 2000;
constexpr size_t kManyAtoms = 2000;  // whose contacts are looked for beside the window

}  // namespace

ContactStubs::ContactStubs(Workbench& bench, DrawingArea& area) : QObject(&area), bench_(bench), area_(area) {
  connect(&area, &DrawingArea::Painted, this, &ContactStubs::Paint);
}

std::vector<ContactStubs::Stub> ContactStubs::StubsOf(const Document& document, bool hydrogenBonds,
                                                      bool shortContacts) {
  std::vector<Stub> stubs;
  for (const HangingContact& contact : HangingContacts(document, hydrogenBonds, shortContacts, kMostStubs))
    stubs.push_back(
        {contact.from->position, contact.place, contact.source->serial, contact.symmetryCode, contact.hydrogenBond});
  return stubs;
}

void ContactStubs::Update() {
  const bool bonds = bench_.figure.hydrogenBonds, contacts = bench_.figure.shortContacts;
  size_t shown = bonds + 2 * contacts, count = 0;
  for (const AtomRecord* atom : Atoms(bench_.document.atoms, kVisibleOnly)) shown = shown * 31 + atom->serial, ++count;
  if (!seen_.IsLate(bench_) && shown == shown_) return;
  shown_ = shown;
  stubs_.clear();
  if (!bonds && !contacts) return;
  if (count < kManyAtoms) {
    stubs_ = StubsOf(bench_.document, bonds, contacts);
    return;
  }
  const auto document = std::make_shared<const Document>(bench_.document);
  DoBeside(
      bench_, "Contacts are being looked for", [=] { return StubsOf(*document, bonds, contacts); },
      [self = QPointer(this), shown, changes = seen_.changes](std::vector<Stub> found) {
        if (!self || self->shown_ != shown || self->seen_.changes != changes) return Outcome::Done;
        self->stubs_ = std::move(found);
        self->area_.update();
        return Outcome::Done;
      });
}

bool ContactStubs::IsShown(const Stub& stub) const {
  const ViewState& view = bench_.view;
  return !view.CutsAway(view.TransformPoint(stub.from - view.viewCentre).p) &&
         !view.CutsAway(view.TransformPoint(stub.to - view.viewCentre).p);
}

void ContactStubs::Paint() {
  Update();
  if (stubs_.empty()) return;
  const bool light = ColoursOf(bench_.look, false).light;
  QPainter painter(&area_);
  painter.setRenderHint(QPainter::Antialiasing);
  for (const Stub& stub : stubs_) {
    if (!IsShown(stub)) continue;
    const QColor ink = stub.hydrogenBond ? (light ? QColor(0, 90, 130) : QColor(130, 220, 255))
                                         : (light ? QColor(110, 110, 110) : QColor(160, 160, 160));
    const QPointF from = area_.PlaceOf(stub.from), to = area_.PlaceOf(stub.to);
    painter.setPen(QPen(ink, 1.2, Qt::DashLine));
    painter.drawLine(from, to);
    painter.setPen(QPen(ink, 1.4));
    painter.drawEllipse(to, kRing, kRing);
  }
}

std::string ContactStubs::At(const QPointF& position) const {
  if (!bench_.figure.hydrogenBonds && !bench_.figure.shortContacts) return {};
  for (const Stub& stub : stubs_) {
    const QPointF off = area_.PlaceOf(stub.to) - position;
    if (std::hypot(off.x(), off.y()) <= kRing + 2.0 && IsShown(stub))
      return Printf("#%u %d", stub.source, stub.symmetryCode);
  }
  return {};
}

}  // namespace marvik

#include "ui/area/element_marks.h"

#include <QPainter>
#include <QPointer>
#include <memory>

#include "app/refinement/refine_flow.h"
#include "language/atom_names.h"
#include "ui/area/drawing_area.h"
#include "ui/text.h"

namespace marvik {

ElementMarks::ElementMarks(Workbench& bench, DrawingArea& area) : QObject(&area), bench_(bench), area_(area) {
  connect(&area, &DrawingArea::Painted, this, &ElementMarks::Paint);
}

void ElementMarks::Update() {
  if (!seen_.IsLate(bench_)) return;
  symbols_.clear();
  if (!bench_.hooks.inBackground) return;
  auto copy = std::make_shared<Document>(bench_.document);
  bench_.hooks.inBackground("Elements are being looked at",
                            [copy, path = JobBase(bench_) + ".hkl", here = QPointer(this), changes = seen_.changes] {
                              std::string problem;
                              std::map<uint32_t, std::string> found;
                              for (const ElementDoubt& doubt : FindElementDoubts(*copy, path, problem)) {
                                const AtomRecord* atom = FindAtomByText(*copy, doubt.atom);
                                if (atom) found[atom->serial] = doubt.suggested.empty() ? "?" : doubt.suggested + "?";
                              }
                              return std::function<void()>([here, found, changes] {
                                if (!here || here->seen_.changes != changes) return;
                                here->symbols_ = found;
                                here->bench_.Repaint();
                              });
                            });
}

void ElementMarks::Paint() {
  if (!bench_.elementBadges) return;
  Update();
  QPainter painter(&area_);
  painter.setRenderHint(QPainter::Antialiasing);
  for (const auto& [serial, symbol] : symbols_) {
    const AtomRecord* atom = bench_.document.atoms.FindSerial(serial);
    if (!atom || !bench_.document.atoms.Passes(atom, kVisibleOnly)) continue;
    const QString text = ToText(symbol);
    QRectF box = painter.fontMetrics().boundingRect(text);
    box.moveCenter(area_.FromDevice(QPointF(atom->screenX, atom->screenY)) + QPointF(14, -14));
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(213, 94, 0, 230));
    painter.drawRoundedRect(box.adjusted(-4, -1, 4, 1), 5, 5);
    painter.setPen(Qt::white);
    painter.drawText(box, Qt::AlignCenter, text);
  }
}

}  // namespace marvik

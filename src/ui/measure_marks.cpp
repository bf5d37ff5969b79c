#include "ui/measure_marks.h"

#include <QPainter>

#include "draw/renderer/look.h"
#include "language/instruction.h"
#include "ui/drawing_area.h"
#include "ui/text.h"

namespace marvik {

MeasureMarks::MeasureMarks(Workbench& bench, DrawingArea& area) : QObject(&area), bench_(bench), area_(area) {
  connect(&area, &DrawingArea::Painted, this, &MeasureMarks::Paint);
}

// The atom that stands where a site is, if the picture shows it.
const AtomRecord* MeasureMarks::Shown(const Site& site) const {
  const AtomList& atoms = bench_.document.atoms;
  const AtomRecord* found = nullptr;
  if (site.symmetryCode == GeometrySite::kIdentityCode) {
    found = atoms.FindSerial(site.serial);
  } else {
    for (const AtomRecord* atom : Atoms(atoms))
      if (atom->sourceSerial == site.serial && atom->symmetryCode == site.symmetryCode) found = atom;
  }
  return found && atoms.Passes(found, kVisibleOnly) ? found : nullptr;
}

void MeasureMarks::Update() {
  if (!seen_.IsLate(bench_)) return;
  marks_.clear();
  for (const Measure& measure : MeasuresOf(bench_)) {
    Mark mark{{}, measure.Text()};
    for (const GeometrySite& site : measure.sites) mark.sites.push_back({site.atom->serial, site.symmetryCode});
    marks_.push_back(std::move(mark));
  }
}

void MeasureMarks::Paint() {
  Update();
  if (marks_.empty()) return;
  QPainter painter(&area_);
  painter.setRenderHint(QPainter::Antialiasing);
  const bool light = ColoursOf(bench_.look, false).light;
  const QColor ink = light ? QColor(0, 90, 130) : QColor(130, 220, 255);
  for (const Mark& mark : marks_) {
    QPolygonF line;
    for (const Site& site : mark.sites) {
      const AtomRecord* atom = Shown(site);
      if (atom) line << area_.FromDevice(QPointF(atom->screenX + 0.5, atom->screenY + 0.5));
    }
    if (line.size() != static_cast<qsizetype>(mark.sites.size())) continue;
    painter.setPen(QPen(ink, 1.4, Qt::DashLine));
    painter.drawPolyline(line);
    const QPointF middle = line.size() == 3 ? line[1] : (line[line.size() / 2 - 1] + line[line.size() / 2]) / 2.0;
    const QString text = ToText(mark.text);
    QRectF box = painter.fontMetrics().boundingRect(text);
    box.moveCenter(middle + QPointF(0, line.size() == 3 ? -14 : 0));
    QColor ground = light ? QColor(255, 255, 255, 210) : QColor(0, 0, 0, 190);
    painter.fillRect(box.adjusted(-3, -1, 3, 1), ground);
    painter.setPen(ink);
    painter.drawText(box, Qt::AlignCenter, text);
  }
}

}  // namespace marvik

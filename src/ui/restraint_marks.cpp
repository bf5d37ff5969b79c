#include "ui/restraint_marks.h"

#include <QPainter>
#include <algorithm>
#include <cmath>

#include "check/model_trials.h"
#include "language/atom_names.h"
#include "language/tokenizer.h"
#include "ui/drawing_area.h"

namespace marvik {
namespace {

constexpr double kRing = 9.0;  // radius, pixels
constexpr double kWide = 5.0;
constexpr int kInk = 170;

// Of M. Okabe and K. Ito ("Color Universal Design", 2008).
QColor ColourOfStrain(double strain) {
  if (strain < 1.0) return {0, 114, 178, kInk};
  if (strain < 2.0) return {0, 158, 115, kInk};
  if (strain < 3.0) return {230, 159, 0, kInk};
  return {213, 0, 40, kInk};
}

}  // namespace

RestraintMarks::RestraintMarks(Workbench& bench, DrawingArea& area) : QObject(&area), bench_(bench), area_(area) {
  connect(&area, &DrawingArea::Painted, this, &RestraintMarks::Paint);
}

void RestraintMarks::Update() {
  if (!seen_.IsLate(bench_)) return;
  marks_.clear();
  std::string problem;
  for (const RestraintLine& line : RestraintsAsTheyAre(bench_.document, problem)) {
    Mark mark{{}, std::fabs(line.value - line.target) / line.sigma};
    std::vector<std::string_view> names;
    SplitWords(line.atoms, names);
    for (const std::string_view name : names) {
      const AtomRecord* atom = FindAtomByText(bench_.document, name);
      if (atom && std::ranges::find(mark.serials, atom->serial) == mark.serials.end())
        mark.serials.push_back(atom->serial);
    }
    if (mark.serials.size() == names.size()) marks_.push_back(std::move(mark));
  }
  std::ranges::stable_sort(marks_, {}, &Mark::strain);
}

void RestraintMarks::Paint() {
  if (!bench_.restraintsDrawn) return;
  Update();
  const AtomList& atoms = bench_.document.atoms;
  QPainter painter(&area_);
  painter.setRenderHint(QPainter::Antialiasing);
  for (const Mark& mark : marks_) {
    QPolygonF places;
    for (const uint32_t serial : mark.serials) {
      const AtomRecord* atom = atoms.FindSerial(serial);
      if (atom && atoms.Passes(atom, kVisibleOnly))
        places << area_.FromDevice(QPointF(atom->screenX + 0.5, atom->screenY + 0.5));
    }
    if (places.size() != static_cast<qsizetype>(mark.serials.size())) continue;
    const QColor colour = ColourOfStrain(mark.strain);
    if (places.size() == 2) {
      painter.setPen(QPen(colour, kWide, Qt::SolidLine, Qt::RoundCap));
      painter.drawLine(places[0], places[1]);
      continue;
    }
    painter.setPen(QPen(colour, 2.0));
    for (const QPointF& place : places) painter.drawEllipse(place, kRing, kRing);
  }
}

}  // namespace marvik

#include "ui/area/ghost_marks.h"

#include <QPainter>
#include <algorithm>
#include <unordered_map>

#include "app/split_candidates.h"
#include "chem/bonds/bond_rules.h"
#include "crystal/cell_metric.h"
#include "ui/area/drawing_area.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr double kBall = 5.0;   // radius, nominal pixels
constexpr double kStick = 3.0;  // width
constexpr int kInk = 200;       // of 255

}  // namespace

GhostPreview FragmentPreview(const Workbench& bench, std::vector<GroupShape> library) {
  return [&bench, library = std::move(library)](const EditArguments& arguments, std::vector<GhostBall>& balls) {
    EditFault fault;
    const auto request = ParseFragment(arguments, fault);
    if (!request) return ToText(fault.text);
    const auto shape = std::ranges::find(library, request->fragment, &GroupShape::name);
    if (shape == library.end()) return GhostMarks::tr("The library has no %1.").arg(ToText(request->fragment));
    const Document& document = bench.document;
    const AtomArray& selection = document.atoms.selection;
    std::string refusal;
    const auto fit = FitOnAtoms(document, {selection.begin(), selection.end()}, *shape, request->on, refusal);
    if (!fit) return ToText(refusal);
    const Metric metric = MakeMetric(document.cell);
    for (const GroupShape::Member& member : shape->atoms)
      balls.push_back({document.matrix * metric.ToFractional(fit->fit(member.place)),
                       &document.elements[ElementTable::ElementFromLabel(member.name)], 0});
    return GhostMarks::tr("%1: %2 Å from the chosen atoms").arg(ToText(shape->title)).arg(fit->fit.rms, 0, 'f', 3);
  };
}

// The split itself, of a copy: what the preview shows is what OK does.
GhostPreview SplitPreview(const Workbench& bench) {
  return [&bench](const EditArguments& arguments, std::vector<GhostBall>& balls) {
    Document split = bench.document;
    std::unordered_map<uint32_t, Cartesian> before;
    for (const AtomRecord* atom : Atoms(split.atoms)) before.emplace(atom->serial, atom->position);
    std::vector<AtomRecord*> chosen(split.atoms.selection.begin(), split.atoms.selection.end());
    if (const AtomRecord* picked = bench.PickedAtom()) chosen = {split.atoms.FindSerial(picked->serial)};
    if (chosen.empty()) return GhostMarks::tr("No atom is selected.");
    RecordingMessages unheard;
    EditFault fault;
    const std::string refusal = SplitAsAsked(split, chosen, arguments, unheard, fault);
    if (!refusal.empty()) return ToText(refusal);
    double farthest = 0.0;
    for (const AtomRecord* atom : Atoms(split.atoms)) {
      const auto old = before.find(atom->serial);
      const double moved = old == before.end() ? 1.0 : Distance(old->second, atom->position);
      if (moved < 1e-6) continue;
      balls.push_back({atom->position, &bench.document.elements[atom->element->atomicNumber], atom->part});
      if (old != before.end()) farthest = std::max(farthest, moved);
    }
    return GhostMarks::tr("The first part lies %1 Å from where the atoms are now.").arg(farthest, 0, 'f', 2);
  };
}

GhostMarks::GhostMarks(DrawingArea& area, GhostPreview preview) : area_(area), preview_(std::move(preview)) {
  connect(&area, &DrawingArea::Painted, this, &GhostMarks::Paint);
}

GhostMarks::~GhostMarks() {
  area_.update();
}

QString GhostMarks::Show(const EditArguments& arguments) {
  balls_.clear();
  area_.update();
  return preview_(arguments, balls_);
}

void GhostMarks::Paint() {
  QPainter painter(&area_);
  painter.setRenderHint(QPainter::Antialiasing);
  const QColor outline(128, 128, 128, kInk);
  painter.setPen(QPen(outline, kStick, Qt::SolidLine, Qt::RoundCap));
  for (size_t i = 0; i < balls_.size(); ++i)
    for (size_t j = 0; j < i; ++j)
      if (balls_[i].part == balls_[j].part &&
          Distance(balls_[i].position, balls_[j].position) <= BondReach(*balls_[i].element, *balls_[j].element))
        painter.drawLine(area_.PlaceOf(balls_[i].position), area_.PlaceOf(balls_[j].position));
  painter.setPen(QPen(outline, 1.0));
  for (const GhostBall& ball : balls_) {
    const ElementColour colour = ball.element->colour;
    painter.setBrush(QColor(RedOf(colour), GreenOf(colour), BlueOf(colour), kInk));
    painter.drawEllipse(area_.PlaceOf(ball.position), kBall, kBall);
  }
}

}  // namespace marvik

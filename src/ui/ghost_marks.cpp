#include "ui/ghost_marks.h"

#include <QPainter>
#include <algorithm>

#include "chem/connectivity.h"
#include "crystal/cell_metric.h"
#include "ui/drawing_area.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr double kBall = 5.0;   // radius, nominal pixels
constexpr double kStick = 3.0;  // width
constexpr int kInk = 200;       // of 255

}  // namespace

GhostMarks::GhostMarks(Workbench& bench, DrawingArea& area, std::vector<GroupShape> library)
    : bench_(bench), area_(area), library_(std::move(library)) {
  connect(&area, &DrawingArea::Painted, this, &GhostMarks::Paint);
}

GhostMarks::~GhostMarks() {
  area_.update();
}

QString GhostMarks::Show(const EditArguments& arguments) {
  balls_.clear();
  area_.update();
  EditFault fault;
  const auto request = ParseFragment(arguments, fault);
  if (!request) return ToText(fault.text);
  const auto shape = std::ranges::find(library_, request->fragment, &GroupShape::name);
  if (shape == library_.end()) return tr("The library has no %1.").arg(ToText(request->fragment));
  const Document& document = bench_.document;
  const AtomArray& selection = document.atoms.selection;
  std::string refusal;
  const auto fit = FitOnAtoms(document, {selection.begin(), selection.end()}, *shape, request->on, refusal);
  if (!fit) return ToText(refusal);
  const Metric metric = MakeMetric(document.cell);
  for (const GroupShape::Member& member : shape->atoms) {
    const ElementInfo& element = document.elements[ElementTable::ElementFromLabel(member.name)];
    balls_.push_back({document.matrix * metric.ToFractional(fit->fit(member.place)),
                      QColor(RedOf(element.colour), GreenOf(element.colour), BlueOf(element.colour), kInk),
                      element.bondRadius});
  }
  return tr("%1: %2 Å from the chosen atoms").arg(ToText(shape->title)).arg(fit->fit.rms, 0, 'f', 3);
}

void GhostMarks::Paint() {
  QPainter painter(&area_);
  painter.setRenderHint(QPainter::Antialiasing);
  const QColor outline(128, 128, 128, kInk);
  painter.setPen(QPen(outline, kStick, Qt::SolidLine, Qt::RoundCap));
  for (size_t i = 0; i < balls_.size(); ++i)
    for (size_t j = 0; j < i; ++j)
      if (Distance(balls_[i].position, balls_[j].position) <=
          balls_[i].bondRadius + balls_[j].bondRadius + kBondTolerance)
        painter.drawLine(area_.PlaceOf(balls_[i].position), area_.PlaceOf(balls_[j].position));
  painter.setPen(QPen(outline, 1.0));
  for (const Ball& ball : balls_) {
    painter.setBrush(ball.colour);
    painter.drawEllipse(area_.PlaceOf(ball.position), kBall, kBall);
  }
}

}  // namespace marvik

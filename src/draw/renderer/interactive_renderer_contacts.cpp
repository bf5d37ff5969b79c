#include "draw/renderer/render_frame.h"

namespace marvik {
namespace {

constexpr double kHydrogenBondPen = 1.6;  // thin lines
constexpr double kOtherPen = 1.0;

}  // namespace

void RenderFrame::SetUpContacts() {
  contacts_.clear();
  if (!options_->contacts) return;
  for (const DrawnContact& contact : *options_->contacts) {
    if (contact.from->scratch >= 0 && contact.to->scratch >= 0)
      contacts_.push_back({FrameIndex(contact.from), FrameIndex(contact.to), contact.line});
  }
}

void RenderFrame::DrawContact(const FrameContact& contact) {
  CanvasPoint from, to;
  if (!FreeLine(contact.from, contact.to, from, to)) return;
  const Rgb plain = options_->blackWhite ? kBlack : ContactColour(contact.line, Paper());
  const FrameAtom& first = atoms_[contact.from];
  const FrameAtom& second = atoms_[contact.to];
  const Rgb colour = first.pale && second.pale ? Paled(first, plain) : plain;
  const double width = (contact.line == ContactLine::HydrogenBond ? kHydrogenBondPen : kOtherPen) * map_.unit;
  if (Grouped()) {
    groupName_ = first.atom->name;
    groupName_.append("...").append(second.atom->name);
    canvas_->BeginGroup(groupName_);
  }
  canvas_->Line(from, to, {colour, width, LineStyle::Dashed});
  if (Grouped()) canvas_->EndGroup();
}

}  // namespace marvik

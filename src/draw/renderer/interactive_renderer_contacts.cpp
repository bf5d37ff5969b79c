#include "draw/renderer/render_frame.h"

namespace marvik {
namespace {

constexpr double kHydrogenBondPen = 1.6;  // thin lines
constexpr double kOtherPen = 1.0;

}  // namespace

void RenderFrame::SetUpContacts() {
  contacts_.clear();
  if (options_->contacts) {
    for (const DrawnContact& contact : *options_->contacts) {
      if (contact.from->scratch >= 0 && contact.to->scratch >= 0)
        contacts_.push_back({EndAt(FrameIndex(contact.from)), EndAt(FrameIndex(contact.to)), contact.line});
    }
  }
  if (!options_->marks) return;
  for (const FigureMarks::Line& line : options_->marks->lines) {
    FrameContact contact{{}, {}, ContactLine::Measured};
    if (EndOf(line.from, contact.from) && EndOf(line.to, contact.to)) contacts_.push_back(contact);
  }
}

void RenderFrame::DrawContact(const FrameContact& contact) {
  CanvasPoint from, to;
  if (!FreeLine(contact.from, contact.to, from, to)) return;
  const Rgb plain = options_->blackWhite ? kBlack : ContactColour(contact.line, Paper());
  const bool ofAtoms = contact.from.atom != kNoAtom && contact.to.atom != kNoAtom;
  const bool pale = ofAtoms && atoms_[contact.from.atom].pale && atoms_[contact.to.atom].pale;
  const Rgb colour = pale ? Paled(atoms_[contact.from.atom], plain) : plain;
  const double width = (contact.line == ContactLine::HydrogenBond ? kHydrogenBondPen : kOtherPen) * map_.unit;
  if (Grouped()) {
    const auto nameOf = [this](const FrameEnd& end) {
      return end.atom == kNoAtom ? std::string("centroid") : atoms_[end.atom].atom->name;
    };
    groupName_ = nameOf(contact.from) + "..." + nameOf(contact.to);
    canvas_->BeginGroup(groupName_);
  }
  canvas_->Line(from, to, {colour, width, LineStyle::Dashed});
  if (Grouped()) canvas_->EndGroup();
}

}  // namespace marvik

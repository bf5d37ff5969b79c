#include <algorithm>
#include <cmath>

#include "draw/renderer/render_frame.h"

namespace marvik {

namespace {

constexpr double kNothing = -1e30;  // depth

// How far in front of its middle a round body is at a point, in shares of its own depth; nothing beside it.
std::optional<double> BulgeAt(const EllipseShape& e, CanvasPoint point) {
  const double det = e.p.x * e.q.y - e.p.y * e.q.x;
  if (!(std::abs(det) > 1e-9)) return {};
  const double dx = point.x - e.centre.x;
  const double dy = point.y - e.centre.y;
  const double u = (dx * e.q.y - dy * e.q.x) / det;
  const double v = (dy * e.p.x - dx * e.p.y) / det;
  const double rest = 1.0 - u * u - v * v;
  return rest >= 0.0 ? std::optional(std::sqrt(rest)) : std::nullopt;
}

}  // namespace

std::optional<EllipseShape> RenderFrame::BodyOf(const AtomRecord& atom) const {
  const auto index = static_cast<size_t>(atom.scratch);
  if (atom.scratch < 0 || index >= atoms_.size() || atoms_[index].atom != &atom) return {};
  return BodyShape(static_cast<uint32_t>(index));
}

FrameHit RenderFrame::At(CanvasPoint point, double slack) const {
  FrameHit hit;
  for (auto label = labels.rbegin(); label != labels.rend(); ++label) {
    if (point.x < label->at.x || point.x > label->at.x + label->size.x || point.y > label->at.y ||
        point.y < label->at.y - label->size.y)
      continue;
    hit.atom = label->atom;
    hit.body = BodyOf(*label->atom).value_or(EllipseShape{});
    return hit;
  }
  if (!(options_ && options_->mode >= kBallAndStick && options_->mode <= kPipes)) return hit;
  double nearest = kNothing;
  for (uint32_t i = 0; i < atoms_.size(); ++i) {
    const EllipseShape shape = BodyShape(i);
    std::optional<double> bulge;
    if (atoms_[i].unknown) {
      const double beside = std::abs(point.x - shape.centre.x) + std::abs(point.y - shape.centre.y);
      if (beside <= MarkArm(atoms_[i])) bulge = 0.0;
    } else {
      bulge = BulgeAt(shape, point);
    }
    if (!bulge) continue;
    const double depth = atoms_[i].z + *bulge * std::hypot(shape.p.x, shape.p.y) / std::max(map_.scale, 1e-6);
    if (depth <= nearest) continue;
    nearest = depth;
    hit.atom = atoms_[i].atom;
    hit.body = shape;
  }
  for (const FrameBond& bond : bonds_) {
    if (IsHidden(bond)) continue;
    const CanvasPoint a = Centre(atoms_[bond.a]);
    const CanvasPoint b = Centre(atoms_[bond.b]);
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double square = dx * dx + dy * dy;
    if (!(square > 0.0)) continue;
    const double t = ((point.x - a.x) * dx + (point.y - a.y) * dy) / square;
    const double beside = std::abs((point.x - a.x) * dy - (point.y - a.y) * dx) / std::sqrt(square);
    if (t < 0.0 || t > 1.0 || beside > HalfWidth(bond) + (hit.atom ? 0.0 : slack)) continue;
    const double depth = atoms_[bond.a].z + t * (atoms_[bond.b].z - atoms_[bond.a].z);
    if (depth <= nearest) continue;
    nearest = depth;
    hit = {nullptr, bond.bond, {}, a, b};
  }
  return hit;
}

}  // namespace marvik

#include "draw/view/picking.h"

#include <algorithm>
#include <cmath>

namespace marvik {

namespace {

constexpr double kAtomReach = 10.0;
constexpr double kBondReach = 3.0;
constexpr double kNarrowBox = 6.0;
constexpr double kBoxMargin = 5.0;
constexpr double kOutside = 9999.0;

CanvasPoint ScreenPlace(const AtomRecord& atom) {
  return {static_cast<double>(atom.screenX), static_cast<double>(atom.screenY)};
}

}  // namespace

AtomRecord* HitTestAtom(const AtomList& atoms, double x, double y, double pixelRatio) {
  AtomRecord* best = nullptr;
  double bestDistance = kAtomReach * pixelRatio;
  for (AtomRecord* atom : Atoms(atoms, kVisibleOnly)) {
    const double distance = std::abs(x - atom->screenX) + std::abs(y - atom->screenY);
    if (!(distance < bestDistance)) continue;
    bestDistance = distance;
    best = atom;
  }
  return best;
}

PickedBond HitTestBond(const AtomList& atoms, double x, double y, double pixelRatio) {
  PickedBond best;
  double bestDistance = kBondReach * pixelRatio;
  for (AtomRecord* atom : Atoms(atoms, kVisibleOnly)) {
    ForEachOwnBond(atom, [&](AtomRecord* partner, BondRecord* bond) {
      const double distance = DistanceToSegment(ScreenPlace(*atom), ScreenPlace(*partner), {x, y}, pixelRatio);
      if (!(distance < bestDistance) || !atoms.Passes(partner, kVisibleOnly)) return;
      bestDistance = distance;
      best = {atom, bond};
    });
  }
  return best;
}

double DistanceToSegment(CanvasPoint a, CanvasPoint b, CanvasPoint p, double pixelRatio) {
  const auto outside = [pixelRatio](double from, double to, double v) {
    double low = std::min(from, to);
    double high = std::max(from, to);
    if (high - low < kNarrowBox * pixelRatio) {
      low -= kBoxMargin * pixelRatio;
      high += kBoxMargin * pixelRatio;
    }
    return !(v >= std::max(low, 0.0) && v <= std::max(high, 0.0));
  };
  if (outside(a.x, b.x, p.x) || outside(a.y, b.y, p.y)) return kOutside;
  const double dx = b.x - a.x;
  const double dy = b.y - a.y;
  const double length = std::hypot(dx, dy);
  if (length == 0.0) return 0.0;
  return std::min(std::abs((p.x - a.x) * dy - (p.y - a.y) * dx) / length, length);
}

std::vector<AtomRecord*> AtomsInRectangle(const AtomList& atoms, double x0, double y0, double x1, double y1) {
  const auto [left, right] = std::minmax(x0, x1);
  const auto [top, bottom] = std::minmax(y0, y1);
  std::vector<AtomRecord*> inside;
  for (AtomRecord* atom : Atoms(atoms, kVisibleOnly)) {
    if (atom->screenX >= left && atom->screenX <= right && atom->screenY >= top && atom->screenY <= bottom) {
      inside.push_back(atom);
    }
  }
  return inside;
}

}  // namespace marvik

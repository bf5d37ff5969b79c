#include "draw/labels/label_placer.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace marvik {
namespace {

constexpr int kDirections = 16;
// How far beyond the body labels try to stand, in heights of a text, and what that costs. From the first one with a
// leader on a line leads to the label.
constexpr std::array<double, 7> kRings{0.0, 0.35, 0.9, 1.7, 2.7, 4.0, 5.5};
constexpr std::array<float, 7> kRingCost{0.0f, 0.4f, 1.6f, 2.4f, 3.2f, 4.0f, 4.8f};
constexpr size_t kFirstLeader = 2;

constexpr float kTurned = 0.8f;  // on the side opposite to the best one
constexpr float kMoved = 0.7f;   // away from where it stood before
constexpr float kOutside = 40.0f;
constexpr float kOnLabel = 14.0f;
constexpr float kOnBody = 12.0f;
constexpr float kOnStick = 9.0f;
constexpr float kOnFaint = 0.5f;
constexpr float kLeaderOnLabel = 7.0f;
constexpr float kLeadersCross = 5.0f;
constexpr float kLeaderOnBody = 2.0f;
constexpr float kLeaderOnStick = 0.8f;
constexpr float kTrouble = 7.0f;  // from here on a label stands on something
constexpr int kRounds = 3;
constexpr double kFullPicture = 0.35;  // of its area, by labels
constexpr float kNoPlace = 1e30f;
constexpr int kMostCells = 256;  // a side

double Cross(CanvasPoint a, CanvasPoint b) {
  return a.x * b.y - a.y * b.x;
}

CanvasPoint Minus(CanvasPoint a, CanvasPoint b) {
  return {a.x - b.x, a.y - b.y};
}

// Whether the ellipse reaches into the box: whether the unit circle reaches into what the box becomes by the map that
// makes the ellipse a circle.
bool EllipseMeets(const EllipseShape& e, double left, double top, double right, double bottom) {
  if (e.centre.x > left && e.centre.x < right && e.centre.y > top && e.centre.y < bottom) return true;
  const double det = Cross(e.p, e.q);
  if (!(std::abs(det) > 1e-12)) return false;
  const auto mapped = [&](double x, double y) {
    const CanvasPoint d{x - e.centre.x, y - e.centre.y};
    return CanvasPoint{Cross(d, e.q) / det, Cross(e.p, d) / det};
  };
  const std::array<CanvasPoint, 4> corners{mapped(left, top), mapped(right, top), mapped(right, bottom),
                                           mapped(left, bottom)};
  for (size_t i = 0; i < 4; ++i) {
    const CanvasPoint a = corners[i];
    const CanvasPoint d = Minus(corners[(i + 1) % 4], a);
    const double length = d.x * d.x + d.y * d.y;
    const double t = length > 0.0 ? std::clamp(-(a.x * d.x + a.y * d.y) / length, 0.0, 1.0) : 0.0;
    const double x = a.x + t * d.x;
    const double y = a.y + t * d.y;
    if (x * x + y * y < 1.0) return true;
  }
  return false;
}

// Whether a part of the line from a to b lies in the box widened by `wider`.
bool LineMeets(CanvasPoint a, CanvasPoint b, double left, double top, double right, double bottom, double wider) {
  double t0 = 0.0;
  double t1 = 1.0;
  const auto cut = [&](double from, double step, double low, double high) {
    if (std::abs(step) < 1e-12) return from > low && from < high;
    double u = (low - from) / step;
    double v = (high - from) / step;
    if (u > v) std::swap(u, v);
    t0 = std::max(t0, u);
    t1 = std::min(t1, v);
    return t0 < t1;
  };
  return cut(a.x, b.x - a.x, left - wider, right + wider) && cut(a.y, b.y - a.y, top - wider, bottom + wider);
}

bool LinesCross(CanvasPoint a, CanvasPoint b, CanvasPoint c, CanvasPoint d) {
  const auto side = [](CanvasPoint from, CanvasPoint to, CanvasPoint p) {
    return Cross(Minus(to, from), Minus(p, from));
  };
  return side(a, b, c) * side(a, b, d) < 0.0 && side(c, d, a) * side(c, d, b) < 0.0;
}

// Of a body: the largest half axes along x and y.
CanvasPoint HalfBox(const EllipseShape& e) {
  return {std::sqrt(e.p.x * e.p.x + e.q.x * e.q.x), std::sqrt(e.p.y * e.p.y + e.q.y * e.q.y)};
}

}  // namespace

double ReachOf(const EllipseShape& e, CanvasPoint u) {
  return std::hypot(e.p.x * u.x + e.p.y * u.y, e.q.x * u.x + e.q.y * u.y);
}

CanvasPoint EdgeToward(const EllipseShape& e, CanvasPoint to) {
  const CanvasPoint d = Minus(to, e.centre);
  const double det = Cross(e.p, e.q);
  if (!(std::abs(det) > 1e-12)) return e.centre;
  const double length = std::hypot(Cross(d, e.q) / det, Cross(e.p, d) / det);
  return length > 1.0 ? CanvasPoint{e.centre.x + d.x / length, e.centre.y + d.y / length} : e.centre;
}

void LabelPlacer::CellLists::Reset(const Box& area, double cell, size_t things) {
  area_ = area;
  cell_ = std::max({cell, (area.right - area.left) / kMostCells, (area.bottom - area.top) / kMostCells, 1e-6});
  columns_ = static_cast<int>((area.right - area.left) / cell_) + 1;
  rows_ = static_cast<int>((area.bottom - area.top) / cell_) + 1;
  cells_.resize(static_cast<size_t>(columns_) * static_cast<size_t>(rows_));
  for (auto& list : cells_) list.clear();
  seen_.assign(things, 0);
  stamp_ = 0;
}

// What lies outside the area belongs to the cells at its sides.
LabelPlacer::CellLists::Range LabelPlacer::CellLists::CellsOf(const Box& box) const {
  // What is no number belongs to the first.
  const auto cell = [this](double v, double low, int count) {
    const double n = (v - low) / cell_;
    return n > 0.0 ? static_cast<int>(std::min(n, count - 1.0)) : 0;
  };
  return {cell(box.left, area_.left, columns_), cell(box.top, area_.top, rows_), cell(box.right, area_.left, columns_),
          cell(box.bottom, area_.top, rows_)};
}

void LabelPlacer::CellLists::Add(const Box& box, uint32_t thing) {
  const Range r = CellsOf(box);
  for (int y = r.y0; y <= r.y1; ++y) {
    for (int x = r.x0; x <= r.x1; ++x) cells_[static_cast<size_t>(y * columns_ + x)].push_back(thing);
  }
}

void LabelPlacer::CellLists::Remove(const Box& box, uint32_t thing) {
  const Range r = CellsOf(box);
  for (int y = r.y0; y <= r.y1; ++y) {
    for (int x = r.x0; x <= r.x1; ++x) std::erase(cells_[static_cast<size_t>(y * columns_ + x)], thing);
  }
}

template <class Visit>
void LabelPlacer::CellLists::ForEach(const Box& box, Visit visit) {
  const Range r = CellsOf(box);
  for (int y = r.y0; y <= r.y1; ++y) {
    for (int x = r.x0; x <= r.x1; ++x) {
      for (const uint32_t thing : cells_[static_cast<size_t>(y * columns_ + x)]) {
        if (seen_[thing] == stamp_) continue;
        seen_[thing] = stamp_;
        visit(thing);
      }
    }
  }
}

LabelPlacer::Box LabelPlacer::LeaderBox(const Candidate& c) {
  return {std::min(c.to.x, c.from.x), std::min(c.to.y, c.from.y), std::max(c.to.x, c.from.x),
          std::max(c.to.y, c.from.y)};
}

// The labels whose cells a place reaches into.
template <class Visit>
void LabelPlacer::ForEachNear(const Candidate& candidate, Visit visit) {
  labelCells_.NewRound();
  labelCells_.ForEach(candidate.box, visit);
  if (candidate.leader) labelCells_.ForEach(LeaderBox(candidate), visit);
}

// What a place costs whatever the other labels do.
void LabelPlacer::Judge(uint32_t index, Candidate& c) {
  const LabelRequest& request = requests_[index];
  float cost = c.cost;
  const CanvasPoint& middle = request.body.centre;
  const bool inside =
      middle.x > area_.left && middle.x < area_.right && middle.y > area_.top && middle.y < area_.bottom;
  if (inside &&
      (c.box.left < area_.left || c.box.right > area_.right || c.box.top < area_.top || c.box.bottom > area_.bottom))
    cost += kOutside;
  // What costs that much is not taken: how much more it is does not matter.
  const auto settled = [&cost] { return cost >= kOnBody; };
  c.cost = cost;
  if (settled()) return;
  Box reach = c.box;
  if (c.leader) {
    const Box line = LeaderBox(c);
    reach = {std::min(reach.left, line.left), std::min(reach.top, line.top), std::max(reach.right, line.right),
             std::max(reach.bottom, line.bottom)};
  }
  bodyCells_.NewRound();
  bodyCells_.ForEach(reach, [&](uint32_t i) {
    if (settled()) return;
    const EllipseShape& body = bodies_[i];
    const CanvasPoint half = HalfBox(body);
    const Box around{body.centre.x - half.x, body.centre.y - half.y, body.centre.x + half.x, body.centre.y + half.y};
    if (!around.Meets(reach)) return;
    if (around.Meets(c.box) && EllipseMeets(body, c.box.left, c.box.top, c.box.right, c.box.bottom)) {
      cost += kOnBody;
      c.clear = false;
    }
    if (c.leader && (body.centre.x != middle.x || body.centre.y != middle.y) &&
        LineMeets(c.from, c.to, around.left, around.top, around.right, around.bottom, 0.0))
      cost += kLeaderOnBody;
  });
  c.cost = cost;
  if (settled()) return;
  stickCells_.NewRound();
  stickCells_.ForEach(reach, [&](uint32_t i) {
    if (settled()) return;
    const LabelStick& stick = sticks_[i];
    const double wide = stick.halfWidth;
    // Most are in the same cells and nowhere near.
    if (std::max(stick.a.x, stick.b.x) + wide < reach.left || std::min(stick.a.x, stick.b.x) - wide > reach.right ||
        std::max(stick.a.y, stick.b.y) + wide < reach.top || std::min(stick.a.y, stick.b.y) - wide > reach.bottom)
      return;
    if (LineMeets(stick.a, stick.b, c.box.left, c.box.top, c.box.right, c.box.bottom, stick.halfWidth)) {
      cost += stick.faint ? kOnFaint : kOnStick;
      c.clear = false;
    }
    if (c.leader && !stick.faint && LinesCross(c.from, c.to, stick.a, stick.b)) cost += kLeaderOnStick;
  });
  c.cost = cost;
}

// Cosine and sine of each direction from the best one.
const std::array<std::pair<double, double>, kDirections> kTurns = [] {
  std::array<std::pair<double, double>, kDirections> turns;
  for (int k = 0; k < kDirections; ++k) {
    const double angle = 2.0 * std::numbers::pi * k / kDirections;
    turns[static_cast<size_t>(k)] = {std::cos(angle), std::sin(angle)};
  }
  return turns;
}();

// All directions at the next distance.
void LabelPlacer::AddRing(uint32_t index) {
  const LabelRequest& request = requests_[index];
  Label& label = labels_[index];
  const size_t ring = label.rings++;
  const double height = request.size.y;
  CanvasPoint best = request.towards;
  const double length = std::hypot(best.x, best.y);
  best = length > 1e-9 && std::isfinite(length) ? CanvasPoint{best.x / length, best.y / length}
                                                : CanvasPoint{std::sqrt(0.5), -std::sqrt(0.5)};
  for (int k = 0; k < kDirections; ++k) {
    const auto [c, s] = kTurns[static_cast<size_t>(k)];
    const CanvasPoint u{best.x * c - best.y * s, best.x * s + best.y * c};
    const double out = ReachOf(request.body, u) + gap_ + kRings[ring] * height;
    const CanvasPoint corner = LabelCorner(request.body.centre, out, request.size, u.x, u.y);
    Candidate candidate;
    candidate.box = {corner.x, corner.y - height, corner.x + request.size.x, corner.y};
    candidate.cost = kRingCost[ring] + kTurned * static_cast<float>(1.0 - c) / 2.0f;
    candidate.leader = ring >= kFirstLeader;
    if (candidate.leader) {
      const Box& box = candidate.box;
      candidate.to = {std::clamp(request.body.centre.x, box.left, box.right),
                      std::clamp(request.body.centre.y, box.top, box.bottom)};
      candidate.from = EdgeToward(request.body, candidate.to);
    }
    if (request.last) {
      const double x = (candidate.box.left + candidate.box.right) / 2 - request.body.centre.x - request.last->x;
      const double y = (candidate.box.top + candidate.box.bottom) / 2 - request.body.centre.y - request.last->y;
      candidate.cost += kMoved * static_cast<float>(std::min(1.0, std::hypot(x, y) / (2.0 * std::max(height, 1e-6))));
    }
    Judge(index, candidate);
    if (candidate.cost >= kOnBody) continue;
    label.byCost.push_back(static_cast<uint16_t>(label.candidates.size()));
    label.candidates.push_back(candidate);
  }
  std::ranges::stable_sort(label.byCost, {}, [&](uint16_t i) { return label.candidates[i].cost; });
}

float LabelPlacer::Between(const Candidate& a, const Candidate& b) const {
  float cost = a.box.Meets(b.box) ? kOnLabel : 0.0f;
  const auto crosses = [](const Candidate& line, const Box& box) {
    return line.leader && LeaderBox(line).Meets(box) &&
           LineMeets(line.from, line.to, box.left, box.top, box.right, box.bottom, 0.0);
  };
  if (crosses(a, b.box)) cost += kLeaderOnLabel;
  if (crosses(b, a.box)) cost += kLeaderOnLabel;
  if (a.leader && b.leader && LinesCross(a.from, a.to, b.from, b.to)) cost += kLeadersCross;
  return cost;
}

float LabelPlacer::Conflict(uint32_t index, const Candidate& candidate) {
  float cost = 0.0f;
  ForEachNear(candidate, [&](uint32_t other) {
    if (other != index) cost += Between(candidate, Chosen(other));
  });
  return cost;
}

void LabelPlacer::Put(uint32_t index, uint32_t candidate) {
  Label& label = labels_[index];
  label.chosen = candidate;
  label.placed = true;
  labelCells_.Add(Chosen(index).box, index);
  if (Chosen(index).leader) labelCells_.Add(LeaderBox(Chosen(index)), index);
}

void LabelPlacer::Lift(uint32_t index) {
  Label& label = labels_[index];
  if (label.placed) labelCells_.Remove(Chosen(index).box, index);
  if (label.placed && Chosen(index).leader) labelCells_.Remove(LeaderBox(Chosen(index)), index);
  label.placed = false;
}

// The cheapest place as the others stand now, looking further out while every place has something in it.
float LabelPlacer::Best(uint32_t index, uint32_t& candidate) {
  Label& label = labels_[index];
  float best = kNoPlace;
  while (true) {
    for (const uint16_t i : label.byCost) {
      const Candidate& c = label.candidates[i];
      if (c.cost >= best) break;
      const float cost = c.cost + Conflict(index, c);
      if (cost >= best) continue;
      best = cost;
      candidate = i;
    }
    if (best < kTrouble || label.rings >= kRings.size()) return best;
    AddRing(index);
  }
}

// Puts the label where it is clear, if it can be anywhere.
bool LabelPlacer::Settle(uint32_t index, float most) {
  uint32_t best = 0;
  if (Best(index, best) >= most) return false;
  Put(index, best);
  return true;
}

// A nearer place that has become free.
bool LabelPlacer::Improve(uint32_t index) {
  const float now = Cost(index);
  const Label& label = labels_[index];
  if (now <= label.candidates[label.byCost.front()].cost + 1e-4f) return false;
  const uint32_t before = label.chosen;
  Lift(index);
  uint32_t best = before;
  const bool better = Best(index, best) < now - 1e-3f;
  Put(index, better ? best : before);
  return better;
}

// Takes the place of one other label that finds another one.
bool LabelPlacer::MakeRoom(uint32_t index) {
  for (const uint16_t c : labels_[index].byCost) {
    const Candidate& candidate = labels_[index].candidates[c];
    if (candidate.cost >= kTrouble) return false;
    uint32_t other = index;
    int count = 0;
    ForEachNear(candidate, [&](uint32_t j) {
      if (j == index || Between(candidate, Chosen(j)) == 0.0f) return;
      other = j;
      ++count;
    });
    if (count != 1 || requests_[other].fixed) continue;
    const uint32_t otherBefore = labels_[other].chosen;
    Lift(other);
    Put(index, c);
    if (Settle(other, kTrouble)) return true;
    Lift(index);
    Put(other, otherBefore);
  }
  return false;
}

// What matters most chooses first; who finds no clear place waits, for another to move or, in the end, for a bond to
// stand on.
void LabelPlacer::Solve() {
  waiting_.clear();
  for (const uint32_t i : order_) {
    if (requests_[i].fixed) {
      Put(i, 0);
    } else if (!Settle(i, kTrouble)) {
      waiting_.push_back(i);
    }
  }
  for (int round = 0; round < kRounds; ++round) {
    std::erase_if(waiting_, [&](uint32_t i) { return Settle(i, kTrouble) || MakeRoom(i); });
    bool moved = false;
    for (const uint32_t i : order_) moved |= labels_[i].placed && Improve(i);
    if (!moved) break;
  }
  for (const uint32_t i : waiting_) Settle(i, kOnBody);
}

const std::vector<LabelPlace>& LabelPlacer::Place(std::span<const LabelRequest> labels,
                                                  std::span<const EllipseShape> bodies,
                                                  std::span<const LabelStick> sticks, CanvasPoint low, CanvasPoint high,
                                                  double gap) {
  requests_ = labels;
  bodies_ = bodies;
  sticks_ = sticks;
  area_ = {low.x, low.y, high.x, high.y};
  gap_ = gap;
  double height = 1.0;
  for (const LabelRequest& label : labels) height = std::max(height, label.size.y);
  bodyCells_.Reset(area_, 2.0 * height, bodies.size());
  stickCells_.Reset(area_, 2.0 * height, sticks.size());
  labelCells_.Reset(area_, 1.5 * height, labels.size());
  for (uint32_t i = 0; i < bodies.size(); ++i) {
    const CanvasPoint half = HalfBox(bodies[i]);
    const CanvasPoint& at = bodies[i].centre;
    bodyCells_.Add({at.x - half.x, at.y - half.y, at.x + half.x, at.y + half.y}, i);
  }
  for (uint32_t i = 0; i < sticks.size(); ++i) {
    const LabelStick& s = sticks[i];
    stickCells_.Add({std::min(s.a.x, s.b.x) - s.halfWidth, std::min(s.a.y, s.b.y) - s.halfWidth,
                     std::max(s.a.x, s.b.x) + s.halfWidth, std::max(s.a.y, s.b.y) + s.halfWidth},
                    i);
  }
  labels_.resize(labels.size());
  order_.resize(labels.size());
  for (uint32_t i = 0; i < labels.size(); ++i) {
    order_[i] = i;
    Label& label = labels_[i];
    label.candidates.clear();
    label.byCost.clear();
    label.rings = labels[i].fixed ? kRings.size() : 0;
    label.placed = false;
    if (!labels[i].fixed) continue;
    const CanvasPoint& corner = labels[i].corner;
    label.candidates.push_back(
        {{corner.x, corner.y - labels[i].size.y, corner.x + labels[i].size.x, corner.y}, {}, {}});
    label.byCost.push_back(0);
  }
  std::ranges::stable_sort(order_, [&](uint32_t a, uint32_t b) {
    if (labels[a].fixed != labels[b].fixed) return labels[a].fixed;
    return labels[a].importance > labels[b].importance;
  });
  // Of more than can stand in the picture at all those that matter least are not tried.
  double area = 0.0;
  const double most = kFullPicture * (high.x - low.x) * (high.y - low.y);
  const auto full = std::ranges::find_if(order_, [&](uint32_t i) {
    area += labels[i].size.x * labels[i].size.y;
    return area > most && !labels[i].fixed;
  });
  order_.erase(full, order_.end());
  Solve();
  places_.assign(labels.size(), {});
  for (uint32_t i = 0; i < labels.size(); ++i) {
    places_[i].shown = labels_[i].placed;
    if (!labels_[i].placed) continue;
    const Candidate& c = Chosen(i);
    places_[i].corner = {c.box.left, c.box.bottom};
    places_[i].clear = c.clear;
    places_[i].leader = c.leader;
    places_[i].from = c.from;
    places_[i].to = c.to;
  }
  return places_;
}

}  // namespace marvik

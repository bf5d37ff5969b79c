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
constexpr int kMostCells = 256;        // a side

double Cross(CanvasPoint a, CanvasPoint b) {
  return a.x * b.y - a.y * b.x;
}

CanvasPoint Minus(CanvasPoint a, CanvasPoint b) {
  return {a.x - b.x, a.y - b.y};
}

// Whether a part of the line from a to b lies in the box: the box of the line does, and the corners of the other box
// lie on both sides of the line.
bool LineMeets(CanvasPoint a, CanvasPoint b, double left, double top, double right, double bottom) {
  if (std::max(a.x, b.x) <= left || std::min(a.x, b.x) >= right || std::max(a.y, b.y) <= top ||
      std::min(a.y, b.y) >= bottom)
    return false;
  const CanvasPoint d = Minus(b, a);
  const CanvasPoint middle{(left + right) / 2, (top + bottom) / 2};
  const double wide = std::abs(d.y) * (right - left) / 2 + std::abs(d.x) * (bottom - top) / 2;
  return std::abs(Cross(d, Minus(middle, a))) <= wide;
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
  const double p = e.p.x * u.x + e.p.y * u.y;
  const double q = e.q.x * u.x + e.q.y * u.y;
  return std::sqrt(p * p + q * q);
}

CanvasPoint EdgeToward(const EllipseShape& e, CanvasPoint to) {
  const CanvasPoint d = Minus(to, e.centre);
  const double det = Cross(e.p, e.q);
  if (!(std::abs(det) > 1e-12)) return e.centre;
  const double alongP = Cross(d, e.q) / det;
  const double alongQ = Cross(e.p, d) / det;
  const double length = std::sqrt(alongP * alongP + alongQ * alongQ);
  return length > 1.0 ? CanvasPoint{e.centre.x + d.x / length, e.centre.y + d.y / length} : e.centre;
}

LabelPlacer::Body::Body(const EllipseShape& e) : centre(e.centre) {
  const CanvasPoint half = HalfBox(e);
  box = {centre.x - half.x, centre.y - half.y, centre.x + half.x, centre.y + half.y};
  const double det = Cross(e.p, e.q);
  flat = !(std::abs(det) > 1e-12);
  if (flat) return;
  toCircleX = {e.q.y / det, -e.q.x / det};
  toCircleY = {-e.p.y / det, e.p.x / det};
}

// Whether the unit circle reaches into what the box becomes by the map that makes the ellipse a circle.
bool LabelPlacer::Body::Meets(const Box& o) const {
  if (!box.Meets(o)) return false;
  if (centre.x > o.left && centre.x < o.right && centre.y > o.top && centre.y < o.bottom) return true;
  if (flat) return false;
  const auto mapped = [&](double x, double y) {
    return CanvasPoint{x * toCircleX.x + y * toCircleX.y, x * toCircleY.x + y * toCircleY.y};
  };
  const CanvasPoint corner = mapped(o.left - centre.x, o.top - centre.y);
  const CanvasPoint across = mapped(o.right - o.left, 0.0);
  const CanvasPoint down = mapped(0.0, o.bottom - o.top);
  const auto near = [](CanvasPoint a, CanvasPoint d) {
    const double length = d.x * d.x + d.y * d.y;
    const double t = length > 0.0 ? std::clamp(-(a.x * d.x + a.y * d.y) / length, 0.0, 1.0) : 0.0;
    const double x = a.x + t * d.x;
    const double y = a.y + t * d.y;
    return x * x + y * y < 1.0;
  };
  return near(corner, across) || near(corner, down) || near({corner.x + down.x, corner.y + down.y}, across) ||
         near({corner.x + across.x, corner.y + across.y}, down);
}

void LabelPlacer::CellLists::Reset(const Box& area, double cell, size_t things) {
  area_ = area;
  cell_ = std::max({cell, (area.right - area.left) / kMostCells, (area.bottom - area.top) / kMostCells, 1e-6});
  perCell_ = 1.0 / cell_;
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
    const double n = (v - low) * perCell_;
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
        if (visit(thing)) return;
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
  bool stopped = false;
  const auto stopping = [&](uint32_t i) { return stopped = visit(i); };
  labelCells_.ForEach(candidate.box, stopping);
  if (candidate.leader && !stopped) labelCells_.ForEach(LeaderBox(candidate), stopping);
}

// What a place costs whatever the other labels do. What costs as much as a body is not taken: how much more it is does
// not matter.
void LabelPlacer::Judge(uint32_t index, Candidate& c) {
  const EllipseShape& own = requests_[index].body;
  const CanvasPoint& middle = own.centre;
  const bool inside =
      middle.x > area_.left && middle.x < area_.right && middle.y > area_.top && middle.y < area_.bottom;
  if (inside &&
      (c.box.left < area_.left || c.box.right > area_.right || c.box.top < area_.top || c.box.bottom > area_.bottom)) {
    c.cost += kOutside;
    return;
  }
  bodyCells_.NewRound();
  bodyCells_.ForEach(c.box, [&](uint32_t i) {
    if (!boxedBodies_[i].Meets(c.box)) return false;
    c.cost += kOnBody;
    return true;
  });
  const auto settled = [&c] { return c.cost >= kOnBody; };
  if (settled()) return;
  stickCells_.NewRound();
  stickCells_.ForEach(c.box, [&](uint32_t i) {
    const LabelStick& stick = sticks_[i];
    const double wide = stick.halfWidth;
    if (LineMeets(stick.a, stick.b, c.box.left - wide, c.box.top - wide, c.box.right + wide, c.box.bottom + wide)) {
      c.cost += stick.faint ? kOnFaint : kOnStick;
      c.clear = false;
    }
    return settled();
  });
  if (settled() || !c.leader) return;
  c.to = {std::clamp(middle.x, c.box.left, c.box.right), std::clamp(middle.y, c.box.top, c.box.bottom)};
  c.from = EdgeToward(own, c.to);
  const Box reach = LeaderBox(c);
  bodyCells_.NewRound();
  bodyCells_.ForEach(reach, [&](uint32_t i) {
    const Body& body = boxedBodies_[i];
    if ((body.centre.x != middle.x || body.centre.y != middle.y) &&
        LineMeets(c.from, c.to, body.box.left, body.box.top, body.box.right, body.box.bottom))
      c.cost += kLeaderOnBody;
    return settled();
  });
  if (settled()) return;
  stickCells_.NewRound();
  stickCells_.ForEach(reach, [&](uint32_t i) {
    const LabelStick& stick = sticks_[i];
    if (!stick.faint && LinesCross(c.from, c.to, stick.a, stick.b)) c.cost += kLeaderOnStick;
    return settled();
  });
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
           LineMeets(line.from, line.to, box.left, box.top, box.right, box.bottom);
  };
  if (crosses(a, b.box)) cost += kLeaderOnLabel;
  if (crosses(b, a.box)) cost += kLeaderOnLabel;
  if (a.leader && b.leader && LinesCross(a.from, a.to, b.from, b.to)) cost += kLeadersCross;
  return cost;
}

// With the other labels as they stand; no more of it is found once it is `enough`.
float LabelPlacer::Conflict(uint32_t index, const Candidate& candidate, float enough) {
  float cost = 0.0f;
  ForEachNear(candidate, [&](uint32_t other) {
    if (other != index) cost += Between(candidate, Chosen(other));
    return cost >= enough;
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

// The cheapest place of less than `most` as the others stand now, looking further out while every place has something
// in it.
float LabelPlacer::Best(uint32_t index, uint32_t& candidate, float most) {
  Label& label = labels_[index];
  float best = most;
  while (true) {
    for (const uint16_t i : label.byCost) {
      const Candidate& c = label.candidates[i];
      if (c.cost >= best) break;
      const float cost = c.cost + Conflict(index, c, best - c.cost);
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
  if (Best(index, best, most) >= most) return false;
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
  const float most = now - 1e-3f;
  const bool better = Best(index, best, most) < most;
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
      if (j == index || Between(candidate, Chosen(j)) == 0.0f) return false;
      other = j;
      return ++count > 1;
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
  sticks_ = sticks;
  area_ = {low.x, low.y, high.x, high.y};
  gap_ = gap;
  double height = 1.0;
  for (const LabelRequest& label : labels) height = std::max(height, label.size.y);
  bodyCells_.Reset(area_, 2.0 * height, bodies.size());
  stickCells_.Reset(area_, 2.0 * height, sticks.size());
  labelCells_.Reset(area_, 1.5 * height, labels.size());
  boxedBodies_.assign(bodies.begin(), bodies.end());
  for (uint32_t i = 0; i < bodies.size(); ++i) bodyCells_.Add(boxedBodies_[i].box, i);
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

#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "draw/canvas/canvas.h"
#include "draw/labels/label_layout.h"

namespace marvik {

// How far an ellipse reaches from its middle in a direction of unit length.
double ReachOf(const EllipseShape& e, CanvasPoint direction);
// Where the line from its middle toward a point leaves it; the middle where the point lies inside.
CanvasPoint EdgeToward(const EllipseShape& e, CanvasPoint to);

// A label that looks for its place. Device units, y down.
struct LabelRequest {
  CanvasPoint size;
  EllipseShape body;    // what is drawn for the atom
  CanvasPoint towards;  // the side that it had best stand on, of any length; none: the upper right
  int importance = 0;   // the lesser of two goes where both have no room
  bool fixed = false;   // placed by the user, at `corner`
  CanvasPoint corner;   // bottom left of the text
  // Where its middle stood from the body's before: it stays near there unless another place is clearly better.
  std::optional<CanvasPoint> last;
};

// A line that labels keep off.
struct LabelStick {
  CanvasPoint a;
  CanvasPoint b;
  double halfWidth = 0.0;
  bool faint = false;  // better crossed than a bond
};

struct LabelPlace {
  CanvasPoint corner;
  bool shown = true;    // false: there was no room
  bool clear = true;    // stands on nothing
  bool leader = false;  // so far off that a line leads from the body to it
  CanvasPoint from;     // of that line
  CanvasPoint to;
};

// Finds places for labels where they cover no body, no bond and no other label, as near to their atoms as that allows;
// a label that finds none, or only one on another that matters more, is left out. The same input gives the same places.
// Cost grows with the number of labels and of what lies near them; work arrays are kept.
class LabelPlacer {
 public:
  // Labels of bodies in the picture (low to high) stay in it; `gap` is kept between a body and its label.
  const std::vector<LabelPlace>& Place(std::span<const LabelRequest> labels, std::span<const EllipseShape> bodies,
                                       std::span<const LabelStick> sticks, CanvasPoint low, CanvasPoint high,
                                       double gap);

 private:
  static constexpr float kNoPlace = 1e30f;
  struct Box {
    double left, top, right, bottom;
    bool Meets(const Box& o) const { return left < o.right && o.left < right && top < o.bottom && o.top < bottom; }
  };
  struct Body {
    Body(const EllipseShape& shape);
    bool Meets(const Box& o) const;
    CanvasPoint centre;
    Box box;
    CanvasPoint toCircleX;  // rows of the map that makes it the unit circle
    CanvasPoint toCircleY;
    bool flat;
  };
  struct Candidate {
    Box box;
    CanvasPoint from;
    CanvasPoint to;
    float cost = 0.0f;
    bool clear = true;
    bool leader = false;
  };
  struct Label {
    std::vector<Candidate> candidates;
    std::vector<uint16_t> byCost;
    size_t rings = 0;     // that were looked at
    uint32_t chosen = 0;  // of the candidates
    bool placed = false;
  };
  // Things by the cells of the picture that they reach into.
  class CellLists {
   public:
    void Reset(const Box& area, double cell, size_t things);
    void Add(const Box& box, uint32_t thing);
    void Remove(const Box& box, uint32_t thing);
    // Each thing whose cells the box reaches into, once in a round, until `visit` says that it is enough.
    void NewRound() { ++stamp_; }
    template <class Visit>
    void ForEach(const Box& box, Visit visit);

   private:
    struct Range {
      int x0, y0, x1, y1;
    };
    Range CellsOf(const Box& box) const;
    Box area_{};
    double cell_ = 1.0;
    double perCell_ = 1.0;
    int columns_ = 1;
    int rows_ = 1;
    std::vector<std::vector<uint32_t>> cells_;
    std::vector<uint32_t> seen_;
    uint32_t stamp_ = 0;
  };

  static Box LeaderBox(const Candidate& candidate);
  template <class Visit>
  void ForEachNear(const Candidate& candidate, Visit visit);
  void AddRing(uint32_t index);
  void Judge(uint32_t index, Candidate& candidate);
  float Between(const Candidate& a, const Candidate& b) const;
  float Conflict(uint32_t index, const Candidate& candidate, float enough);
  float Cost(uint32_t index) { return Chosen(index).cost + Conflict(index, Chosen(index), kNoPlace); }
  const Candidate& Chosen(uint32_t index) const { return labels_[index].candidates[labels_[index].chosen]; }
  void Put(uint32_t index, uint32_t candidate);
  void Lift(uint32_t index);
  float Best(uint32_t index, uint32_t& candidate, float most);
  bool Improve(uint32_t index);
  bool MakeRoom(uint32_t index);
  bool Settle(uint32_t index, float most);
  void Solve();

  std::span<const LabelRequest> requests_;
  std::vector<Body> boxedBodies_;
  std::span<const LabelStick> sticks_;
  Box area_{};
  double gap_ = 0.0;
  std::vector<Label> labels_;
  std::vector<uint32_t> order_;    // what matters most first
  std::vector<uint32_t> waiting_;  // for a place
  CellLists bodyCells_;
  CellLists stickCells_;
  CellLists labelCells_;
  std::vector<LabelPlace> places_;
};

}  // namespace marvik

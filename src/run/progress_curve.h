#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace marvik {

// What the output of a refinement said about one cycle; what it did not say is missing.
struct CyclePoint {
  std::optional<double> wR2;
  std::optional<double> r1;
  std::optional<double> goof;
  std::optional<double> shift;   // largest of an atom, Å
  std::optional<double> overSu;  // largest of a parameter over its standard uncertainty
};

// Recognises the figures of merit among the lines that a refinement prints: "wR2 = 0.123" begins a cycle (the last one
// is the final state), "R1 =", "GooF = S =" or "S =", "Max. shift = 0.01 A" or "largest move 0.01 A", and
// "shift/su: mean 0.1, largest 0.5" or "Mean shift/esd = 0.1 Maximum = 0.5" belong to it.
class ProgressCurve {
 public:
  void Take(std::string_view line);
  const std::vector<CyclePoint>& Points() const { return points_; }

 private:
  std::vector<CyclePoint> points_;
};

}  // namespace marvik

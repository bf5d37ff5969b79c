#pragma once

#include <algorithm>
#include <span>

#include "model/atom_record.h"

namespace marvik {

// One of the sticks that show a bond's order side by side.
struct BondStick {
  double side;   // of its middle from the bond's line, in widths of a single bond
  double share;  // of the width of a single bond
  bool dashed;   // whatever the bond's own style is
};

// How much wider than others a tapered bond is at a depth, given in view units: the nearer the wider.
inline double Nearness(double z) {
  constexpr double kTaper = 0.45;  // from the middle of the view to its front
  return std::clamp(1.0 + kTaper * z, 0.4, 1.6);
}

// A single stick for the orders that have no more.
inline std::span<const BondStick> SticksOfOrder(int order) {
  static constexpr BondStick kOne[] = {{0.0, 1.0, false}};
  static constexpr BondStick kTwo[] = {{-0.6, 0.6, false}, {0.6, 0.6, false}};
  static constexpr BondStick kThree[] = {{-0.9, 0.5, false}, {0.0, 0.5, false}, {0.9, 0.5, false}};
  static constexpr BondStick kOneAndDashed[] = {{-0.6, 0.6, false}, {0.6, 0.6, true}};
  switch (order) {
    case kDouble:
      return kTwo;
    case kTriple:
      return kThree;
    case kAromatic:
      return kOneAndDashed;
    default:
      return kOne;
  }
}

}  // namespace marvik

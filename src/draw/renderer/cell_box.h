#pragma once

#include <algorithm>
#include <array>
#include <cmath>

#include "draw/canvas/colours.h"
#include "draw/renderer/interactive_renderer.h"
#include "model/placement.h"

namespace marvik {

struct CellCorner {
  Fractional at;
  char letter;  // beside it, ' ' for none
};
inline constexpr std::array<CellCorner, 8> kCellCorners{{{{1, 1, 1}, ' '},
                                                         {{0, 1, 1}, ' '},
                                                         {{1, 0, 1}, ' '},
                                                         {{1, 1, 0}, ' '},
                                                         {{0, 0, 1}, 'c'},
                                                         {{0, 1, 0}, 'b'},
                                                         {{1, 0, 0}, 'a'},
                                                         {{0, 0, 0}, 'o'}}};

enum class CellAxis : uint8_t { A, B, C, None };
struct CellEdge {
  size_t from;  // corners
  size_t to;
  CellAxis axis;  // that it lies on
};
inline constexpr std::array<CellEdge, 12> kCellEdges{{{7, 6, CellAxis::A},
                                                      {7, 5, CellAxis::B},
                                                      {7, 4, CellAxis::C},
                                                      {6, 3, CellAxis::None},
                                                      {6, 2, CellAxis::None},
                                                      {5, 3, CellAxis::None},
                                                      {5, 1, CellAxis::None},
                                                      {4, 2, CellAxis::None},
                                                      {4, 1, CellAxis::None},
                                                      {3, 0, CellAxis::None},
                                                      {2, 0, CellAxis::None},
                                                      {1, 0, CellAxis::None}}};

// By CellAxis.
using CellColours = std::array<Rgb, 4>;
inline CellColours CellColoursOn(bool light) {
  return {LegibleOn({255, 0, 0}, light), LegibleOn({0, 200, 0}, light), LegibleOn({0, 0, 255}, light),
          light ? Rgb{90, 90, 90} : Rgb{170, 170, 170}};
}

// Lines of one pixel are two in pictures of twice this side, and so on.
inline constexpr double kSidePerUnit = 1000.0;
// Device units.
inline double ThinLineOf(const RenderOptions& options, double side) {
  return options.thinLine > 0.0 ? options.thinLine : std::max(1.0, std::floor(side / kSidePerUnit));
}

}  // namespace marvik

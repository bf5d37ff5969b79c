#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

#include "draw/canvas/colours.h"
#include "draw/renderer/cell_box.h"
#include "draw/renderer/look.h"

namespace marvik {
namespace {

// Of relative luminances as the W3C's guidelines for accessible content define them: 1 to 21.
double Contrast(Rgb a, Rgb b) {
  const auto linear = [](uint8_t v) {
    const double s = v / 255.0;
    return s <= 0.04045 ? s / 12.92 : std::pow((s + 0.055) / 1.055, 2.4);
  };
  const auto luminance = [&](Rgb c) { return 0.2126 * linear(c.r) + 0.7152 * linear(c.g) + 0.0722 * linear(c.b); };
  const auto [low, high] = std::minmax({luminance(a), luminance(b)});
  return (high + 0.05) / (low + 0.05);
}

TEST(LookContrast, EveryLookIsLegible) {
  ElementTable elements;
  for (const Look look : {Look::Dark, Look::Light, Look::Paper, Look::Classic}) {
    const LookColours colours = ColoursOf(look, false);
    const auto name = std::string(NameOf(look));
    EXPECT_GE(Contrast(colours.light ? kBlack : kWhite, colours.background), 7.0) << name << ": labels";
    if (!colours.bondsOfAtoms && look != Look::Classic) {
      EXPECT_GE(Contrast(colours.bond, colours.background), 4.5) << name << ": bonds";
    }
    const CellColours cell = CellColoursOn(colours.light);
    for (const Rgb edge : cell) EXPECT_GE(Contrast(edge, colours.background), 2.5) << name << ": cell";
    for (const bool safe : {false, true}) {
      for (int row = 1; row <= kUnknownRow; ++row) {
        const Rgb line = LegibleOn(ElementColourOf(elements, row, safe), colours.light);
        EXPECT_GE(Contrast(line, colours.background), 2.5) << name << ": lines of " << elements[row].Symbol() << " "
                                                           << int(line.r) << " " << int(line.g) << " " << int(line.b);
      }
    }
  }
}

}  // namespace
}  // namespace marvik

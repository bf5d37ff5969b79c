#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "chem/drawn_contacts.h"
#include "draw/canvas/canvas.h"
#include "model/element_table.h"

namespace marvik {

// How a picture is coloured and what its lesser parts look like. Classic is what the renditions were first made as:
// bonds in the colours of their class on black, balls by the element table. The others draw bonds in the colours of
// their atoms (Dark) or in dark grey, hydrogens smaller than any ellipsoid, balls of isotropic atoms by their U, and
// peaks as small hollow marks without bonds. Whatever is drawn on white takes Paper's colours.
enum class Look : uint8_t { Dark, Light, Paper, Classic };

// "dark", "light", "paper" or "classic"; nothing for anything else.
std::optional<Look> LookNamed(std::string_view name);
std::string_view NameOf(Look look);

// Share of the colour of a symmetry mate that is to be paler, on the background.
inline constexpr double kPaleInk = 0.45;

struct LookColours {
  Rgb background;
  bool light = false;  // the background
  bool bondsOfAtoms = false;
  Rgb bond;  // else
};
LookColours ColoursOf(Look look, bool onWhite);

// Of the dashes of contacts, and of what is measured.
Rgb ContactColour(ContactLine line, bool onLight);
Rgb MeasureColour(bool onLight);

// The colour of an element's row; safe: one of the eight that the colour-blind tell apart (M. Okabe, K. Ito, "Color
// Universal Design", 2008), by what the element is, whatever the table says.
Rgb ElementColourOf(const ElementTable& elements, int row, bool safe);

}  // namespace marvik

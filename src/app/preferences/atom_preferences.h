#pragma once

#include <array>
#include <optional>
#include <string>

#include "app/preferences/preference_fault.h"
#include "edit/edit_fields.h"
#include "model/element_table.h"

namespace marvik {

// By texture code.
inline constexpr std::array<const char*, kTextures> kTextureNames = {
    "No Texturing",    "Dots",       "Horizontal Lines", "Vertical Lines", "Grid", "Frontslash Hatch",
    "Backslash Hatch", "Cross-Hatch"};
inline constexpr size_t kLongestRadiusText = 15;

// What "Atom Preferences" sets: the looks of the elements, and the probability that thermal ellipsoids enclose, one
// for all atoms.
struct AtomPreferences {
  ElementTable elements;
  double probability = 0.5;
};

// The row of an element by its symbol in any letter case, D and Q among them; nothing for an unknown one.
std::optional<int> RowOfElementOrPeak(std::string_view symbol);

// The row's values as fields "element", "atom", "bond" (radii in Å), "texture" (its code), "red", "green", "blue", and
// the probability.
EditArguments AtomPreferenceFields(const AtomPreferences& preferences, int row);

std::span<const FieldRange> AtomPreferenceRanges();
// Sets fields in their order: "element" names the element that those behind it are of, "defaults" with the value
// "single" or "all" brings back the built-in radii, colour and texture. With a fault `preferences` stays as it was.
PreferenceFault ApplyAtomPreferences(const EditArguments& arguments, AtomPreferences& preferences);

// Built-in radii, colour and texture of a row; what a file said of its scattering factors stays.
void RestoreLooks(ElementTable& elements, int row);
// The fields that make `before` into `after`; "" when they are alike.
std::string AtomPreferenceChanges(const AtomPreferences& before, const AtomPreferences& after);

}  // namespace marvik

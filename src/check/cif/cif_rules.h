#pragma once

#include <limits>
#include <span>

#include "check/cif/check_cif.h"

namespace marvik::cif {

// One row of the tables of rules.
struct RuleRow {
  const char* id;
  const char* reference;
  CifLimits limits;
  const char* meaning;
  const char* advice;
};

inline constexpr double kNever = std::numeric_limits<double>::infinity();

// Levels by a number above or below limits, the mildest first.
constexpr CifLimits Above(double c, double b = kNever, double a = kNever) {
  return {false, kNever, c, b, a};
}
constexpr CifLimits Below(double c, double b = -kNever, double a = -kNever) {
  return {true, -kNever, c, b, a};
}
constexpr CifLimits NoteAbove(double g) {
  return {false, g, kNever, kNever, kNever};
}
// What is so or is not.
inline constexpr CifLimits kIsA{false, kNever, kNever, kNever, -kNever};
inline constexpr CifLimits kIsB{false, kNever, kNever, -kNever, kNever};
inline constexpr CifLimits kIsC{false, kNever, -kNever, kNever, kNever};
inline constexpr CifLimits kIsG{false, -kNever, kNever, kNever, kNever};

std::span<const RuleRow> ContentRules();     // formula, cell, symmetry
std::span<const RuleRow> ExperimentRules();  // data, crystal, absorption
std::span<const RuleRow> RefinementRules();  // refinement, density, absolute structure, displacement
std::span<const RuleRow> ModelRules();       // atoms, bonds, contacts
std::span<const RuleRow> ListRules();        // reflections, embedded files

// An item that a report has to have.
struct ItemRow {
  const char* item;   // lower case, "_" for "."
  const char* older;  // another name of it, or ""
  FindingLevel level;
  const char* reference;
};
std::span<const ItemRow> RequiredItems();

// Geometry lists of a CIF against the coordinates; each kind has the same tests.
struct ListKind {
  const char* name;  // begins the rules' names
  const char* value;
  int atoms;
  const char* labels;                     // beginning of the label items, a number follows
  const char* symmetry;                   // the same of the symmetry codes
  std::array<const char*, 6> references;  // label, value with su, value without, su ratio, su missing, su constrained
  double defaultSu;
  double suRatio;
};
std::span<const ListKind> ListKinds();

// Usual bond lengths.
struct BondKind {
  const char* name;
  double length;                          // Å
  std::array<double, 3> shorter, longer;  // departures in Å
  const char* references[2];
};
std::span<const BondKind> BondKinds();

// Contacts nearer than the radii.
struct ContactKind {
  const char* name;
  std::array<double, 3> nearer;  // Å below the sum of radii
  const char* reference;
};
std::span<const ContactKind> ContactKinds();

}  // namespace marvik::cif

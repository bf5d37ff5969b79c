#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "crystal/crystal.h"

namespace marvik {

// A group of operations, closed under multiplication; translations are wrapped into the cell.
struct SpaceGroup {
  bool centric = false;                          // a centre of symmetry at the origin
  bool hasInversion = false;                     // a centre anywhere
  std::vector<SymmetryOperator> primitive;       // without centring and, when centric, without the centre
  std::vector<std::array<int, 3>> centring;      // in kTranslationParts, the zero vector first
  std::vector<SymmetryOperator> all;             // every operation, the identity first
  std::vector<SymmetryOperator> pointOperators;  // one per rotation part, improper ones included
  std::string symbol;                            // of a known setting, else empty

  bool IsAbsent(const Miller& h) const;
  // The largest index triple (by l, then k, then h) among the equivalents; Friedel opposites count as equivalent when
  // asked for or when the group has a centre.
  Miller Representative(const Miller& h, bool friedel) const;
  // Directions (fractional) along which the origin is free; empty for non-polar groups.
  std::vector<std::array<double, 3>> PolarDirections() const;
};

// The group that a LATT code and the SYMM lines of a list stand for, whatever else the list holds. Nothing, with a
// sentence in `problem`, when a line is unreadable or the operators make no group.
std::optional<SpaceGroup> MakeSpaceGroup(int latticeCode, const SymmetryList& list, std::string& problem);

}  // namespace marvik

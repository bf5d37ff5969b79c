#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "base/vec3.h"
#include "model/document.h"

namespace marvik {

using Miller = std::array<int, 3>;

// x' = r·x + t in fractional coordinates; Miller indices transform as h' = h·r.
struct GroupOperator {
  std::array<std::array<int, 3>, 3> r{};
  std::array<double, 3> t{};

  Fractional Apply(const Fractional& x) const;
  Miller ApplyToIndices(const Miller& h) const;
  bool IsIdentityRotation() const;
};

// The group that LATT and SYMM stand for, closed under multiplication.
struct SpaceGroup {
  bool centric = false;                         // a centre of symmetry at the origin
  bool hasInversion = false;                    // a centre anywhere
  std::vector<GroupOperator> primitive;         // without centring and, when centric, without the centre
  std::vector<std::array<double, 3>> centring;  // the zero vector first
  std::vector<GroupOperator> all;               // every operation, the identity first
  std::vector<GroupOperator> pointOperators;    // one per rotation part, improper ones included
  std::string symbol;                           // of a known setting, else empty

  bool IsAbsent(const Miller& h) const;
  // The largest index triple (by l, then k, then h) among the equivalents; Friedel opposites count as equivalent when
  // asked for or when the group has a centre.
  Miller Representative(const Miller& h, bool friedel) const;
  // Directions (fractional) along which the origin is free; empty for non-polar groups.
  std::vector<std::array<double, 3>> PolarDirections() const;
};

// Nothing, with a sentence in `problem`, when a SYMM text is unreadable or the operators make no group. A file without
// LATT is centrosymmetric and primitive.
std::optional<SpaceGroup> DeriveSpaceGroup(const Document& document, std::string& problem);
std::optional<SpaceGroup> MakeSpaceGroup(int lattice, const std::vector<std::string>& operators, std::string& problem);

// "-x+1/2, y, z" of an operator; a SYMM or EQIV text as an operator.
std::string OperatorText(const GroupOperator& op);
std::optional<GroupOperator> ParseOperator(const std::string& text);

}  // namespace marvik

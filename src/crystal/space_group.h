#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "crystal/cell_metric.h"

namespace marvik {

// A group of operations, closed under multiplication; translations are wrapped into the cell.
struct SpaceGroup {
  bool centric = false;                          // a centre of symmetry at the origin
  bool hasInversion = false;                     // a centre anywhere
  std::vector<SymmetryOperator> primitive;       // without centring and, when centric, without the centre
  std::vector<std::array<int, 3>> centring;      // in kTranslationParts, the zero vector first
  std::vector<SymmetryOperator> all;             // every operation, the identity first
  std::vector<SymmetryOperator> pointOperators;  // one per rotation part, improper ones included
  // Of a known setting, else empty and 0: "P 1 21/c 1", "-P 2ybc", "monoclinic".
  std::string symbol;
  std::string hall;
  std::string system;
  int number = 0;  // of International Tables A

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

// Whether the rotation leaves lengths and angles alone, within a fraction of the product of two edges.
bool FitsCell(const SymmetryOperator& op, const Metric& metric, double tolerance);

// The operations of a Hall symbol ("-P 2ybc"; S. R. Hall, Acta Cryst. A37 (1981) 517-525), blanks or
// underscores between its parts, with a shift of origin in twelfths (0 0 1) behind it or none; the identity first. None
// for anything else.
std::vector<SymmetryOperator> OperatorsOfHallSymbol(std::string_view symbol);

// The operations of a Hermann-Mauguin name in any spelling ("P 1 21/c 1", "P21/c", "P_21/C", "F m 3 m"), with ":1",
// ":2", ":H", ":R" behind it or not. Where R leaves open which axes are meant the cell decides. None for a name that is
// not known or that leaves open which origin is meant.
std::vector<SymmetryOperator> OperatorsOfName(std::string_view hermannMauguin, const CellParameters& cell);

}  // namespace marvik

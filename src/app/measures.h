#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/workbench.h"
#include "chem/geometry/uncertainty.h"

namespace marvik {

// A distance (Å), angle or torsion angle (degrees) that an RTAB line asks for: what was measured and is kept.
struct Measure {
  std::string label;
  std::vector<GeometrySite> sites;
  std::string names;  // "O1–C2–C3_$1"
  double value = 0.0;
  std::optional<double> su;
  std::string Text() const;  // "1.523(3)"
};
// Those of the document, in file order; lines that name no two to four atoms are left out.
std::vector<Measure> MeasuresOf(const Workbench& bench);
// Whether there may be any.
bool KeepsMeasures(const Document& document);

// Keeps what lies between two to four atoms, in their order, as an RTAB line; symmetry images get an EQIV line where
// there is none. A sentence where that cannot be.
std::string AddMeasure(Document& document, const std::vector<const AtomRecord*>& atoms);
// The one of this place, or all of them.
bool RemoveMeasures(Document& document, std::optional<size_t> at);

// An HTAB line for each hydrogen bond that the file does not ask for yet, with EQIV lines for images. Their number.
size_t AddHydrogenBondLines(Document& document);

// Planes and centroids: "plane[C1 C2 C3] plane[C4 C5 C6]", "centroid[C1 C2] plane[...]", "C1 centroid[C2 C3]". Two
// planes have an angle, the distance of their centroids, and of the second from the first plane; a plane and a place
// their distance; two to four places a distance, an angle, a torsion angle; a plane alone how flat it is. Text, or a
// sentence in `fault`.
std::string MeasureGroups(const Workbench& bench, const std::string& text, std::string& fault);

// Atoms that are measured as one.
struct MeasuredGroup {
  enum Kind { Place, Centroid, Plane } kind = Place;
  std::vector<GeometrySite> sites;
};
// What a picture shows of some groups.
struct GroupMeasure {
  std::vector<MeasuredGroup> groups;
  std::string text;               // "3.652(3) Å, 4.1(2)°" of two planes; "" of one group alone
  std::optional<Cartesian> foot;  // Å, of a place on the plane that its distance is measured from
};
// Of MPLA lines, each with the one before it, and of what was measured in this session.
std::vector<GroupMeasure> GroupMeasuresOf(const Workbench& bench);
// Whether the file may have planes.
bool KeepsPlanes(const Document& document);

}  // namespace marvik

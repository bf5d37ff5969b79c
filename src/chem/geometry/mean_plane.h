#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "model/document.h"

namespace marvik {

using AtomSet = std::vector<const AtomRecord*>;

// The selected atoms, in list order; all live atoms when none is selected.
AtomSet ReportedAtoms(const Document& document);

// nx·X + ny·Y + nz·Z = distance in the Cartesian frame, Å.
struct MeanPlane {
  Cartesian normal;
  double distance = 0.0;
  // The normal put through the fractional-to-Cartesian formula as if it were a fractional triple, which agrees with the
  // Cartesian equation for orthogonal cells only; meant so.
  std::array<double, 3> coefficients{};
  // False when the members lie on one line or at one place, so that many planes hold them.
  bool isDetermined = true;
  double rmsDeviation = 0.0;  // of the members, unweighted, Å
};

// The least-squares plane through these atoms, each with weight 1 or, in a weighted plane, its element's number as a
// real one. Nothing without members, with no weight at all, or with a position that is not finite.
std::optional<MeanPlane> FitMeanPlane(const Document& document, const AtomSet& members, bool weighted);

double DeviationFrom(const MeanPlane& plane, const AtomRecord& atom);
double PlaneWeight(const AtomRecord& atom, bool weighted);
// Degrees, 0 to 90.
double AngleBetween(const MeanPlane& a, const Cartesian& otherNormal);

// The report, lines ended by "\r\n": both equations, then every live atom with its mark, deviation, weight and label.
std::string MeanPlaneText(const Document& document, const MeanPlane& plane, const AtomSet& members, bool weighted);

// Mean of the fractional coordinates of the selected atoms, else of the atoms of `atom`'s molecule, else (none given)
// of all. Numbers the molecules by the bonds. Nothing for an empty set.
std::optional<Fractional> ComputeCentroid(Document& document, const AtomRecord* atom);
// "%8.3f %8.3f %8.3f"
std::string CentroidText(const Fractional& centroid);

}  // namespace marvik

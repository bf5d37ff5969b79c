#pragma once

#include "refine/data/reflections.h"

namespace marvik {

// How much of what could be measured was, as fractions of the unique reflections that are not absent: in the Laue group
// and in the point group of the crystal, to the highest angle and to that of sin θ / λ = 0.6 Å⁻¹ or the highest one
// below it. Of Friedel pairs those count that the symmetry does not make equal.
struct Coverage {
  double thetaFull = 0.0;  // degrees
  double laueMax = 0.0;
  double laueFull = 0.0;
  double pointMax = 0.0;
  double pointFull = 0.0;
  double friedelCoverage = 0.0;  // (unique in the point group - unique in the Laue group) / unique in the Laue group
  double friedelMax = 0.0;
  double friedelFull = 0.0;
};
// `thetaMax` in degrees is that of the data; a `thetaFull` above 0 takes the place of 0.6 Å⁻¹. Zeros where there would
// be too many reflections to count.
Coverage MeasureCoverage(const std::vector<Reflection>& raw, const SpaceGroup& group, const Metric& metric,
                         const DataLimits& limits, double thetaMax, double thetaFull = 0.0);

}  // namespace marvik

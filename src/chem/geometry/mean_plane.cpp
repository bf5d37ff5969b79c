#include "chem/geometry/mean_plane.h"

#include <algorithm>
#include <cmath>
#include <unordered_set>

#include "base/mat3.h"
#include "base/numbers.h"
#include "chem/bonds/fragments.h"
#include "chem/bonds/hybridization.h"
#include "chem/geometry/report_numbers.h"

namespace marvik {

AtomSet ReportedAtoms(const Document& document) {
  AtomSet atoms;
  for (const AtomRecord* atom : Atoms(document.atoms, document.atoms.selection.Empty() ? 0u : kSelectedOnly))
    atoms.push_back(atom);
  return atoms;
}

double PlaneWeight(const AtomRecord& atom, bool weighted) {
  return weighted ? atom.element->numberAsReal : 1.0;
}

std::optional<MeanPlane> FitMeanPlane(const Document& document, const AtomSet& members, bool weighted) {
  double total = 0.0;
  Cartesian sum;
  for (const AtomRecord* atom : members) {
    const double w = PlaneWeight(*atom, weighted);
    total += w;
    sum += w * atom->position;
  }
  if (!(total > 0.0) || !IsFinite(sum)) return std::nullopt;
  const Cartesian centre = sum / total;
  Mat3 scatter;
  for (const AtomRecord* atom : members) {
    const Cartesian d = atom->position - centre;
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) scatter[i][j] += PlaneWeight(*atom, weighted) * d[i] * d[j];
  }
  MeanPlane plane;
  const Cartesian n = plane.normal = PlaneNormal(scatter);
  plane.distance = Dot(n, centre);
  const auto& m = document.matrix.m;
  plane.coefficients = {m[0] * n.x, m[1] * n.x + m[2] * n.y, -(m[3] * n.x + m[4] * n.y + m[5] * n.z)};
  // Ascending: on a line the middle one vanishes beside the largest, at one place all of them do (Å²).
  const Eigen3 spread = SymmetricEigen(scatter);
  plane.isDetermined = spread.values[1] > 1e-6 * std::max(spread.values[2], 1e-2);
  double squares = 0.0;
  for (const AtomRecord* atom : members) squares += std::pow(DeviationFrom(plane, *atom), 2);
  plane.rmsDeviation = std::sqrt(squares / static_cast<double>(members.size()));
  return plane;
}

double DeviationFrom(const MeanPlane& plane, const AtomRecord& atom) {
  return Dot(plane.normal, atom.position) - plane.distance;
}

double AngleBetween(const MeanPlane& a, const Cartesian& otherNormal) {
  return std::acos(std::min(1.0, std::fabs(Dot(a.normal, otherNormal)))) * kDegreesPerRadian;
}

std::string MeanPlaneText(const Document& document, const MeanPlane& plane, const AtomSet& members, bool weighted) {
  const std::unordered_set<const AtomRecord*> isMember(members.begin(), members.end());
  const auto clean = [](double v) { return Shown(v, 4); };
  std::string text = "Equations of Mean Plane\r\n";
  AppendPrintf(text, "%#7.4f * XO %+#7.4f * YO %+#7.4f * ZO = %#7.4f\r\n", clean(plane.normal.x), clean(plane.normal.y),
               clean(plane.normal.z), clean(plane.distance));
  const auto& c = plane.coefficients;
  AppendPrintf(text, "%#7.4f * x  %+#7.4f * y  %+#7.4f * z  = %#7.4f\r\n", clean(c[0]), clean(c[1]), clean(c[2]),
               clean(plane.distance));
  text += "    Deviation\tWeight\tName\r\n";
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    const bool in = isMember.contains(atom);
    AppendPrintf(text, " %c  % #8.4f\t%.2f\t%s\r\n", in ? '+' : ' ', clean(DeviationFrom(plane, *atom)),
                 in ? PlaneWeight(*atom, weighted) : 0.0, atom->name.c_str());
  }
  return text;
}

std::optional<Fractional> ComputeCentroid(Document& document, const AtomRecord* atom) {
  NumberMolecules(document);
  const bool selection = !document.atoms.selection.Empty();
  Fractional sum;
  size_t count = 0;
  for (const AtomRecord* member : Atoms(document.atoms, selection ? static_cast<unsigned>(kSelectedOnly) : 0u)) {
    if (!selection && atom && member->moleculeNumber != atom->moleculeNumber) continue;
    sum += member->fract;
    ++count;
  }
  if (count == 0 || !IsFinite(sum)) return std::nullopt;
  return sum / static_cast<double>(count);
}

std::string CentroidText(const Fractional& centroid) {
  return Printf("%8.3f %8.3f %8.3f", Shown(centroid.x, 3), Shown(centroid.y, 3), Shown(centroid.z, 3));
}

}  // namespace marvik

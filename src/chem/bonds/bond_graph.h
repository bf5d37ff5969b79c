#pragma once

#include <cmath>
#include <map>
#include <optional>
#include <vector>

#include "chem/geometry/structure_geometry.h"
#include "crystal/cell_metric.h"

namespace marvik {

// What an atom is bonded to, within one alternative of a disorder.
class BondGraph {
 public:
  BondGraph(const Document& document, const StructureBonds& bonds, const Metric& metric, int part);

  bool InPart(const AtomRecord& atom) const { return atom.part == 0 || std::abs(atom.part) == part_; }
  const std::vector<const AtomRecord*>& All() const { return atoms_; }
  std::vector<GeometrySite> Around(const GeometrySite& site) const {
    return site.IsIdentity() ? around_.at(site.atom->serial) : Kept(site, bonds_.NeighboursOf(site));
  }
  // How many duplicates the k-th neighbour counts for, and those of no neighbour in particular.
  int Duplicates(const AtomRecord& atom, size_t k) const {
    const auto& extra = extra_.at(atom.serial);
    return k < extra.size() ? extra[k] : 0;
  }
  int Floating(const AtomRecord& atom) const;
  Cartesian PlaceOf(const GeometrySite& site) const { return metric_.ToCartesian(site.fract); }
  GeometrySite SiteOf(const AtomRecord& atom) const { return bonds_.SiteOf(atom); }
  // Whether its neighbours, one lone pair or hidden hydrogen included, stand at the corners of a tetrahedron.
  bool MayBeCentre(const GeometrySite& site) const;
  // Whether the bond is in a ring of at most seven atoms.
  bool IsInSmallRing(const GeometrySite& a, const GeometrySite& b) const;

 private:
  std::vector<GeometrySite> Kept(const GeometrySite& centre, std::vector<GeometrySite> sites) const;

  double Shortest(const AtomRecord& atom) const;

  // Bonds that the neighbours leave to be multiple; an atom whose hydrogens are not in the list has long bonds.
  int MissingOf(const AtomRecord& atom) const;

  // The shortest first, each atom as often as it misses one.
  void PlaceMultipleBonds();

  std::optional<size_t> BackOf(const AtomRecord& atom, const AtomRecord& other, double length) const;

  const StructureBonds& bonds_;
  const Metric& metric_;
  int part_;
  std::vector<const AtomRecord*> atoms_;
  std::map<uint32_t, std::vector<GeometrySite>> around_;
  std::map<uint32_t, std::vector<int>> extra_;
  std::map<uint32_t, int> missing_;
};

bool IsSamePlace(const GeometrySite& a, const GeometrySite& b);

}  // namespace marvik

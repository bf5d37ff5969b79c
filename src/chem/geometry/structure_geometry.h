#pragma once

#include <optional>
#include <unordered_map>
#include <vector>

#include "chem/bonds/neighbours.h"
#include "chem/geometry/uncertainty.h"
#include "model/document.h"

namespace marvik {

// A distance, an angle at the middle one of three, a torsion angle.
struct GeometryValue {
  std::vector<GeometrySite> sites;
  double value = 0.0;  // Å or degrees
  std::optional<double> su;
};

// The bonds of a structure through the whole crystal: those that are drawn, and those of atoms of the file with
// symmetry images that are not. Made once for a state of the document, which must outlive it.
class StructureBonds {
 public:
  explicit StructureBonds(const Document& document);

  // The neighbours of a live atom, the drawn ones first; a generated atom stands for the image that it is. No peaks,
  // unless the atom is one.
  std::vector<GeometrySite> NeighboursOf(const AtomRecord& atom) const;
  // Those of an image of an atom.
  std::vector<GeometrySite> NeighboursOf(const GeometrySite& site) const;
  // The site of a live atom; a generated one is the image of its source.
  GeometrySite SiteOf(const AtomRecord& atom) const;
  Cartesian PlaceOf(const GeometrySite& site) const { return document_.matrix * site.fract; }
  // What the operation that makes the image `by` of its atom makes of another site.
  GeometrySite Moved(const GeometrySite& site, const GeometrySite& by) const;
  // Place of an atom in the list.
  size_t OrderOf(const AtomRecord& atom) const { return listed_.at(atom.serial).order; }

 private:
  struct Listed {
    const AtomRecord* atom = nullptr;
    size_t order = 0;
    std::vector<const AtomRecord*> drawn;  // bonded to it
  };

  const Document& document_;
  NeighbourSearch search_;
  double largestRadius_ = 0.0;                   // Å, of a bond
  std::unordered_map<uint32_t, Listed> listed_;  // by serial
};

// The values of the atoms of the file, each once, in list order. With a selection only what has a selected atom at one
// end (bonds), in the middle (angles), or on the middle bond (torsion angles).
std::vector<GeometryValue> BondsOf(const Document& document, const StructureBonds& bonds,
                                   const GeometryUncertainty& uncertainty);
std::vector<GeometryValue> AnglesOf(const Document& document, const StructureBonds& bonds,
                                    const GeometryUncertainty& uncertainty);
std::vector<GeometryValue> TorsionsOf(const Document& document, const StructureBonds& bonds,
                                      const GeometryUncertainty& uncertainty);

// The same for one atom: its bonds, the angles at it, the torsion angles about its bonds.
struct AtomGeometry {
  std::vector<GeometryValue> distances;
  std::vector<GeometryValue> angles;
  std::vector<GeometryValue> torsions;
};
AtomGeometry GeometryAt(const StructureBonds& bonds, const AtomRecord& atom, const GeometryUncertainty& uncertainty);

}  // namespace marvik

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "chem/bonds/neighbours.h"
#include "chem/geometry/structure_geometry.h"
#include "chem/geometry/uncertainty.h"
#include "model/document.h"

namespace marvik {

inline constexpr double kDefaultEnvironment = 4.0;  // Å
inline constexpr double kLargestEnvironment = 20.0;

enum class ContactKind { Plain, Bond, HydrogenBond, Short };
// "", "bond", "hydrogen bond", "short contact"
const char* ContactWord(ContactKind kind);

struct EnvironmentContact {
  NeighbourImage image;
  ContactKind kind = ContactKind::Plain;
  double radii = 0.0;        // sum of the van der Waals radii, Å; 0 where one is not known
  std::optional<double> su;  // of the distance
};

// D-H...A about the atom, whichever of the three it is.
struct HydrogenBond {
  NeighbourImage donor, hydrogen, acceptor;
  GeometryValue donorHydrogen, hydrogenAcceptor, donorAcceptor;  // Å
  GeometryValue angle;                                           // at the hydrogen, degrees
};

struct Environment {
  std::vector<EnvironmentContact> contacts;  // by distance
  std::vector<HydrogenBond> hydrogenBonds;   // by the distance donor to acceptor
};

// Looks around one atom after the other; made once for a state of the document.
class EnvironmentSearch {
 public:
  // `radius` in Å is the largest that will be asked for, at most kLargestEnvironment.
  EnvironmentSearch(const Document& document, double radius, const GeometryUncertainty& uncertainty);

  // Every image of every atom within `radius` of an atom. A hydrogen bond has N, O, F, S or a halogen at either end,
  // H...A below the sum of the van der Waals radii and 110° or more at the hydrogen (E. Arunan et al., Pure Appl. Chem.
  // 83 (2011) 1637-1641). A short contact lies below the sum of the radii and between atoms that are more than three
  // bonds apart. Alternatives of disorder have no contacts with each other.
  Environment About(const AtomRecord& atom, double radius) const;

 private:
  double radius_;
  const GeometryUncertainty& uncertainty_;
  NeighbourSearch search_;
};

}  // namespace marvik

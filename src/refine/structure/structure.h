#pragma once

#include <array>
#include <complex>
#include <memory>
#include <string>
#include <vector>

#include "crystal/cell_metric.h"
#include "crystal/space_group.h"
#include "language/atom_references.h"
#include "model/coded_values.h"
#include "model/document.h"

namespace marvik {

// Ten raw parameters of a site, in the order of AtomRecord::codedValues: x y z, occupancy, U11 U22 U33 U23 U13 U12
// (Uiso in the place of U11).
inline constexpr int kRawPerSite = 10;
enum RawParameter { kRawX = 0, kRawOccupancy = 3, kRawU = 4 };

// f = Σ a·exp(-b s²) + c + f' + i f'', s = sin θ / λ. Tables: International Tables C, 6.1.1.4, and Cromer & Liberman,
// J. Chem. Phys. 53 (1970) 1891, unless the file gives its own values.
struct Scatterer {
  std::string symbol;
  int row = 0;  // of the element table
  std::array<double, 5> a{};
  std::array<double, 5> b{};
  double c = 0.0;
  double fPrime = 0.0;
  double fDoublePrime = 0.0;
  double radius = 0.77;  // Å
  double weight = 12.0;
  double crossSection = 0.0;  // barn, 0 where the file does not say
  int electrons = 6;
  bool isOwn = false;  // the file gives its dispersion itself
};

struct Site {
  AtomRecord* atom = nullptr;
  std::string label;  // the name, with "_residue" where the residue number is not 0
  std::string name;
  int residueNumber = 0;
  std::string residueClass;
  int scatterer = 0;
  int part = 0;
  int afix = 0;
  int afixGroup = 0;
  bool hydrogen = false;
  bool anisotropic = false;
  Fractional x;
  std::array<double, 6> u{0.05, 0, 0, 0, 0, 0};
  double occupancy = 1.0;
  std::array<double, kRawPerSite> code{};  // as in the file, 0 for a free parameter

  double Raw(int k) const;
  void SetRaw(int k, double value);
};

// Everything that is refined, in plain arrays.
struct Structure {
  Metric metric;
  SpaceGroup group;
  double wavelength = 0.71073;  // Å
  std::vector<Scatterer> scatterers;
  std::vector<Site> sites;
  std::vector<double> freeVariables;  // number m at index m - 2
  double scale = 1.0;                 // of |F|: Fo² = scale²·Fc²
  double extinction = 0.0;
  std::vector<double> batchFractions;  // BASF: of the twin components behind the first
  bool hasSolvent = false;
  double solventScale = 0.0;  // SWAT g
  double solventU = 2.0;      // SWAT U, Å²
  bool hasAnisotropicScale = false;
  std::array<double, 6> anisotropicScale{};  // ANSC: a tensor as U, Å², whose exp(-4π² ...) multiplies Fc²
  double anisotropicScaleSigma = 0.001;      // ANSR: what restrains it to zero, Å²
  mutable std::shared_ptr<const AtomNameIndex> names;  // of the sites, made when first asked for

  double Ueq(const Site& site) const;
};

// False, with a sentence, when the document cannot be refined (no scattering factor for an atom, no atoms, a free
// variable that is not there). `notes` gets what the user should know.
bool BuildStructure(Document& document, Structure& structure, std::vector<std::string>& notes, std::string& problem);
// Puts the refined values back into the document, codes kept.
void StoreStructure(const Structure& structure, Document& document);
// Recomputes every value that is coded with a free variable.
void ApplyFreeVariables(Structure& structure);

// f' + i f" by Cromer & Liberman at a wavelength in Å, with the relativistic term of International Tables C, 4.2.6: the
// total energy of the atom over mc². 0 below lithium and behind uranium.
std::complex<double> DispersionOf(int electrons, double wavelength);

enum class Radiation { XRays, Electrons, Neutrons };
// Scattering factors of one SFAC entry at a wavelength in Å, without what the file says about them: X-rays by
// International Tables C, 6.1.1.4, with f' and f'' by Cromer & Liberman, J. Chem. Phys. 53 (1970) 1891; electrons by
// International Tables C, 4.3.2.2, in Å; neutrons by the bound coherent lengths of V. F. Sears, Neutron News 3 (1992)
// 26, in fm.
Scatterer TabulatedScatterer(const ElementInfo& element, double wavelength, Radiation radiation = Radiation::XRays);

}  // namespace marvik

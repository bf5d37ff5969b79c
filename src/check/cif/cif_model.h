#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "chem/hydrogens/hydrogen_geometry.h"
#include "crystal/cell_metric.h"
#include "crystal/image_search.h"
#include "crystal/space_group.h"
#include "files/cif/cif_elements.h"
#include "files/cif/cif_text.h"

namespace marvik::cif {

// A number with its standard uncertainty as a CIF gives it.
struct Measured {
  double value = std::numeric_limits<double>::quiet_NaN();
  double su = 0.0;   // 0 without one
  int decimals = 0;  // digits behind the point; negative before it
  int digits = 0;    // the uncertainty as written, 0 without one

  bool Given() const { return std::isfinite(value); }
  bool HasSu() const { return su > 0.0; }
};
Measured ParseMeasured(CifValue value);

struct CifSite {
  std::string label;
  std::string type;
  int row = 0;  // of the element table
  std::array<Measured, 3> x;
  Fractional fract;
  Cartesian place;  // Å, in the engine's frame
  Measured u;       // Uiso or Ueq
  std::array<Measured, 6> uij;
  bool hasUij = false;
  Measured occupancy;
  int part = 0;
  std::string assembly;
  std::string calcFlag;
  std::string refinementFlags;
  int order = 1;         // of the site symmetry
  bool dummy = false;    // calc flag dum
  bool partial = false;  // flagged so, without an occupancy
  const char* at = nullptr;
  int residue = 0;

  bool Hydrogen() const { return IsHydrogenRow(row); }
  double Occupancy() const { return occupancy.Given() ? occupancy.value : 1.0; }
  bool Full() const { return part == 0 && Occupancy() > 0.999 && !partial; }
  // Its coordinates are calculated, not refined.
  bool Calculated() const { return calcFlag == "calc" || calcFlag == "c" || calcFlag == "calculated"; }
};

// An image of a site near another one.
struct Link {
  int site = 0;
  int op = 0;  // into CifModel::operators
  std::array<int, 3> shift{};
  double distance = 0.0;  // Å
  Cartesian place;        // Å

  bool Identity() const { return op == 0 && shift == std::array<int, 3>{}; }
};

// One block of a CIF, its items found by name and its model as numbers.
class CifModel {
 public:
  CifModel(std::string_view text, const CifBlock& block);

  // The value of the first of these names that is there; names in lower case with "_" for ".".
  CifColumn Column(std::string_view name, std::string_view older = {}) const;
  CifValue Item(std::string_view name, std::string_view older = {}) const { return Column(name, older)[0]; }
  Measured Number(std::string_view name, std::string_view older = {}) const { return ParseMeasured(Item(name, older)); }
  // Absent or "?"; "." is a deliberate answer.
  bool Missing(std::string_view name, std::string_view older = {}) const;
  int LineOf(const char* place) const;

  // Counted from the list of atoms, in one cell. Those in parts that share a place count by occupancy. Nothing where a
  // label names several elements, "Cl,Br(1)", whose shares the list does not tell.
  std::map<int, double> AtomsInCell() const;
  double SinThetaMax() const;  // sin θ / λ, 0 when not known
  bool Centrosymmetric() const { return group && group->hasInversion; }

  std::string_view text;
  const CifBlock& block;
  std::vector<std::string> repeated;  // names that stand twice
  std::array<Measured, 6> cell;
  CellParameters parameters;
  Metric metric;
  bool cellGiven = false;  // and possible
  Measured volume;
  Measured z;
  std::vector<std::string> operatorTexts;
  std::vector<SymmetryOperator> operators;  // as listed, the identity first where it is
  size_t malformedOperators = 0;
  size_t doubledOperators = 0;
  std::optional<SpaceGroup> group;
  std::vector<FormulaElement> formula;
  Measured wavelength;
  std::string radiation;  // Mo, Cu, Ag, Ga, neutron, synchrotron, electron or ""
  bool xray = true;
  std::vector<CifSite> sites;
  std::vector<std::vector<Link>> near;   // of each site, within 4 Å, the site itself left out
  std::vector<std::vector<Link>> bonds;  // those that are bonds
  std::unordered_map<std::string, int> siteOf;
  bool disordered = false;
  bool mixed = false;  // a label names several elements
  bool polymer = false;
  int heaviest = 0;  // atomic number

 private:
  void TakeCell();
  void TakeSymmetry();
  void TakeAtoms();
  void TakeDisplacements();
  void FindBonds();
  void FindResidues();

  std::unordered_map<std::string_view, CifColumn> columns_;
};

// Å.
double ContactRadiusOf(int row);
bool IsHalogen(int row);
std::string SymbolOf(int row);

}  // namespace marvik::cif

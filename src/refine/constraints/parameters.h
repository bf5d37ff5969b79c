#pragma once

#include <string>
#include <vector>

#include "refine/constraints/fragments.h"
#include "refine/constraints/hydrogens.h"
#include "refine/structure/structure.h"

namespace marvik {

enum class ParameterKind {
  Scale,
  FreeVariable,
  Extinction,
  SolventScale,
  SolventU,
  BatchFraction,
  AnisotropicScale,
  Coordinate,
  Occupancy,
  Displacement,
  GroupRotation,
  GroupScale,
  Torsion,
  Stretch,
};

// One refined quantity. `index` counts within the kind: the free variable (from 0), the batch, the group.
struct Parameter {
  ParameterKind kind;
  int site = -1;
  int component = 0;
  int index = 0;
  std::string name;  // "x C1", "U11 O2", "scale"
};

struct Term {
  int parameter;
  double factor;
};
using Row = std::vector<Term>;

// A group of atoms that moves as one body about its first atom (AFIX n = 6 and 9, followed by n = 5).
struct RigidGroup {
  int m = 0;
  int n = 6;  // 9: the size of the group is refined too
  std::vector<int> members;
  std::vector<Cartesian> shape;  // relative to the first member, Å, at unit scale
};

// What is refined besides what the atoms say.
struct ParameterOptions {
  bool extinction = false;
  bool solvent = false;
  bool anisotropicScale = false;
  double specialTolerance = 0.2;                    // Å, SPEC
  std::vector<std::vector<int>> sameCoordinates;    // EXYZ
  std::vector<std::vector<int>> sameDisplacements;  // EADP
  std::vector<int> restrainedVariables;             // numbers of free variables that restraints speak of
};

// How the raw parameters of the atoms depend on the refined ones. A constraint is whatever writes rows; the ones of the
// engine run in this order: special positions and codes, EXYZ and EADP, rigid groups, riding hydrogens, riding U.
class Parametrisation {
 public:
  // Also moves atoms onto their symmetry elements. Sentences about what had to give go to `notes`.
  void Build(Structure& structure, const ParameterOptions& options, const std::vector<HydrogenGroup>& hydrogens,
             std::vector<RigidGroup>& rigid, std::vector<std::string>& notes);
  // Recomputes what depends on where the atoms are now (torsion and rotation axes).
  void Refresh(const Structure& structure);
  // Moves the structure by shifts of the refined parameters and makes the groups ideal again.
  void Apply(const std::vector<double>& shifts, Structure& structure) const;

  size_t Size() const { return parameters.size(); }
  const Row& RowOf(int site, int raw) const { return rows[static_cast<size_t>(site * kRawPerSite + raw)]; }
  // Value of a refined parameter, for listings.
  double Value(const Structure& structure, size_t parameter) const;

  std::vector<Parameter> parameters;  // the scale first
  std::vector<Row> rows;              // ten for each site
  std::array<Row, 6> scaleRows;       // of the overall anisotropic scale

 private:
  int Add(ParameterKind kind, int site, int component, int index, std::string name);
  void BuildSite(Structure& structure, int site, const ParameterOptions& options, std::vector<std::string>& notes);
  bool CodeRow(const Structure& structure, int site, int raw, Row& row);
  void BuildPosition(Structure& structure, int site, const std::vector<SymmetryOperator>& operations);
  void BuildDisplacement(Structure& structure, int site, const std::vector<SymmetryOperator>& operations);
  int FreeVariableParameter(int variable);
  void WriteGroupRows(const Structure& structure);
  void WriteRidingU(const Structure& structure);
  void CopyRows(const std::vector<std::vector<int>>& sets, Structure& structure, int first, int count);

  std::vector<HydrogenGroup> hydrogens_;
  std::vector<RigidGroup> rigid_;
  std::vector<int> variables_;  // parameter of each free variable, -1 while unused
  std::vector<int> torsions_;   // parameter of each hydrogen group's torsion, -1 without
  std::vector<int> stretches_;
  std::vector<int> rotations_;  // first of three for each rigid group
  std::vector<int> scalings_;
};

// The atom whose Ueq a riding U follows: the last one before it with a U of its own. -1 without one.
int RidingUSource(const Structure& structure, int site);

// Rigid groups of the AFIX codes; those with a known shape (m = 5, 6, 7, 10, 11, and fragments) are put in shape at
// once: the shape is fitted to the atoms that are not at 0 0 0, and replaces all. Groups that are only fitted (n = 0, m
// the code of a fragment) are not among those returned.
std::vector<RigidGroup> FindRigidGroups(Structure& structure, const std::vector<Fragment>& fragments,
                                        std::vector<std::string>& notes);
// Turns and moves a group's shape onto where its atoms are, about the first atom.
void RestoreShape(Structure& structure, const RigidGroup& group);

}  // namespace marvik

#pragma once

#include "refine/restraints/restraints.h"
#include "refine/structure/atom_names.h"

// What the kinds of restraints share.
namespace marvik {

Cartesian PlaceOf(const Structure& structure, const SiteImage& image);
// Adds the slopes of a quantity with the Cartesian gradient g at an atom's place.
void AddPositionSlopes(const Structure& structure, const SiteImage& image, const Cartesian& g,
                       RestraintEquation& equation);
// A distance and its slopes times `factor`.
double DistanceWithSlopes(const Structure& structure, const SiteImage& a, const SiteImage& b, double factor,
                          RestraintEquation& equation);

// Slopes of Σ m_ij U_ij (Cartesian) times `factor`; an isotropic site counts as U times the unit matrix.
double TensorWithSlopes(const Structure& structure, int site, const Mat3& m, double factor,
                        RestraintEquation& equation);

SiteImage PlainImage(int site);
// Whether a neighbour is the atom as listed; one on a special position may be reached by other operations as well.
bool IsAsListed(const Structure& structure, const Neighbour& n);

// Makers, one family each; the sites are those that the instruction names, in its order.
struct RestraintInput {
  const Structure& structure;
  const Instruction& command;
  const std::vector<Instruction>& commands;
  const NeighbourTable& bonds;
  std::vector<SiteImage> images;  // resolved for one residue
  int residue;
  bool laterRigu;
};
double NumberAt(const Instruction& command, size_t at, double otherwise);

// Whether the suffix is the name of a residue class or "*", not a residue number.
bool NamesAClass(const Instruction& command);

// All components of two tensors alike; of two isotropic atoms U.
std::unique_ptr<Restraint> AlikeDisplacements(int a, int b, double sigma);

void MergeSets(RestraintList& list);

using MakeRestraint = void (*)(const RestraintInput& input, RestraintList& list);
void MakeDfix(const RestraintInput& input, RestraintList& list);
void MakeSadi(const RestraintInput& input, RestraintList& list);
void MakeSame(const RestraintInput& input, RestraintList& list);
void MakeNcsy(const RestraintInput& input, RestraintList& list);
void MakeBump(const RestraintInput& input, RestraintList& list);
void MakeFlat(const RestraintInput& input, RestraintList& list);
void MakeChiv(const RestraintInput& input, RestraintList& list);
void MakeSump(const RestraintInput& input, RestraintList& list);
void MakeDelu(const RestraintInput& input, RestraintList& list);
void MakeRigu(const RestraintInput& input, RestraintList& list);
void MakeSimu(const RestraintInput& input, RestraintList& list);
void MakeIsor(const RestraintInput& input, RestraintList& list);

}  // namespace marvik

#pragma once

#include <vector>

#include "phase/quick_refinement.h"
#include "phase/symmetry_search.h"
#include "refine/map/fourier.h"

namespace marvik::phase {

// But hydrogen, in the asymmetric unit.
double AtomsToExpect(const Problem& problem, const SpaceGroup& group);

// The element of the formula that is most like carbon: what a new site is until its electrons are counted.
int LightScatterer(const Problem& problem);

// Of the map of averaged phases, in the cell and group of a structure without atoms.
std::vector<Peak> PeaksOfPhases(const Structure& empty, const std::vector<AveragedReflection>& phases, double expected);

// An isotropic model in one space group, made from phases and improved by itself: atoms come from maps, wrong ones go.
class Model {
 public:
  Model(const Problem& problem, const DataStatistics& data, const GroupCandidate& candidate);

  // Carbon atoms of refined weight: from the map of the averaged phases, then from maps of their own. Where a law of
  // twinning explains much, it stays.
  void BuildFromPhases(const std::vector<AveragedReflection>& phases);
  // Elements by electron counts and what the formula and the bonds say, refined with each.
  void AssignElements();
  // Full atoms, own displacements; drops what is not there and adds what is missing. False when nothing is left.
  bool Finish();
  // Groups that turn and ends in two places, where density and formula ask for them; they stay as they are placed.
  void PlaceDisorder();

  double R1() const { return residuals_.r1; }
  const TwinLaw& Twin() const { return twin_; }
  const Residuals& GetResiduals() const { return residuals_; }
  double ExpectedAtoms() const { return expected_; }
  // 1 over the order of each site's symmetry.
  const std::vector<double>& Fractions() const { return fractions_; }
  // How much of each site is there: 1 unless it is clearly less.
  const std::vector<double>& Shares() const { return shares_; }
  // Of observed and calculated |E|.
  double Correlation() const;

  Structure structure;

 private:
  void SetSites(const std::vector<Peak>& peaks, double limit);
  void FindFractions();
  void Refine(int cycles, const Freedom& freedom);
  void Recycle(double weakest);
  bool FindTwin();
  void CountElectrons(bool evenly = false);
  double UsualElectrons() const;
  void DropGhosts();
  void UseElements(const std::vector<int>& elements);
  void DropWhere(const std::vector<bool>& drop);
  int AddPeaks(double least, double room);
  double Weight() const;  // Σ of the fractions

  const Problem& problem_;
  std::vector<Reflection> merged_;
  std::vector<TwinLaw> laws_;  // that lattice and intensities allow
  TwinLaw twin_;
  Observations observations_;
  Calculated calculated_;
  Residuals residuals_;
  std::vector<double> fractions_;
  std::vector<double> electrons_;
  std::vector<double> shares_;
  double expected_ = 0.0;
};

}  // namespace marvik::phase

#pragma once

#include <complex>
#include <functional>
#include <vector>

#include "phase/groups/oriented_groups.h"
#include "refine/data/observations.h"
#include "refine/solve/least_squares.h"

namespace marvik::phase {

using Factors = std::vector<std::complex<double>>;

// Shares of up to two orientations, what their displacements add to the starting one, and how well that fits.
struct Mixture {
  double first = 1.0, more = 0.0, r1 = 1.0;
};

// A group of known shape in the place of some sites of a model.
struct Trial {
  GroupShape shape;
  double spare = 1.0;  // of R1, what it may cost
  // What a second orientation must explain besides, of what the first does; 0 for a share of all R1.
  double secondGain = 0.0;
  Cartesian anchor, place;
  int part = 1;                                         // of the first orientation, that of the second is one off
  std::vector<char> replaced;                           // by site
  std::function<std::vector<Site>(const Pose&)> sites;  // of one orientation
};

struct Proposal {
  bool useful = false;
  bool one = true;  // orientation
  std::array<Pose, 2> poses;
  Mixture mixture;
  Factors total;  // of the whole model with it
};

// Judges groups of known shape by structure factors alone, the rest of the model as it stands.
class Orientations {
 public:
  Orientations(const Structure& structure, const Observations& observations)
      : structure_(structure), observations_(observations) {}

  // Factors of the whole model, and Fo on its scale; to be called whenever the structure changed.
  bool Evaluate();
  double R1() const { return R1Of(total_); }
  const Factors& Total() const { return total_; }
  // Of the observed amplitudes with the model's phases.
  DensityMap Map() const { return MapOf(total_, {}); }
  // Fits one orientation and a second into what it leaves, each once more into what the other leaves. Of use when R1
  // is as good as that of the atoms that stand there.
  Proposal Propose(const Trial& trial) const;
  void Take(const Proposal& proposal) { total_ = proposal.total; }

  Factors FactorsOf(std::vector<Site> sites) const;
  double R1Of(const Factors& model) const;

 private:
  DensityMap MapOf(const Factors& phases, const Factors& less) const;
  Factors Mixed(const Factors& kept, const Factors& first, const Factors& second, const Mixture& m) const;
  Mixture BestMixture(const Factors& kept, const Factors& first, const Factors& second) const;

  const Structure& structure_;
  const Observations& observations_;
  Factors total_;
  std::vector<double> fo_, s2_;
  std::vector<char> strong_;
};

// The sites of what was proposed: two orientations get parts and a free variable, and share their first atom where it
// lies in one place. Whether there are two.
bool AddOrientations(const Trial& trial, const Proposal& proposal, Structure& structure, std::vector<Site>& added);
// Takes those that are gone out of the model, and adds others.
void ReplaceSites(const std::vector<char>& gone, const std::vector<Site>& added, Structure& structure,
                  std::vector<double>& shares, std::vector<double>& fractions);

}  // namespace marvik::phase

#pragma once

#include <string>
#include <vector>

#include "refine/constraints/parameters.h"
#include "refine/factors/normal_matrix.h"
#include "refine/structure/atom_names.h"
#include "refine/structure/neighbours.h"
#include "refine/structure/structure.h"

namespace marvik {

struct Measured {
  double value = 0.0;
  double su = 0.0;  // 0 for what is fixed
};

// Values derived from coordinates with uncertainties from the full covariance matrix of the refined parameters and from
// the cell (International Tables C, 9.2): two images a distance in Å, three the angle at the middle one in degrees,
// four a torsion angle in degrees. Edges and angles of the cell that are equal by symmetry err together.
class Geometry {
 public:
  // cellSigmas: a b c in Å, α β γ in degrees. A covariance matrix of size 0 leaves only the cell's part.
  Geometry(const Structure& structure, const Parametrisation& parametrisation, const NormalMatrix& covariance,
           const std::array<double, 6>& cellSigmas);

  Measured Measure(const std::vector<SiteImage>& images) const;
  Measured Raw(int site, int raw) const;
  Measured Ueq(int site) const;

 private:
  double VarianceOf(const Row& gradient) const;

  const Structure& structure_;
  const Parametrisation& parametrisation_;
  const NormalMatrix& covariance_;
  std::vector<Metric> shifted_;  // each independent cell parameter moved by its σ
};

SiteImage ImageOf(const Structure& structure, const Neighbour& n);
// "1.234(5)", "1.23(12)": the su to two digits up to 19; without one the plain value with `digits` decimals.
std::string WithSu(const Measured& m, int digits);

// Operations that an output needs names for, numbered from 1.
class OperationNames {
 public:
  // "" for the identity, else "_$1" style.
  std::string Suffix(const SiteImage& image);
  const std::vector<SymmetryOperator>& Operations() const { return operations_; }

 private:
  std::vector<SymmetryOperator> operations_;
};

}  // namespace marvik

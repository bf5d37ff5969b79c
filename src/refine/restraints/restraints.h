#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "language/instruction.h"
#include "refine/constraints/parameters.h"
#include "refine/solve/solver.h"
#include "refine/structure/neighbours.h"
#include "refine/structure/structure.h"

namespace marvik {

// One observational equation: target - value = Σ slope·(shift of a raw parameter), with an uncertainty.
struct RestraintEquation {
  struct Slope {
    int site;
    int raw;
    double value;
  };
  double target = 0.0;
  double value = 0.0;
  double sigma = 1.0;
  double counted = 1.0;    // how many restraints it stands for,
  double share = 1.0;      // of the weight; negative for one that takes back what another one holds too much
  double inFull = 1.0;     // and how often its square counts in the restrained S
  std::vector<int> atoms;  // sites that it is about, for tables
  std::vector<Slope> slopes;

  double Deviation() const { return target - value; }
  std::vector<std::pair<int, double>> variables;  // free variable (index from 0), slope
};

class Restraint {
 public:
  virtual ~Restraint() = default;
  // Appends the equations at the present structure.
  virtual void Evaluate(const Structure& structure, std::vector<RestraintEquation>& equations) const = 0;
  // The instruction that it comes from.
  std::string text;
};

using RestraintList = std::vector<std::unique_ptr<Restraint>>;

// The restraints of the instructions. What cannot be understood is said in `notes`. `laterRigu`: RIGU as later programs
// have it.
RestraintList MakeRestraints(const Structure& structure, const std::vector<Instruction>& commands,
                             const NeighbourTable& bonds, std::vector<std::string>& notes, bool laterRigu = false);

// An equation in terms of the refined parameters: weight·(Σ slope·shift - deviation)² is added to what is minimised.
struct ParameterEquation {
  Row slopes;
  double deviation = 0.0;
  double weight = 1.0;
};

struct RestraintSums {
  double restraints = 0.0;
  double sum = 0.0;    // Σ (deviation/σ)²
  double scale = 1.0;  // of the restraints against the data
};

// The equations of the restraints with the weights sums.scale/σ².
std::vector<ParameterEquation> MakeEquations(const Structure& structure, const Parametrisation& parametrisation,
                                             const RestraintList& restraints, RestraintSums& sums);
std::vector<ParameterEquation> MakeEquations(const Structure& structure, const Parametrisation& parametrisation,
                                             std::span<const Restraint* const> restraints, RestraintSums& sums);

// Holds the origin of a polar group: the sum of the coordinate shifts along each free direction, weighted by squared
// scattering power, is zero (Flack & Schwarzenbach, Acta Cryst. A44 (1988) 499). Nothing is added for a direction along
// which some coordinate is fixed. `strength` is the largest diagonal element of the normal matrix.
void AddOriginEquations(const Structure& structure, const Parametrisation& parametrisation, double strength,
                        std::vector<ParameterEquation>& equations);

// Restrains the overall anisotropic scale to zero, where it is refined.
void AddScaleEquations(const Structure& structure, const Parametrisation& parametrisation, RestraintSums& sums,
                       std::vector<ParameterEquation>& equations);

void AddEquations(const std::vector<ParameterEquation>& equations, NormalSystem& system);

}  // namespace marvik

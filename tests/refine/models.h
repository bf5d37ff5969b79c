#pragma once

#include <random>
#include <string>
#include <vector>

#include "refine/solve/refinement.h"
#include "refine/structure/structure.h"

// Small made-up crystals for the tests.
namespace marvik {

struct GroupCase {
  const char* name;  // as the packaged library knows it
  int lattice;
  std::vector<std::string> operators;
  CellParameters cell;
};
// Twelve groups that cover every lattice type, with and without centres, as an instruction file states them.
const std::vector<GroupCase>& GroupCases();
const GroupCase& GroupNamed(std::string_view name);

// Two to four atoms of C, O, S, Zn in general positions, the first ones anisotropic.
Structure MakeCrystal(const GroupCase& group, unsigned seed, int atoms = 4);

// Every reflection of the asymmetric part down to a resolution in Å, with Fo² = scale²·Fc² of the structure and a
// plausible σ.
Observations SimulateData(const Structure& structure, double resolution);

// Fo², Fc² and F at the present model.
Calculated CalculateAt(const Structure& structure, const Observations& observations);

// A refinement without restraints, and what it said.
struct Refined {
  RefinementResult result;
  Parametrisation parametrisation;
  std::string said;
};
// Of some cycles, with weights that suit the data above.
Job PlainJob(int cycles);
Refined RefineModel(Structure& model, const Observations& observations, const Job& job,
                    const ParameterOptions& options = {}, std::vector<RigidGroup> rigid = {});

}  // namespace marvik

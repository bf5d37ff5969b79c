#pragma once

#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "check/finding.h"
#include "crystal/cell_metric.h"
#include "crystal/space_group.h"
#include "language/instruction.h"
#include "language/keywords.h"
#include "model/element_table.h"

namespace marvik::lint {

// An atom line and what the lines before it said.
struct LintAtom {
  std::string name;      // upper case
  std::string fullName;  // with its residue number: what instructions call it
  int line = 0;
  int lines = 1;
  int residue = 0;
  int part = 0;
  double partOccupancy = 0.0;  // as coded, 0 without one
  std::vector<double> values;  // SFAC number, x, y, z, occupancy, U: as many as there are
};

// An instruction, with where it stands.
struct LintCommand {
  Instruction command;
  InstructionKeyword keyword = InstructionKeyword::kAtomLine;
  int line = 0;
  int lines = 1;
};

// What a finding has beside its sentence.
struct LintDetails {
  std::vector<std::string> atoms{};
  std::optional<double> value{};
  std::optional<double> limit{};
  std::optional<TextEdit> edit{};
};

// What the passes over a file know and find.
class LintState {
 public:
  explicit LintState(std::string_view file) : text(file) {}

  // `what` and `second` go to the places of the rule's sentence.
  void Report(std::string_view rule, int line, const std::string& what = {}, const std::string& second = {},
              LintDetails details = {});

  std::string_view text;
  std::vector<Finding> findings;
  std::vector<LintCommand> commands;  // up to HKLF
  std::vector<LintAtom> atoms;        // no peaks
  std::vector<int> sfac;              // rows of the element table; 0 for what is none
  std::vector<double> freeVariables;  // the scale first
  std::set<int> usedVariables;
  std::set<int> occupancyVariables;
  std::set<std::string> residueClasses;
  std::set<int> residueNumbers{0};
  double wavelength = 0.0;
  std::optional<Metric> metric;  // of a possible cell
  int lastLine = 0;              // of the last instruction before HKLF
  int hklfCode = 0;
  bool includes = false;  // atoms and their like may stand in other files
};

// Notes which free variables a coded value stands for.
int VariableOf(double coded);
// The value that a coded one stands for.
double Decoded(const LintState& state, double coded);

// The passes: lines and header; atoms and their states; what names atoms.
void LintHeader(LintState& state);
void LintAtoms(LintState& state);
void LintCommands(LintState& state);
// On the model that the file makes, where it makes one.
void LintModel(LintState& state);

}  // namespace marvik::lint

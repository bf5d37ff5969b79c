#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "check/cif/cif_model.h"
#include "check/cif/cif_rules.h"
#include "check/finding.h"

namespace marvik::cif {

// Collects what the chapters find in one block.
class CifChecker {
 public:
  explicit CifChecker(const CifModel& m) : model(m) {}

  // A finding where the number is past a limit of the rule. `text` says the numbers; what they mean is the rule's.
  // Of more than ten of a kind the rest are counted.
  void Test(std::string_view rule, double value, std::string text, std::vector<std::string> atoms = {},
            const char* at = nullptr);
  void Found(std::string_view rule, std::string text, std::vector<std::string> atoms = {}, const char* at = nullptr);
  std::vector<Finding> Take();

  const CifModel& model;

 private:
  struct Count {
    size_t last = 0;  // index of the finding
    int more = 0;
    int shown = 0;
  };
  std::vector<Finding> findings_;
  std::unordered_map<std::string, Count> counts_;
};

// A chapter each.
void CheckContents(CifChecker& checker);
void CheckCell(CifChecker& checker);
void CheckSymmetry(CifChecker& checker);
void CheckExperiment(CifChecker& checker);
void CheckAbsorption(CifChecker& checker);
void CheckRefinement(CifChecker& checker);
void CheckDisplacement(CifChecker& checker);
void CheckAtoms(CifChecker& checker);
void CheckBonds(CifChecker& checker);
void CheckContacts(CifChecker& checker);
void CheckVoids(CifChecker& checker);
void CheckLists(CifChecker& checker);
void CheckItems(CifChecker& checker);
void CheckEmbedded(CifChecker& checker);
struct CalculatedReflection {
  Miller h{};
  double fc2 = 0.0;
  double fo2 = 0.0;
  double su = 0.0;
};
// Of the embedded files; gives what they hold and the embedded model gives, an empty list where reflections overlap,
// nothing where no map can be made.
using EmbeddedReflections = std::optional<std::vector<CalculatedReflection>>;
EmbeddedReflections CheckDensity(CifChecker& checker);
// A list of reflections, or else those of the embedded files.
void CheckReflections(CifChecker& checker, const CifBlock* reflections, const EmbeddedReflections& embedded);

// Text fields told by their content, since data names differ from program to program.
bool IsInstructions(std::string_view field);
bool IsReflections(std::string_view field);

// Contents of the cell by Z times the formula, by row of the element table.
std::map<int, double> FormulaContents(const CifModel& model);
// Unique reflections up to sin θ / λ, Friedel opposites being one; 0 where there would be too many to count.
size_t ExpectedReflections(const CifModel& model, double s);

}  // namespace marvik::cif

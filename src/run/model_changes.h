#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "model/document.h"
#include "run/progress_curve.h"

namespace marvik {

enum class AtomFate { Moved, Added, Gone };

struct AtomChange {
  std::string name;  // with its residue, "C1_2"
  AtomFate fate = AtomFate::Moved;
  double shift = 0.0;                     // Å
  std::optional<double> overUncertainty;  // largest shift of a coordinate over its standard uncertainty, where known
};

struct PeakReport {
  std::string name;
  double height = 0.0;  // electrons per Å³
  Fractional fract;
  std::string nearest;    // atom within 3 Å, "" without one
  double distance = 0.0;  // Å
};

// What a refinement did to a model.
struct ModelChanges {
  std::vector<AtomChange> atoms;  // added and gone first, then the largest shift first
  std::vector<PeakReport> peaks;  // of the new model, in its order
  double largestShift = 0.0;      // Å
  size_t added = 0;
  size_t gone = 0;
};

// Standard uncertainties of x, y, z by atom name in capitals; 0 for a coordinate that does not vary.
using Uncertainties = std::unordered_map<std::string, std::array<double, 3>>;

// Collects them from the text of a CIF or a listing: a line that begins with an atom's name and holds three coordinates
// in a row, at least one of the form 0.1234(5). The first such line of an atom counts.
Uncertainties FindUncertainties(std::string_view text, const Document& document);

// Atoms are matched by name and residue; generated ones do not count. Shifts are taken as the coordinates stand.
ModelChanges CompareModels(const Document& before, const Document& after, const Uncertainties& uncertainties);

// R factors that a result file states in its remarks, the last of each.
CyclePoint FiguresOfResult(std::string_view text);

}  // namespace marvik

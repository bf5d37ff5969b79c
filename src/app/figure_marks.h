#pragma once

#include <vector>

#include "app/workbench.h"
#include "draw/renderer/figure_marks.h"

namespace marvik {

// A restraint's atoms by their serial numbers, and how far it is from being kept, in standard uncertainties.
struct StrainedAtoms {
  std::vector<uint32_t> atoms;
  double strain = 0.0;
};
// The least strained first; none of a document that cannot be refined.
std::vector<StrainedAtoms> StrainsOf(const Document& document);

// The measures and restraints between atoms that are shown, as far as the figure has them; `strains` may be null.
FigureMarks MarksShown(const Workbench& bench, const std::vector<StrainedAtoms>* strains);

// Lines for what is measured between atoms without a bond.
void AddMeasuredLines(const Document& document, const FigureMarks& marks, std::vector<DrawnContact>& contacts);

}  // namespace marvik

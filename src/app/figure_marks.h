#pragma once

#include <vector>

#include "app/workbench.h"
#include "draw/renderer/figure_marks.h"

namespace marvik {

// The measures and restraints between atoms that are shown, as far as the figure has them.
FigureMarks MarksShown(const Workbench& bench);

// Lines for what is measured between atoms without a bond.
void AddMeasuredLines(const Document& document, const FigureMarks& marks, std::vector<DrawnContact>& contacts);

}  // namespace marvik

#pragma once

#include <string>

#include "draw/renderer/interactive_renderer.h"

namespace marvik {

// Where the labels of a picture stand and what they could stand on, for checks from outside: JSON in points from the
// picture's upper left corner, y down. "labels" with name, box (left, top, right, bottom) and leader, "left_out" with
// names, "bodies" with name, centre and two conjugate half axes, "bonds" with both names, both ends and width.
// `top` is that corner's place in the layout, in its units.
std::string LabelReport(const FrameLayout& layout, double pointsPerUnit, double top);

}  // namespace marvik

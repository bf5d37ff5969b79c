#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "refine/structure/structure.h"

namespace marvik {

// FRAG code a b c α β γ, atom lines, FEND: a shape that AFIX 10·code + n fits to the atoms of its group. Without a cell
// the coordinates are orthogonal, in Å; of the atom lines only the coordinates count.
struct Fragment {
  int code = 17;
  std::vector<Cartesian> points;  // Å
};

// One block, from FRAG to FEND. Sentences about what is wrong with it go to `notes`; it then has no points.
Fragment ReadFragment(std::string_view block, std::vector<std::string>& notes);

// The blocks that the document keeps.
std::vector<Fragment> FragmentsOf(const Document& document, std::vector<std::string>& notes);

}  // namespace marvik

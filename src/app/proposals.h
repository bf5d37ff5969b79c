#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "app/refinement/solve_flow.h"
#include "app/workbench.h"

namespace marvik {

// What a command would do in one place, shown before it is kept.
struct Proposal {
  std::vector<std::string> cells;     // of its row in the list
  std::vector<uint32_t> atoms;        // serials; selected while it is shown
  std::function<void(bool on)> show;  // makes it, or leaves it as it was before
};

// The window's list shows all of them, or the one that is marked alone, until all are taken or the rest is not wanted.
// `list` has all but the rows. What was taken is on afterwards, the rest is off; the numbers of the former. Only where
// bench.hooks.chooseModel is there.
std::vector<size_t> TakeProposals(Workbench& bench, FoundModels list, const std::vector<Proposal>& proposals);

}  // namespace marvik

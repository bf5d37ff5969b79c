#include "app/proposals.h"

#include <algorithm>

namespace marvik {

std::vector<size_t> TakeProposals(Workbench& bench, FoundModels list, const std::vector<Proposal>& proposals) {
  AtomList& atoms = bench.document.atoms;
  std::vector<uint32_t> selected;
  for (const AtomRecord* atom : atoms.selection) selected.push_back(atom->serial);
  const auto select = [&](const std::vector<uint32_t>& serials) {
    for (const uint32_t serial : serials)
      if (AtomRecord* atom = atoms.FindSerial(serial)) atoms.selection.Append(atom);
  };
  std::vector<size_t> taken, left;
  for (size_t i = 0; i < proposals.size(); ++i) left.push_back(i);
  while (!left.empty()) {
    const size_t before = left.size() > 1 ? 1 : 0;  // rows before those of one proposal
    list.rows.clear();
    if (before) {
      list.rows.push_back({{}, std::vector<std::string>(list.headings.size())});
      list.rows[0].cells[0] = "all";
    }
    for (const size_t i : left) list.rows.push_back({{}, proposals[i].cells});
    const auto show = [&](std::optional<size_t> row) {
      atoms.selection.Clear();
      for (size_t k = 0; k < left.size(); ++k) {
        const bool isShown = row && (*row < before || *row == k + before);
        proposals[left[k]].show(isShown);
        if (isShown) select(proposals[left[k]].atoms);
      }
      bench.ConnectAndReframe();
      bench.Repaint();
    };
    const auto chosen = bench.hooks.chooseModel(list, show);
    show(chosen);
    if (!chosen) break;
    const auto first = left.begin() + static_cast<ptrdiff_t>(*chosen < before ? 0 : *chosen - before);
    const auto last = *chosen < before ? left.end() : first + 1;
    taken.insert(taken.end(), first, last);
    left.erase(first, last);
  }
  atoms.selection.Clear();
  select(selected);
  bench.Repaint();
  return taken;
}

}  // namespace marvik

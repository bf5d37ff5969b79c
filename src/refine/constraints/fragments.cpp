#include "refine/constraints/fragments.h"

#include "base/numbers.h"
#include "language/instruction.h"
#include "language/line_source.h"

namespace marvik {
namespace {

constexpr int kLowestCode = 17;  // the ones below are shapes with a name

}  // namespace

Fragment ReadFragment(std::string_view block, std::vector<std::string>& notes) {
  Fragment fragment;
  LineSource source(block);
  SourceLine line;
  if (!source.Next(line)) return fragment;
  const std::vector<double> head = ParseInstruction(line).numbers;
  if (!head.empty()) fragment.code = WholeNumber(head[0]);
  CellParameters cell{1, 1, 1, 90, 90, 90};
  double* const values[] = {&cell.a, &cell.b, &cell.c, &cell.alpha, &cell.beta, &cell.gamma};
  for (size_t i = 0; i < 6 && i + 1 < head.size(); ++i) *values[i] = head[i + 1];
  const Metric metric = MakeMetric(cell);
  if (fragment.code < kLowestCode || !(metric.volume > 0.0)) {
    notes.push_back(Printf("FRAG %d: %s; the fragment is not used", fragment.code,
                           fragment.code < kLowestCode ? "codes begin at 17" : "its cell is impossible"));
    return fragment;
  }
  while (source.Next(line)) {
    if (line.head.keyword != InstructionKeyword::kAtomLine) continue;
    const std::vector<double> numbers = ParseInstruction(line).numbers;
    const bool atom = numbers.size() >= 4 && IsFinite(Fractional{numbers[1], numbers[2], numbers[3]});
    if (atom) fragment.points.push_back(metric.ToCartesian({numbers[1], numbers[2], numbers[3]}));
  }
  if (fragment.points.size() < 3) {
    notes.push_back(Printf("FRAG %d has fewer than three atoms and is not used", fragment.code));
    fragment.points.clear();
  }
  return fragment;
}

std::vector<Fragment> FragmentsOf(const Document& document, std::vector<std::string>& notes) {
  std::vector<Fragment> fragments;
  for (const KeptLine& line : document.instructions.kept) {
    if (line.place == KeptPlace::Fragment) fragments.push_back(ReadFragment(line.text, notes));
  }
  return fragments;
}

}  // namespace marvik

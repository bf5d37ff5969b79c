#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

#include "phase/problem.h"
#include "refine/data/reflections.h"

#include "fuzz/require.h"

using namespace marvik;

// What lies behind the first empty line is a reflection file, in each of its formats; all of it with the lines before
// it, or else a usual header, is something to solve.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const size_t gap = text.find("\n\n");
  const std::string header =
      gap == text.npos ? "CELL 0.71073 5 6 7 90 95 90\nSFAC C O\nUNIT 8 8\n" : text.substr(0, gap);
  const std::string rows = gap == text.npos ? text : text.substr(gap + 2);
  for (int code = 1; code <= 6; ++code) {
    HklFormat format;
    format.code = code;
    for (const Reflection& reflection : ParseHklFile(rows, format).reflections)
      Require(std::isfinite(reflection.intensity) && std::isfinite(reflection.sigma), "a number is none", text);
  }
  phase::Problem problem;
  std::string sentence;
  const bool made = phase::MakeProblem(header, rows, problem, sentence);
  Require(made || !sentence.empty(), "refused without a sentence", text);
  return 0;
}

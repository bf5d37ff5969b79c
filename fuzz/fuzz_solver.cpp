#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "files/res/reader.h"
#include "phase/solution.h"

#include "fuzz/require.h"

using namespace marvik;

namespace {

// Reflections of every index with intensities that the bytes give, where the text brings none.
std::string RowsOf(const std::string& bytes) {
  std::string rows;
  size_t at = 0;
  for (int h = -3; h <= 3; ++h)
    for (int k = -3; k <= 3; ++k)
      for (int l = 0; l <= 4; ++l) {
        const unsigned byte = bytes.empty() ? 7u : static_cast<unsigned char>(bytes[at++ % bytes.size()]);
        char line[40];
        std::snprintf(line, sizeof line, "%4d%4d%4d%8.2f%8.2f\n", h, k, l, byte * byte / 10.0, 0.1 + byte % 7);
        rows += line;
      }
  return rows;
}

}  // namespace

// A header and, behind an empty line, reflections or bytes that make some. What cannot be solved is told of in a
// sentence; what is found can be read as an instruction file with atoms that are somewhere.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), std::min<size_t>(size, 8000));
  const size_t gap = text.find("\n\n");
  const std::string header =
      gap == text.npos ? "CELL 0.71073 5 6 7 90 95 90\nSFAC C O\nUNIT 8 8\n" : text.substr(0, gap + 1);
  const std::string rest = gap == text.npos ? text : text.substr(gap + 2);
  for (const std::string& rows : {rest, RowsOf(rest)}) {
    phase::Problem problem;
    std::string sentence;
    if (!phase::MakeProblem(header, rows, problem, sentence)) {
      Require(!sentence.empty(), "refused without a sentence", text);
      continue;
    }
    phase::SolveOptions options;
    options.threads = 1;
    options.effort = 0.01;
    int steps = 0;
    options.progress = [&](const std::string&, double share) {
      Require(!std::isnan(share), "no share", text);
      return ++steps < 12;
    };
    const phase::Solution solution = phase::Solve(problem, options);
    Require(solution.solved || solution.cancelled || !solution.sentence.empty(), "not solved and nothing said", text);
    phase::ComposeReport(problem, solution);
    for (const phase::Candidate& candidate : solution.candidates) {
      const std::string written = ComposeInstructions(problem, candidate);
      Document document;
      RecordingMessages messages;
      Require(ReadInstructionText(document, written, messages), "the model cannot be read", written);
      for (const AtomRecord* atom : Atoms(document.atoms))
        Require(IsFinite(atom->fract), "an atom is nowhere", written);
    }
  }
  return 0;
}

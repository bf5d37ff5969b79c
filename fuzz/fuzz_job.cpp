#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

#include "files/cif/cif_text.h"
#include "files/res/reader.h"
#include "refine/job/session.h"
#include "refine/output/cif_file.h"
#include "refine/output/tables.h"

#include "fuzz/require.h"

using namespace marvik;

namespace {

// What a diffractometer might have given for any cell; the numbers of the intensities are of no meaning.
std::vector<Reflection> SomeReflections() {
  std::vector<Reflection> reflections;
  for (int h = -2; h <= 2; ++h)
    for (int k = -2; k <= 2; ++k)
      for (int l = 0; l <= 3; ++l)
        if (h || k || l) reflections.push_back({{h, k, l}, 10.0 + 7.0 * ((h * 5 + k * 3 + l) & 7), 1.0, 1});
  return reflections;
}

// A CIF as the engine writes it: one block, no row that is cut, no number that is none.
void RequireCif(const std::string& cif, const std::string& text) {
  CifReader reader(cif, {"_"});
  CifBlock block;
  Require(reader.Next(block), "the CIF has no block", text);
  for (const CifLoop& loop : block.loops) {
    Require(!loop.isCut, "a row of the CIF is cut", cif);
    for (const CifValue value : loop.values)
      Require(value != "nan" && value != "-nan" && value != "inf" && value != "-inf", "a number is none", cif);
  }
  Require(!reader.Next(block), "the CIF has a second block", cif);
}

}  // namespace

// One cycle with whatever a file asks for: a job that cannot be done is refused with a sentence, and what is done gives
// a result, a listing and CIFs that can be read, without a number that is none.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Session session;
  RecordingMessages messages;
  if (!ReadInstructionText(session.document, text, messages) || session.document.atoms.LiveCount() > 30) return 0;
  const LineSink quiet = [](const std::string&) {};
  std::string problem;
  if (!PrepareSession(session, SomeReflections(), quiet, problem)) {
    Require(!problem.empty(), "refused without a sentence", text);
    return 0;
  }
  session.job.cycles = std::min(session.job.cycles, 1);
  session.job.threads = 1;
  if (!RefineSession(session, quiet)) return 0;
  const std::string result = ComposeResult(session, messages);
  Document again;
  Require(result.empty() || ReadInstructionText(again, result, messages), "the result cannot be read", result);
  for (const AtomRecord* atom : Atoms(again.atoms)) Require(IsFinite(atom->fract), "an atom is nowhere", result);
  session.bonds = MakeBonds(session.structure, session.document, session.job.commands);
  for (auto& list : session.bonds) list.resize(std::min<size_t>(list.size(), 12));
  ComposeListing(session, "");
  session.name = "a";
  session.coverage = MeasureCoverage(SomeReflections(), session.structure.group, session.structure.metric,
                                     session.job.limits, session.merging.thetaMax, 25.0);
  RequireCif(ComposeCif(session, {result, "", ""}), text);
  for (const int list : {4, 6}) {
    session.job.list = list;
    RequireCif(ComposeReflectionList(session), text);
  }
  return 0;
}

#include "check/data_density.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

#include "base/files.h"
#include "check/data_session.h"
#include "files/res/reader.h"

#include "support/test_files.h"

namespace marvik {
namespace {

// A published model, refined some more in memory with the peaks that this leaves; then the result as it stands in its
// file, digits and all. False without the files.
bool RefineReal(const std::string& base, Session& s, Document& result) {
  RecordingMessages messages;
  const FileContent start = ReadWholeFile(base + ".res"), hkl = ReadWholeFile(base + ".hkl");
  if (!start.opened || !hkl.opened || !ReadInstructionText(s.document, start.content, messages)) return false;
  std::vector<AtomRecord*> peaks;
  for (AtomRecord* atom : Atoms(s.document.atoms))
    if (atom->IsPeak()) peaks.push_back(atom);
  s.document.atoms.KillAtoms(peaks);
  s.document.settings.Cycles = 1;
  std::string problem;
  const LineSink quiet = [](const std::string&) {};
  const HklFormat format = ParseHklf(s.document.instructions.hklfLine);
  EXPECT_TRUE(PrepareSession(s, ParseHklFile(hkl.content, format).reflections, quiet, problem)) << base << problem;
  EXPECT_TRUE(RefineSession(s, quiet)) << base;
  return ReadInstructionText(result, ComposeResult(s, messages), messages);
}

double Apart(const Session& s, const Fractional& a, const Fractional& b) {
  double least = 1e9;
  for (const SymmetryOperator& op : s.structure.group.all) {
    Fractional d = op.Apply(a) - b;
    for (int i = 0; i < 3; ++i) d[i] -= std::round(d[i]);
    least = std::min(least, std::sqrt(s.structure.metric.DistanceSquared(d, {})));
  }
  return least;
}

// By the list and by the map that is drawn, whose grid is another one. The zinc of the second has an imaginary part
// that no map of a centrosymmetric structure may show.
TEST(DataDensity, HasThePeaksOfTheRefinement) {
  const std::string folder = test::RealDataFolder() + "pairs/";
  for (const char* name : {"centred_r", "disorder_4fv", "rigu_945", "small_46", "salt_p212121", "urea_p421m"}) {
    Session s;
    Document result;
    if (!RefineReal(folder + name, s, result)) GTEST_SKIP() << "no real data";
    const DataDensity data = DensityFromData(result, folder + name + ".hkl", MapKind::Difference, s.peaks.size() + 5);
    ASSERT_TRUE(data.map) << name << data.problem;
    EXPECT_TRUE(data.notes.empty()) << name << data.notes[0];
    result.instructions.hklfLine = "HKLF 5";
    const DataDensity unmerged = DensityFromData(result, folder + name + ".hkl", MapKind::Difference);
    ASSERT_EQ(unmerged.notes.size(), 1u) << name;
    EXPECT_NE(unmerged.notes[0].find("HKLF 5 are not merged"), std::string::npos) << unmerged.notes[0];
    for (const DensityPeak& peak : data.peaks) {
      const auto isTwice = [](const auto& a, const auto& b) {
        return a.atom == b.atom && b.distance - a.distance < 1e-3;
      };
      EXPECT_TRUE(std::ranges::adjacent_find(peak.nearest, isTwice) == peak.nearest.end()) << name;
    }
    for (const auto& list : {data.peaks, PeaksOf(s, *data.map, s.peaks.size() + 5, false)}) {
      for (const Peak& peak : s.peaks) {
        const auto apart = [&](const DensityPeak& p) { return Apart(s, p.x, peak.x); };
        const DensityPeak& same = *std::ranges::min_element(list, {}, apart);
        EXPECT_LT(apart(same), 0.02) << name << " " << peak.height;
        EXPECT_NEAR(same.height, peak.height, 0.01 * peak.height + 0.003) << name;
      }
    }
  }
}

}  // namespace
}  // namespace marvik

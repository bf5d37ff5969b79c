#include "app/density.h"

#include <algorithm>
#include <cmath>

#include "app/bench_fixture.h"
#include "app/picture/picture_output.h"
#include "app/refinement/solve_flow.h"
#include "app/reports.h"
#include "base/numbers.h"
#include "base/stop.h"
#include "check/data_hydrogens.h"
#include "check/data_mask.h"
#include "draw/surface/lit_picture.h"

#include "support/kept_outputs.h"

namespace marvik {
namespace {

using test::BenchTest;

class DensityTest : public BenchTest {
 protected:
  // A published structure with its reflections, copied to where a test may change it. False without the files.
  bool OpenReal(const std::string& name) {
    const std::string from = EnvironmentValue("MARVIK_REAL_DATA").value_or("") + "/pairs/" + name;
    folder.Put("real.hkl", ReadWholeFile(from + ".hkl").content);
    return OpenFile(bench, folder.Put("real.res", ReadWholeFile(from + ".res").content));
  }
  std::string Texts() {
    std::string list;
    for (const UserMessage& message : messages.shown) list += message.text + "|";
    messages.shown.clear();
    return list;
  }
};

TEST_F(DensityTest, RefusalsAreOneSentenceEachAndLeaveItOff) {
  EXPECT_EQ(Run(590), Outcome::Failed);
  EXPECT_EQ(Texts(), "The structure has no file yet, so that no reflections lie beside it.|");
  ASSERT_TRUE(Open());
  EXPECT_EQ(Run(591), Outcome::Failed);
  EXPECT_EQ(Texts(), "small.hkl is not there: a map needs the reflections beside the structure.|");
  folder.Put("small.hkl", "");
  EXPECT_EQ(Run(597, "C1 N1 O1"), Outcome::Failed);
  EXPECT_EQ(Texts(), "small.hkl holds no reflections.|");
  bench.document.instructions.hklfLine = "HKLF 1";
  EXPECT_EQ(Run(590, "on"), Outcome::Failed);
  EXPECT_EQ(BatchReport(bench, ReportKind::Peaks, ReportFormat::Text), std::nullopt);
  EXPECT_EQ(Texts(),
            "HKLF 1 is not read: only reflections of HKLF 2 to 6 are.|"
            "HKLF 1 is not read: only reflections of HKLF 2 to 6 are.|");
  EXPECT_FALSE(CommandChecked(bench, 590));
  EXPECT_EQ(bench.ScreenOptions().net, nullptr);
  for (const char* level : {"0", "-1", "s", "3x", "1e9"}) EXPECT_EQ(Run(594, level), Outcome::Failed);
}

TEST_F(DensityTest, AMapOfARealStructureIsDrawnInEveryFormat) {
  if (!OpenReal("plain_p21c")) GTEST_SKIP() << "no real data";
  ASSERT_EQ(Run(592), Outcome::Done) << Texts();
  ASSERT_EQ(Run(594, "1.5"), Outcome::Done);
  const auto net = bench.ScreenOptions().net;
  ASSERT_TRUE(net);
  EXPECT_EQ(net, bench.ScreenOptions().net) << "kept while nothing changes";
  // Every atom of the model but hydrogens stands in density.
  for (const AtomRecord* atom : Atoms(bench.document.atoms, kVisibleOnly)) {
    if (atom->IsPeak() || atom->element->atomicNumber == kHydrogenRow || atom->occupancy < 0.9) continue;
    EXPECT_GT(bench.density->data.map->Interpolate(atom->fract), 1.5) << atom->name;
  }
  for (const int mode : {int{kWireFrame}, int{kThermalEllipsoid}, kLitRendition}) {
    bench.RenditionMode = mode;
    PictureOptions picture;
    picture.size = 300;
    for (const char* format : {"png", "svg", "pdf"}) {
      Run(590, "on");
      const auto drawn = DrawPicture(bench, picture, format);
      Run(590, "off");
      const auto plain = DrawPicture(bench, picture, format);
      ASSERT_TRUE(drawn && plain);
      EXPECT_GT(drawn->size(), plain->size() + plain->size() / 10) << format << " " << mode;
    }
    Run(592);
  }
  Run(144, "C1 C2 C3");
  EXPECT_EQ(Run(597), Outcome::Done) << Texts();
  EXPECT_FALSE(bench.ScreenOptions().net->texts.empty());
  EXPECT_TRUE(CommandChecked(bench, 597));
  const size_t usual = bench.ScreenOptions().net->lines.size();
  EXPECT_EQ(Run(599, "0.25"), Outcome::Done);
  EXPECT_EQ(bench.density->contourStep, 0.25);
  EXPECT_NE(bench.ScreenOptions().net->lines.size(), usual);
  for (const NetText& text : bench.ScreenOptions().net->texts) {
    const double level = std::stod(text.text);
    EXPECT_EQ(level, 0.25 * std::round(level / 0.25));
  }
  EXPECT_EQ(Run(599, "0.001"), Outcome::Done);
  EXPECT_NE(DensityText(*bench.density).find("the step is too small"), std::string::npos);
  EXPECT_EQ(Run(599, "0"), Outcome::Failed);
  EXPECT_EQ(Run(599, "auto"), Outcome::Done);
  EXPECT_EQ(bench.ScreenOptions().net->lines.size(), usual);
  EXPECT_EQ(Run(597, "off"), Outcome::Done);
  EXPECT_TRUE(bench.ScreenOptions().net->texts.empty());
  EXPECT_EQ(bench.history.UndoName(), "");
}

// Acetonitrile on a threefold axis, two molecules of 22 electrons in the cell, taken out of a published model.
TEST_F(DensityTest, AMaskHoldsTheElectronsOfThePublishedSolvent) {
  for (const char* wrong : {"prob=1", "probe=0", "grid=x", "off"}) EXPECT_EQ(Run(625, wrong), Outcome::Failed) << wrong;
  messages.shown.clear();
  if (!OpenReal("rigu_287")) GTEST_SKIP() << "no real data";
  EXPECT_EQ(BatchReport(bench, ReportKind::Voids, ReportFormat::Json), std::nullopt);
  EXPECT_EQ(Texts(), "There is no void of 20 Å³ or more: the atoms fill the cell.|");
  Run(144, "N3 C23 C24 H23A H23B H23C");
  Run(113);
  messages.shown.clear();
  ASSERT_EQ(Run(625), Outcome::Changed) << Texts();
  const double electrons = bench.density->voids->mask.electrons;
  EXPECT_NEAR(electrons, 44.0, 4.4);
  EXPECT_LT(bench.density->voids->r1, bench.density->voids->r1Before - 0.01);
  ASSERT_TRUE(bench.ScreenOptions().net);
  std::string net;
  for (const NetLine& line : bench.ScreenOptions().net->lines)
    net += Printf("%.3f %.3f %.3f\n", line.a[0] + line.b[0], line.a[1] + line.b[1], line.a[2] + line.b[2]);
  test::ExpectKept("real", "net of voids", net);
  EXPECT_TRUE(ReadWholeFile(folder / "real.fab").opened);
  const auto hasAbin = [&] {
    return std::ranges::any_of(bench.document.instructions.kept, [](const KeptLine& k) { return k.text == "ABIN"; });
  };
  EXPECT_TRUE(hasAbin());
  // With the mask, the map has lost what the solvent was.
  const DataDensity masked = DensityFromData(bench.document, folder / "real.hkl", MapKind::Difference, 1);
  EXPECT_NEAR(masked.r1, bench.density->voids->r1, 0.002);
  EXPECT_EQ(Run(625), Outcome::Done) << "the mask is made anew from the atoms alone";
  EXPECT_NEAR(bench.density->voids->mask.electrons, electrons, 0.1);
  EXPECT_EQ(Run(627), Outcome::Done);
  EXPECT_FALSE(bench.ScreenOptions().net);
  Run(500);
  EXPECT_FALSE(hasAbin());
  // In the window: made elsewhere, an undoable step when it comes, and not taken for another model.
  std::vector<std::function<void()>> done;
  bench.hooks.inBackground = [&](const std::string&, const BackgroundWork& work) { done.push_back(work()); };
  EXPECT_EQ(Run(625), Outcome::Done);
  EXPECT_FALSE(hasAbin());
  done.back()();
  EXPECT_TRUE(hasAbin());
  EXPECT_EQ(bench.history.UndoName(), "Solvent Mask");
  messages.shown.clear();
  Run(625);
  bench.document.instructions.kept.push_back({KeptPlace::Body, "TWIN"});
  bench.SetModified(true);
  done.back()();
  EXPECT_EQ(Texts(), "The structure has changed while its voids were looked for.|");
  // Lists come when they are there, and stay while the structure changes; nothing comes of what was stopped.
  std::vector<ReportKind> lists;
  bench.hooks.showReport = [&](const ReportRequest& request) { lists.push_back(request.kind); };
  EXPECT_EQ(Run(598), Outcome::Done);
  EXPECT_TRUE(lists.empty());
  done.back()();
  EXPECT_EQ(lists, std::vector{ReportKind::Peaks});
  ReportRequest request;
  request.kind = ReportKind::Peaks;
  const auto peaks = [&] { return ComposeReport(bench, request); };
  ASSERT_TRUE(peaks());
  bench.SetModified(true);
  EXPECT_TRUE(peaks());
  std::stop_source stop;
  stop.request_stop();
  {
    const StopScope scope(stop.get_token());
    EXPECT_FALSE(MakeDataReport(bench.document, ReportKind::Peaks).report);
  }
  EXPECT_EQ(Texts(), "");
  bench.hooks.inBackground = nullptr;
  EXPECT_EQ(Run(625), Outcome::Failed);
  EXPECT_EQ(Texts(),
            "The crystal is a twin: what belongs to the voids cannot be told from what the other components add.|");
}

// The recorded groups were turned by least squares; the map has to find them without their hydrogens.
TEST_F(DensityTest, HydrogensTurnToWhereTheyWerePublished) {
  EXPECT_EQ(Run(628), Outcome::Failed);
  ASSERT_TRUE(OpenFile(bench, folder.Put("small.res", test::kSmallFile)));
  EXPECT_EQ(Run(628), Outcome::Failed);
  EXPECT_EQ(Run(628, "Nobody"), Outcome::Failed);
  EXPECT_EQ(messages.shown.size(), 3u);
  size_t groups = 0;
  for (const char* name : {"plain_p21c", "small_46", "salt_p212121", "rigu_287", "disorder_4fv"}) {
    if (!OpenReal(name)) GTEST_SKIP() << "no real data";
    std::string problem;
    const auto turns = TurnHydrogensByMap(bench.document, folder / "real.hkl", problem);
    ASSERT_FALSE(turns.empty()) << name << problem;
    for (const HydrogenTurn& turn : turns) {
      if (turn.contrast < 1.5) continue;
      EXPECT_LE(turn.degrees, 20.0) << name;
      ++groups;
    }
  }
  EXPECT_GE(groups, 13u);
  // Turned out of place, shown, and not taken; then taken.
  ASSERT_TRUE(OpenReal("small_46"));
  std::string problem;
  const HydrogenTurn one = TurnHydrogensByMap(bench.document, folder / "real.hkl", problem)[0];
  const auto first = [&] { return bench.document.atoms.FindSerial(one.hydrogens[0])->fract; };
  std::vector<Fractional> wrong;
  for (const uint32_t serial : one.hydrogens) wrong.push_back(bench.document.atoms.FindSerial(serial)->fract);
  const Fractional middle = (wrong[0] + wrong[1] + wrong[2]) / 3.0;
  for (size_t i = 0; i < 3; ++i)  // opposite to where they were, about the bond
    bench.document.atoms.FindSerial(one.hydrogens[i])->fract = middle * 2.0 - wrong[i];
  const Fractional turned = first();
  messages.answers = {false};
  EXPECT_EQ(Run(628), Outcome::Cancelled);
  EXPECT_EQ(first(), turned);
  EXPECT_EQ(Run(628), Outcome::Changed);
  double nearest = 1.0;
  for (const Fractional& place : one.places) nearest = std::min(nearest, Length(first() - place));
  EXPECT_LT(nearest, 1e-3);
  Run(500);
  EXPECT_EQ(first(), turned);
  // Not all of them: the first is taken, of the others none.
  ASSERT_TRUE(OpenReal("plain_p21c"));
  const auto turns = TurnHydrogensByMap(bench.document, folder / "real.hkl", problem);
  const auto place = [&](size_t i) { return bench.document.atoms.FindSerial(turns[i].hydrogens[0])->fract; };
  const Fractional untouched = place(1);
  std::vector<size_t> rows;
  bench.hooks.chooseModel = [&](const FoundModels& found, const auto& show) -> std::optional<size_t> {
    rows.push_back(found.rows.size());
    show(0);
    EXPECT_EQ(place(1), turns[1].places[0]);
    EXPECT_FALSE(bench.document.atoms.selection.Empty());
    return rows.size() == 1 ? std::optional<size_t>(1) : std::nullopt;
  };
  EXPECT_EQ(Run(628), Outcome::Changed);
  EXPECT_EQ(rows, (std::vector{turns.size() + 1, turns.size()}));
  EXPECT_EQ(place(0), turns[0].places[0]);
  EXPECT_EQ(place(1), untouched);
  EXPECT_TRUE(bench.document.atoms.selection.Empty());
}

TEST_F(DensityTest, NetsAreDrawnAboutOneAtomOrThePointer) {
  if (!OpenReal("plain_p21c")) GTEST_SKIP() << "no real data";
  EXPECT_EQ(Run(687, "Nobody"), Outcome::Failed);
  ASSERT_EQ(Run(592), Outcome::Done);
  const auto lines = [&] { return bench.ScreenOptions().net->lines.size(); };
  const size_t all = lines();
  ASSERT_EQ(Run(687, "C1"), Outcome::Done);
  EXPECT_LT(lines(), all / 2);
  for (const NetLine& line : bench.ScreenOptions().net->lines)
    EXPECT_LT(Distance(line.a, Atom("C1")->position), 3.5 + 1.8 + 0.4);
  EXPECT_EQ(Run(687, "off"), Outcome::Done);
  EXPECT_EQ(lines(), all);
  EXPECT_FALSE(bench.density->PointAt(Atom("C1")->serial)) << "it does not follow";
  EXPECT_EQ(Run(687), Outcome::Done);
  EXPECT_EQ(lines(), all);
  EXPECT_TRUE(bench.density->PointAt(Atom("C1")->serial));
  EXPECT_FALSE(bench.density->PointAt(Atom("C1")->serial));
  EXPECT_LT(lines(), all / 2);
  EXPECT_EQ(Run(687), Outcome::Done);
  EXPECT_FALSE(CommandChecked(bench, 687));
}

}  // namespace
}  // namespace marvik

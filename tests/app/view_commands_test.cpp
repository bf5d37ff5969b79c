#include <algorithm>
#include <set>
#include <sstream>

#include "app/bench_fixture.h"
#include "app/picture/picture_output.h"
#include "app/picture/picture_settings.h"
#include "draw/surface/lit_picture.h"
#include "gl/gl_scene.h"

namespace marvik {
namespace {

using test::BenchTest;

class ViewTest : public BenchTest {
 protected:
  ViewTest() {
    std::string text = test::kSmallFile;
    text.replace(text.find("10 10 10 90 90 90"), 17, "8 11 14 82 75 104");
    EXPECT_TRUE(Open(text, "small.res"));
  }
  ViewPoint Seen(const Cartesian& direction) {
    const ViewPoint from = bench.view.TransformPoint({}).p;
    return Normalised(bench.view.TransformPoint(Normalised(direction)).p - from);
  }
  ViewPoint Edge(int i) {
    Fractional unit;
    unit[i % 3] = 1.0;
    return Seen(bench.document.matrix * unit);
  }
  ViewPoint From(const char* a, const char* b) { return Seen(Atom(b)->position - Atom(a)->position); }
};

TEST_F(ViewTest, AxesComeToTheViewerWithTheOthersInRightHandedOrder) {
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(Run(580 + i), Outcome::Done);
    EXPECT_NEAR(Edge(i).z, 1.0, 1e-6) << i;
    EXPECT_GT(Edge(i + 1).x, 0.5) << "to the right, as the cell has it, not its mirror image";
    EXPECT_NEAR(Edge(i + 2).x, 0.0, 1e-6);
    EXPECT_GT(Edge(i + 2).y, 0.5) << "upright";
    ASSERT_EQ(Run(583 + i), Outcome::Done);
    EXPECT_GT(Edge(i).z, 0.5);
    EXPECT_NEAR(Edge(i + 1).z, 0.0, 1e-6) << "a reciprocal axis stands on the other two edges";
    EXPECT_NEAR(Edge(i + 2).y, 1.0, 1e-6);
    EXPECT_GT(Edge(i + 1).x, 0.5);
  }
  EXPECT_FALSE(bench.modified);
  EXPECT_EQ(bench.history.UndoName(), "") << "a view is nothing to undo";
}

TEST_F(ViewTest, BondsAndPlanesArePickedSelectedOrNamed) {
  bench.PickBond(Bond("C1", "C2"));
  Run(588);
  EXPECT_NEAR(std::abs(From("C1", "C2").z), 1.0, 1e-6);
  Run(589);
  EXPECT_NEAR(std::abs(From("C1", "C2").x), 1.0, 1e-6) << "also from where it pointed to the viewer";
  bench.ClearPick();
  EXPECT_EQ(Run(588, "C1 O2"), Outcome::Done);
  EXPECT_NEAR(From("C1", "O2").z, 1.0, 1e-6) << "the second atom is the nearer";
  Run(163, "C1 N1 O1 H1");
  EXPECT_EQ(Run(587), Outcome::Done);
  EXPECT_GT(From("C1", "C2").x, 0.99);
  EXPECT_NEAR(From("C1", "O1").z, 0.0, 0.05);
  EXPECT_EQ(Run(588), Outcome::Failed) << "four atoms are no bond";
  const Matrix4 before = bench.view.modelview;
  EXPECT_EQ(Run(587, "C1 C2 C1"), Outcome::Failed);
  EXPECT_EQ(Run(587, "C1 C2 X9"), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: Insufficient Selections|Error: Insufficient Selections|Error: No Atoms Selected");
  EXPECT_EQ(bench.view.modelview, before);
}

// Three atoms 2 Å apart along c.
TEST_F(ViewTest, ClipPlanesCutEveryRenditionAndFollowTheTurn) {
  ASSERT_TRUE(
      OpenFile(bench, folder.Put("row.res",
                                 "TITL row\nCELL 0.71073 10 10 10 90 90 90\nLATT -1\nSFAC C\nUNIT 3\nFVAR 1\n"
                                 "C1 1 .5 .5 .3 11 .05\nC2 1 .5 .5 .5 11 .05\nC3 1 .5 .5 .7 11 .05\nHKLF 4\nEND\n")));
  Run(582);
  const auto drawn = [&] {
    std::string names;
    const auto svg = DrawPicture(bench, {}, "svg");
    for (const char* name : {"C1", "C2", "C3"})
      if (svg && svg->find(std::string(">") + name + "<") != std::string::npos) names += name;
    return names;
  };
  for (const int mode : {int{kWireFrame}, int{kBallAndStick}, int{kThermalEllipsoid}}) {
    bench.RenditionMode = mode;
    Run(kClipCommand, "off");
    EXPECT_EQ(drawn(), "C1C2C3");
    ASSERT_EQ(Run(kClipCommand, "1,-1"), Outcome::Done);
    EXPECT_EQ(drawn(), "C2");
    Run(kClipCommand, "3,-1");
    EXPECT_EQ(drawn(), "C2C3") << "the nearer end of c is C3";
  }
  EXPECT_EQ(BuildLitScene(bench.document, bench.view, bench.ScreenOptions()).balls.size(), 2u);
  GlPictureOptions gl;
  EXPECT_EQ(BuildGlScene(bench.document, bench.view, 200, gl, nullptr).atoms.size(), 2u);
  const std::string recipe = folder / "cut.recipe";
  ASSERT_EQ(Run(kSaveRecipeCommand, recipe), Outcome::Done);
  Run(580);
  EXPECT_EQ(drawn(), "C1C2C3") << "side by side";
  Run(kResetViewCommand);
  EXPECT_FALSE(bench.view.IsClipped());
  ASSERT_NE(Run(kApplyRecipeCommand, recipe), Outcome::Failed);
  EXPECT_EQ(drawn(), "C2C3");
  for (const char* wrong : {"1,2", "1", "a,b", "nan,-1", "1,1", "on"})
    EXPECT_EQ(Run(kClipCommand, wrong), Outcome::Failed) << wrong;
  Run(kClipCommand, "off");
  for (int i = 0; i < 12; ++i) Run(kClipThinnerCommand);
  EXPECT_EQ(drawn(), "C2");
  for (int i = 0; i < 8; ++i) Run(kClipNearerCommand);
  EXPECT_EQ(drawn(), "C3");
  for (int i = 0; i < 16; ++i) Run(kClipFartherCommand);
  EXPECT_EQ(drawn(), "C1");
  for (int i = 0; i < 40; ++i) Run(kClipThickerCommand);
  EXPECT_FALSE(bench.view.IsClipped());
  EXPECT_FALSE(bench.modified);
}

TEST_F(ViewTest, CommandsTellWhatIsDrawn) {
  std::string told;
  bench.hooks.tell = [&](const std::string& sentence) { told = sentence; };
  const struct {
    int id;
    const char *argument, *sentence;
  } kSteps[] = {{kClipCommand, "2,-2", "Drawn from -2.00 Å to 2.00 Å before the middle"},
                {kClipThickerCommand, "", "Drawn from -2.30 Å to 2.30 Å before the middle"},
                {kClipNearerCommand, "", "Drawn from -2.05 Å to 2.55 Å before the middle"},
                {kClipThinnerCommand, "", "Drawn from -1.75 Å to 2.25 Å before the middle"},
                {kClipFartherCommand, "", "Drawn from -2.00 Å to 2.00 Å before the middle"},
                {kClipCommand, "off", "All depths are drawn"},
                {kHydrogenBondsCommand, "",
                 "0 hydrogen bonds between atoms that are shown; Grow and Pack show those between molecules"},
                {kHydrogenBondsCommand, "", ""},
                {kShortContactsCommand, "", "1 short contact between atoms that are shown"},
                {kShortContactsCommand, "", ""},
                {kTripodCommand, "", ""},
                {kPlanesCommand, "", ""}};
  // An oxygen atom 2.9 Å from another, along a.
  Atom("O2")->fract = Atom("O1")->fract + Fractional{2.9 / 8.0, 0.0, 0.0};
  bench.document.RecomputePositions();
  bench.ConnectAndReframe();
  for (const auto& [id, argument, sentence] : kSteps) {
    told.clear();
    ASSERT_EQ(Run(id, argument), Outcome::Done) << id;
    EXPECT_EQ(told, sentence) << id;
  }
  // Each switch of the figure is one line of its style, and off again when it is thrown again.
  const auto lines = [&] {
    std::set<std::string> set;
    std::istringstream text(StyleText(StyleOf(bench)));
    for (std::string line; std::getline(text, line);) set.insert(line);
    return set;
  };
  for (const int id : {653, 654, 655, 656, 657, 658, 659, 660, int{kPlanesCommand}}) {
    const auto before = lines();
    Run(id);
    const auto after = lines();
    std::vector<std::string> changed;
    std::ranges::set_difference(after, before, std::back_inserter(changed));
    EXPECT_EQ(changed.size(), 1u) << id;
    Run(id);
    EXPECT_EQ(lines(), before) << id;
  }
}

}  // namespace
}  // namespace marvik

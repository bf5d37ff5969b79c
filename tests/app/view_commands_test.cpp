#include "app/bench_fixture.h"
#include "app/commands/command_table.h"
#include "app/open_save.h"

namespace marvik {
namespace {

using test::BenchTest;

class ViewTest : public BenchTest {
 protected:
  ViewTest() {
    std::string text = test::kSmallFile;
    text.replace(text.find("10 10 10 90 90 90"), 17, "8 11 14 82 75 104");
    EXPECT_TRUE(OpenFile(bench, folder.Put("small.res", text)));
  }
  ViewPoint Seen(const Cartesian& direction) {
    const ViewPoint from = bench.view.transformPoint({}).p;
    return Normalised(bench.view.transformPoint(Normalised(direction)).p - from);
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
    ASSERT_EQ(RunCommand(bench, 580 + i), Outcome::Done);
    EXPECT_NEAR(Edge(i).z, 1.0, 1e-6) << i;
    EXPECT_GT(Edge(i + 1).x, 0.5) << "to the right, as the cell has it, not its mirror image";
    EXPECT_NEAR(Edge(i + 2).x, 0.0, 1e-6);
    EXPECT_GT(Edge(i + 2).y, 0.5) << "upright";
    ASSERT_EQ(RunCommand(bench, 583 + i), Outcome::Done);
    EXPECT_GT(Edge(i).z, 0.5);
    EXPECT_NEAR(Edge(i + 1).z, 0.0, 1e-6) << "a reciprocal axis stands on the other two edges";
    EXPECT_NEAR(Edge(i + 2).y, 1.0, 1e-6);
    EXPECT_GT(Edge(i + 1).x, 0.5);
  }
  EXPECT_FALSE(bench.modified);
  EXPECT_EQ(bench.history.UndoName(), "") << "a view is nothing to undo";
}

TEST_F(ViewTest, BondsAndPlanesArePickedSelectedOrNamed) {
  bench.PickBond(bench.document.atoms.FindBond(Atom("C1"), Atom("C2")));
  RunCommand(bench, 588);
  EXPECT_NEAR(std::abs(From("C1", "C2").z), 1.0, 1e-6);
  RunCommand(bench, 589);
  EXPECT_NEAR(std::abs(From("C1", "C2").x), 1.0, 1e-6) << "also from where it pointed to the viewer";
  bench.ClearPick();
  EXPECT_EQ(RunCommand(bench, 588, "C1 O2"), Outcome::Done);
  EXPECT_NEAR(From("C1", "O2").z, 1.0, 1e-6) << "the second atom is the nearer";
  RunCommand(bench, 163, "C1 N1 O1 H1");
  EXPECT_EQ(RunCommand(bench, 587), Outcome::Done);
  EXPECT_GT(From("C1", "C2").x, 0.99);
  EXPECT_NEAR(From("C1", "O1").z, 0.0, 0.05);
  EXPECT_EQ(RunCommand(bench, 588), Outcome::Failed) << "four atoms are no bond";
  const Matrix4 before = bench.view.modelview;
  EXPECT_EQ(RunCommand(bench, 587, "C1 C2 C1"), Outcome::Failed);
  EXPECT_EQ(RunCommand(bench, 587, "C1 C2 X9"), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: Insufficient Selections|Error: Insufficient Selections|Error: No Atoms Selected");
  EXPECT_EQ(bench.view.modelview, before);
}

}  // namespace
}  // namespace marvik

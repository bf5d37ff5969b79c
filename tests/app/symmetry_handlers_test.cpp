
#include "bench_fixture.h"

namespace marvik::test {
namespace {

// Half of a ring about the inversion centre, and an ion.
constexpr char kHalfRing[] =
    "TITL half\nCELL 0.71073 8 9 10 90 95 90\nZERR 1 0 0 0 0 0 0\nLATT 1\nSFAC C O\nUNIT 6 2\nFVAR 1.0\n"
    "C1 1 0.12 0.10 0.0 11.0 0.05\nC2 1 0.175 -0.05 0.0 11.0 0.05\nC3 1 0.06 -0.15 0.0 11.0 0.05\n"
    "O9 2 0.5 0.5 0.4 11.0 0.05\nHKLF 4\nEND\n";

class SymmetryHandlers : public BenchTest {
 protected:
  SymmetryHandlers() { EXPECT_TRUE(Open(kHalfRing, "half.res")); }
  size_t Count() const { return bench.document.atoms.LiveCount(); }
};

TEST_F(SymmetryHandlers, GrowTrimAndUndo) {
  EXPECT_EQ(Run(138), Outcome::Changed);
  EXPECT_EQ(Count(), 7u);
  EXPECT_TRUE(bench.modified);
  EXPECT_EQ(CommandText(bench, kUndoCommand), "&Undo Grow");
  EXPECT_EQ(Run(138), Outcome::Done);
  EXPECT_EQ(Run(kUndoCommand), Outcome::Changed);
  EXPECT_EQ(Count(), 4u);
  EXPECT_EQ(CommandText(bench, kUndoCommand), "&Undo");
  EXPECT_EQ(CommandText(bench, kRedoCommand), "Re&do Grow");
  EXPECT_EQ(Run(kRedoCommand), Outcome::Changed);
  EXPECT_EQ(Run(139), Outcome::Changed);
  EXPECT_EQ(Count(), 4u);
  EXPECT_EQ(Run(kRedoCommand), Outcome::Failed);
  EXPECT_EQ(Captions(), "Command Usage Error:");
}

TEST_F(SymmetryHandlers, PackTakesLimitsOrACountAndRefusesTheRest) {
  EXPECT_EQ(Run(142, "0,1,0,1,0,1"), Outcome::Changed);
  EXPECT_EQ(Count(), 8u * 6u + 2u);
  for (const char* bad : {"0,1,0,1", "a,1,0,1,0,1", "1,0,0,1,0,1", "0,1000,0,1000,0,1000", "0,1,0,1,0,1,2"})
    EXPECT_EQ(Run(142, bad), Outcome::Failed) << bad;
  EXPECT_NE(messages.shown[3].text.find("8000000000"), std::string::npos) << messages.shown[3].text;
  Run(kUndoCommand);
  EXPECT_EQ(Run(kPackCountCommand, "1"), Outcome::Changed);
  EXPECT_EQ(Run(kPackCountCommand, "many"), Outcome::Failed);
}

TEST_F(SymmetryHandlers, UniqShowsAFragmentAndUnUniqWhatWasShownBefore) {
  EXPECT_EQ(Run(212), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: Not UNIQued");
  EXPECT_EQ(Run(116), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: No Atoms Selected");
  Run(kSelectByNameCommand, "C2");
  EXPECT_EQ(Run(116), Outcome::Changed);
  EXPECT_EQ(bench.document.atoms.displaySubset.Size(), 3u);
  EXPECT_EQ(Run(129, "O9"), Outcome::Failed) << "it is not displayed";
  EXPECT_EQ(Run(212), Outcome::Changed);
  EXPECT_TRUE(bench.document.atoms.displaySubset.Empty());
  EXPECT_FALSE(bench.modified);
}

TEST_F(SymmetryHandlers, MoveNearNeedsASelectionAndATarget) {
  EXPECT_EQ(Run(246, "C1"), Outcome::Failed);
  EXPECT_EQ(LastText(), "You must select at least one atom to move near the target.");
  Run(kSelectByNameCommand, "O9");
  EXPECT_EQ(Run(246, "C77"), Outcome::Failed);
  EXPECT_EQ(Run(246, "C1"), Outcome::Changed);
}

}  // namespace
}  // namespace marvik::test

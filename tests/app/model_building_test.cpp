#include "app/measures.h"
#include "app/picture/picture_output.h"
#include "app/refinement/solve_flow.h"
#include "app/split_candidates.h"
#include "edit/part_list.h"
#include "files/res/writer.h"

#include "bench_fixture.h"

namespace marvik::test {
namespace {

// Two squares at 60 degrees, a swinging atom with a peak beside it, two disorders, and a bond across an inversion
// centre.
constexpr char kFile[] =
    "TITL build\nCELL 0.71073 10 10 10 90 90 90\nZERR 2 0.01 0.01 0.01 0 0 0\nLATT 1\nSFAC C O\nUNIT 12 4\nL.S. 4\n"
    "DFIX 1.45 0.02 C1 C2\nSADI C1 C2 C1 C4\nFVAR 1.0 0.7 0.6\n"
    "C1 1 0.10 0.10 0.20 11.0 0.05\nC2 1 0.25 0.10 0.20 11.0 0.05\nC3 1 0.25 0.25 0.20 11.0 0.05\n"
    "C4 1 0.10 0.25 0.20 11.0 0.05\n"
    "C5 1 0.10 0.60 0.20 11.0 0.05\nC6 1 0.30 0.60 0.20 11.0 0.05\nC7 1 0.10 0.70 0.373205 11.0 0.05\n"
    "C8 1 0.30 0.70 0.373205 11.0 0.05\n"
    "C9 1 0.50 0.50 0.57 11.0 0.05\n"
    "O1 2 0.80 0.20 0.80 11.0 0.03 0.03 0.13 0 0 0\nC10 1 0.80 0.34 0.80 11.0 0.03 0.03 0.03 0 0 0\n"
    "PART 1\nC11 1 0.70 0.80 0.50 21.0 0.05\nC12 1 0.50 0.90 0.90 31.0 0.05\n"
    "PART 2\nC13 1 0.72 0.84 0.50 -21.0 0.05\nPART 3\nC14 1 0.52 0.94 0.90 -31.0 0.05\nPART 0\n"
    "HKLF 4\nEND\nQ1 1 0.8 0.22 0.87 11.0 0.05 1.5\nQ2 1 0.0 0.0 0.0 11.0 0.05 0.2\n";

class ModelBuilding : public BenchTest {
 protected:
  ModelBuilding() {
    bench.FmolAfterChanges = false;
    EXPECT_TRUE(Open(kFile, "build.res"));
    bench.hooks.showText = [this](const std::string&, const std::string& text) { shown = text; };
    messages.shown.clear();
  }
  bool Shows(const std::string& text) const { return shown.find(text) != std::string::npos; }

  std::string shown;
};

TEST_F(ModelBuilding, RestraintsAreMadeListedWithWhatTheyAreAndTakenAway) {
  EXPECT_EQ(Run("restrain", "kind=distance C5 C6"), Outcome::Changed);
  EXPECT_TRUE(Writes("DFIX 2 C5 C6"));
  EXPECT_EQ(Run("restrain", "kind=angle sigma=0.03 C1 C2 C3"), Outcome::Changed);
  EXPECT_TRUE(Writes("DANG 2.121 0.03 C1 C3"));
  EXPECT_EQ(Run("restrain", "kind=flat C4 C3 C2 C1"), Outcome::Changed);
  EXPECT_TRUE(Writes("FLAT C4 C3 C2 C1"));
  EXPECT_EQ(Run("restraints"), Outcome::Done);
  // (1.50 - 1.45)² / 0.02²
  EXPECT_TRUE(Shows("6.25") && Shows("1.4500") && Shows("1.5000") && Shows("DFIX 1.45 0.02 C1 C2")) << shown;
  EXPECT_EQ(Run("remove-restraint", "1"), Outcome::Changed);
  EXPECT_FALSE(Writes("DFIX 1.45 0.02 C1 C2"));
  EXPECT_TRUE(Writes("SADI C1 C2 C1 C4"));
  Run(kUndoCommand);
  EXPECT_TRUE(Writes("DFIX 1.45 0.02 C1 C2"));
  EXPECT_EQ(Run("restrain", "kind=sum C11 C12"), Outcome::Changed);
  EXPECT_TRUE(Writes("SUMP 1 0.01 1 2 1 3"));
  EXPECT_EQ(Run("restrain", "kind=sum sigma=0.001 target=0.8 C11 C14"), Outcome::Changed);
  EXPECT_TRUE(Writes("SUMP -0.2 0.001 1 2 -1 3")) << "of the rest of a variable";
  ExpectRefused("restrain", "kind=sum C11 C13", "two or more free variables");
  ExpectRefused("restrain", "kind=sum C11 C1", "C1 has an occupancy that no free variable makes");
  ExpectRefused("restrain", "kind=flat C4 C3 C2 C1", "there already");
  ExpectRefused("restrain", "kind=same C1 C2 C3", "at least 4");
  ExpectRefused("restrain", "kind=distance C1 C2 C3", "pairs");
  ExpectRefused("restrain", "kind=chirality C1", "three neighbours");
  ExpectRefused("restrain", "kind=near C1 C2", "Kind:");
  ExpectRefused("restrain", "kind=distance Q1 C2", "is a peak");
  ExpectRefused("restrain", "kind=distance C1 C99", "Couldn't find C99");
  ExpectRefused("remove-restraint", "40", "no restraint number 40");
}

TEST_F(ModelBuilding, RestraintsGetOtherNumbersAndAreFoundByTheirAtoms) {
  EXPECT_EQ(Run("edit-restraint", "number=1 target=1.52"), Outcome::Changed);
  EXPECT_TRUE(Writes("DFIX 1.52 0.02 C1 C2"));
  EXPECT_EQ(Run("edit-restraint", "number=2 sigma=0.01"), Outcome::Changed);
  EXPECT_TRUE(Writes("SADI 0.01 C1 C2 C1 C4"));
  Run("restrain", "kind=equal-u C5 C6");
  Run("restrain", "kind=rigid C7 C8");
  EXPECT_EQ(Run("restraints-here", "C4"), Outcome::Done);
  EXPECT_TRUE(Shows("SADI 0.01") && !Shows("DFIX") && !Shows("RIGU")) << shown;
  EXPECT_EQ(Run("restraints-here", "C1 C7"), Outcome::Done);
  EXPECT_TRUE(Shows("DFIX 1.52") && Shows("RIGU C7 C8") && !Shows("EADP")) << shown;
  Run(kUndoCommand);
  Run(kUndoCommand);
  Run(kUndoCommand);
  EXPECT_TRUE(Writes("SADI C1 C2 C1 C4"));
  ExpectRefused("edit-restraint", "number=2 target=1.5", "SADI has no target");
  ExpectRefused("edit-restraint", "number=9 target=1.5", "no restraint number 9");
  ExpectRefused("edit-restraint", "number=1", "Neither");
  ExpectRefused("edit-restraint", "target=1.5", "Number:");
  ExpectRefused("edit-restraint", "number=1 sigma=0", "uncertainty");
  ExpectRefused("restraints-here", "C9", "Nothing restrains C9");
}

TEST_F(ModelBuilding, WhatIsMeasuredIsKeptInTheFileImagesIncluded) {
  EXPECT_EQ(Run("measure", "C2 C1 C4"), Outcome::Changed);
  EXPECT_TRUE(Writes("RTAB Angl C2 C1 C4"));
  EXPECT_EQ(Run("grow"), Outcome::Changed);
  const AtomRecord* image = nullptr;
  for (const AtomRecord* atom : Atoms(bench.document.atoms))
    if (atom->generated && atom->name == "C9") image = atom;
  ASSERT_TRUE(image);
  EXPECT_EQ(Run("measure", "C9 #" + std::to_string(image->serial)), Outcome::Changed);
  EXPECT_TRUE(Writes("RTAB Dist C9 C9_$1"));
  EXPECT_TRUE(Writes("EQIV $1 -x+1, -y+1, -z+1"));
  const std::vector<Measure> measures = MeasuresOf(bench);
  ASSERT_EQ(measures.size(), 2u);
  EXPECT_NEAR(measures[0].value, 90.0, 1e-9);
  EXPECT_NEAR(measures[1].value, 1.4, 1e-9);
  EXPECT_EQ(measures[1].names, "C9–C9_$1");
  // What was measured just now is drawn; a picture is what the window shows.
  ASSERT_TRUE(bench.ScreenOptions().marks);
  const auto marks = bench.ScreenOptions().marks;
  ASSERT_EQ(marks->measures.size(), 2u);
  EXPECT_EQ(marks->measures[1].places[1].atom, image);
  EXPECT_EQ(marks, bench.ScreenOptions().marks) << "kept while nothing changes";
  EXPECT_NE(StyleText(StyleOf(bench)).find("measurements on"), std::string::npos);
  EXPECT_EQ(Run("draw-measurements", "off"), Outcome::Done);
  EXPECT_FALSE(bench.ScreenOptions().marks || bench.ScreenOptions().contacts);
  EXPECT_EQ(Run("measure", "C1 C5"), Outcome::Changed);
  const auto lines = bench.ScreenOptions().contacts;
  ASSERT_TRUE(lines);
  EXPECT_EQ(std::ranges::count(*lines, ContactLine::Measured, &DrawnContact::line), 1);
  EXPECT_EQ(Run("remove-measurements", "3"), Outcome::Changed);
  EXPECT_EQ(Run("remove-measurements", "1"), Outcome::Changed);
  ASSERT_EQ(MeasuresOf(bench).size(), 1u);
  EXPECT_NEAR(MeasuresOf(bench)[0].value, 1.4, 1e-9);
  ExpectRefused("measure", "C1", "two atoms for a distance");
  ExpectRefused("measure", "C1 Q1", "is a peak");
  EXPECT_EQ(Run("measure-groups", "plane[C1 C2 C3 C4] plane[C5 C6 C7 C8]"), Outcome::Done);
  // Centroids (0.175, 0.175, 0.2) and (0.2, 0.65, 0.2866).
  EXPECT_TRUE(Shows("60.00 °") && Shows("4.8348 Å") && Shows("0.8660 Å")) << shown;
  EXPECT_EQ(Run("measure-groups", "C9 plane[C1 C2 C3]"), Outcome::Done);
  EXPECT_TRUE(Shows("3.7000 Å")) << shown;
  EXPECT_EQ(Run("measure-groups", "centroid[C1 C3] C2"), Outcome::Done);
  EXPECT_TRUE(Shows("1.0607 Å")) << shown;
  ExpectRefused("measure-groups", "plane[C1 C2] C3", "three atoms");
  EXPECT_EQ(Run("measure-groups", "plane[C1 C2 C3 C4]"), Outcome::Done);
  EXPECT_TRUE(Shows("0.0000 Å")) << shown;
  ExpectRefused("measure-groups", "C1", "a plane alone");
}

TEST_F(ModelBuilding, PlanesAndCentroidsAreOnThePicture) {
  EXPECT_FALSE(bench.ScreenOptions().marks);
  EXPECT_EQ(Run("measure-groups", "plane[C1 C2 C3 C4] plane[C5 C6 C7 C8]"), Outcome::Done);
  EXPECT_EQ(Run("measure-groups", "C9 plane[C1 C2 C3 C4]"), Outcome::Done);
  auto marks = bench.ScreenOptions().marks;
  ASSERT_TRUE(marks);
  EXPECT_EQ(marks->planes.size(), 2u) << "a plane that is there twice is drawn once";
  EXPECT_EQ(marks->centroids.size(), 2u);
  ASSERT_EQ(marks->measures.size(), 2u);
  EXPECT_EQ(marks->measures[0].text, "4.8348 Å, 60.00°");
  EXPECT_EQ(marks->measures[1].text, "3.7000 Å");
  EXPECT_NEAR(Length(marks->lines[1].to.at - marks->lines[1].from.at), 3.7, 1e-9) << "to the foot on the plane";
  for (AtomRecord* atom : Atoms(bench.document.atoms))
    if (atom->name == "C9") atom->Set(kHidden, true);
  EXPECT_EQ(bench.ScreenOptions().marks->measures.size(), 1u);
  EXPECT_EQ(Run("draw-planes", "off"), Outcome::Done);
  EXPECT_FALSE(bench.ScreenOptions().marks);
  EXPECT_EQ(Run("remove-measurements", ""), Outcome::Done);
  EXPECT_EQ(Run("draw-planes", "on"), Outcome::Done);
  EXPECT_FALSE(bench.ScreenOptions().marks);
  // Those of the file: its atoms behind the number are not of the plane.
  bench.document.instructions.kept.push_back({KeptPlace::Body, "MPLA 4 C1 > C4 C6", -1});
  bench.document.instructions.kept.push_back({KeptPlace::Body, "MPLA C5 C6 C7 C8", -1});
  marks = bench.ScreenOptions().marks;
  ASSERT_TRUE(marks && marks->measures.size() == 1);
  EXPECT_EQ(marks->measures[0].text, "4.8348 Å, 60.00°");
}

TEST_F(ModelBuilding, AlternativesAreShownOneByOneAndLowPeaksHidden) {
  const std::vector<PartGroup> groups = PartGroups(bench.document);
  ASSERT_EQ(groups.size(), 4u);
  EXPECT_EQ(groups[1].variable, -2);
  EXPECT_NEAR(groups[3].occupancy, 0.4, 1e-6);
  EXPECT_EQ(Run("show-part"), Outcome::Changed);
  EXPECT_TRUE(!bench.document.atoms.IsPartHidden(1) && bench.document.atoms.IsPartHidden(2));
  EXPECT_TRUE(bench.document.atoms.IsPartHidden(3));
  Run("show-part");
  EXPECT_TRUE(bench.document.atoms.IsPartHidden(1) && !bench.document.atoms.IsPartHidden(3));
  Run("show-part");
  EXPECT_TRUE(bench.document.atoms.hiddenParts.empty());
  ExpectRefused("show-part", "3", "between 1 and 2");
  EXPECT_EQ(Run("peak-level", "0.5"), Outcome::Changed);
  EXPECT_TRUE(Atom("Q2")->Has(kHidden) && !Atom("Q1")->Has(kHidden));
  EXPECT_EQ(Run("peak-level", "0"), Outcome::Changed);
  EXPECT_FALSE(Atom("Q2")->Has(kHidden));
}

TEST_F(ModelBuilding, CandidatesForASplitAreThoseWithAReason) {
  const auto candidates = FindSplitCandidates(bench.document);
  ASSERT_EQ(candidates.size(), 1u);
  EXPECT_EQ(candidates[0].name, "O1");
  EXPECT_NEAR(candidates[0].spread, 2.0 * std::sqrt(0.1), 1e-6);
  EXPECT_EQ(candidates[0].peaks, std::vector<uint32_t>{Atom("Q1")->serial});
  EXPECT_FALSE(candidates[0].r1) << "there are no reflections";
  EXPECT_EQ(Run("split", candidates[0].split), Outcome::Changed);
  EXPECT_NEAR(Atom("O1A")->fract.z, 0.87, 1e-9);
}

// In the window each stands in the picture while it is marked, and nothing of that stays.
TEST_F(ModelBuilding, ACandidateIsSeenBeforeItIsTaken) {
  const auto written = [&] {
    std::string text;
    EXPECT_TRUE(ComposeInstructionText(bench.document, text, messages));
    return text;
  };
  const std::string before = written();
  std::optional<size_t> answer;
  bench.hooks.chooseModel = [&](const FoundModels& found, const std::function<void(size_t)>& show) {
    EXPECT_EQ(found.rows.at(0).cells.at(0), "O1");
    for (int twice = 0; twice < 2; ++twice) show(0);
    EXPECT_TRUE(Atom("O1A") && Atom("O1A")->part == 2 && !Atom("O1B"));
    return answer;
  };
  EXPECT_EQ(Run("split-candidates", "0"), Outcome::Cancelled);
  EXPECT_EQ(written(), before);
  EXPECT_EQ(bench.history.UndoName(), "");
  EXPECT_FALSE(bench.modified);
  answer = 0;
  EXPECT_EQ(Run("split-candidates", "0"), Outcome::Changed);
  EXPECT_EQ(bench.history.Levels(), 1u);
  Run(kUndoCommand);
  EXPECT_EQ(written(), before);
}

}  // namespace
}  // namespace marvik::test

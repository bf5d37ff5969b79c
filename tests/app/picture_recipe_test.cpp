#include <cmath>
#include <random>
#include <sstream>

#include "app/bench_fixture.h"
#include "app/commands/command_table.h"
#include "app/picture/picture_output.h"
#include "picture/view_page.h"

namespace marvik {
namespace {

class RecipeTest : public test::BenchTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(Open());
    messages.shown.clear();
  }
  void Run(int id, const std::string& argument = {}) {
    ASSERT_NE(RunCommand(bench, id, argument), Outcome::Failed) << id << " " << Captions();
  }
};

constexpr char kHead[] = "Marvik picture recipe 1\n";

// What was set by hand is there again in the structure of the next refinement, and a name that is gone is told of.
TEST_F(RecipeTest, MakesTheSameFigureOfTheNextStructure) {
  Run(203);
  Run(kSelectAtomsCommand, "H1");
  Run(243);
  Run(190, "C1 C2");
  Run(225, "C2 N1");
  Run(kPositionLabelCommand, "O1 0.25 -0.125");
  Run(213, "O2");
  Run(kThermalEllipsoidCommand);
  Run(143);
  bench.view.RotateView(37.5, {1, 2, 3}, true);
  Run(kZoomInCommand);
  bench.view.panX = 60;
  bench.figure.hydrogenBonds = bench.figure.taperedBonds = true;
  bench.pictureFile.size = 300;
  bench.pictureFile.resolution = 150.0;
  bench.pictureFile.background = PictureBackground::White;
  const auto picture = DrawPicture(bench, bench.pictureFile, "png");
  ASSERT_TRUE(picture);
  Run(kSaveRecipeCommand, folder / "figure.recipe");

  // The file again, peaks and all, under a view of its own.
  bench.modified = false;
  Run(kReadFileCommand, folder / "small.res");
  bench.view.RotateView(50, {0, 1, 0}, true);
  bench.figure = {};
  bench.pictureFile = {};
  messages.shown.clear();
  Run(kApplyRecipeCommand, folder / "figure.recipe");
  EXPECT_EQ(Captions(), "");
  EXPECT_TRUE(Atom("Q1")->Has(kHidden));
  EXPECT_TRUE(Atom("H1")->Has(kHidden));
  EXPECT_EQ(bench.document.atoms.FindBond(Atom("C1"), Atom("C2"))->Order(), kDouble);
  EXPECT_EQ(RecipeText(RecipeOf(bench)), folder.Get("figure.recipe"));
  EXPECT_TRUE(DrawPicture(bench, bench.pictureFile, "png") == picture);
  // Undo brings back what the structure showed.
  Run(kUndoCommand);
  EXPECT_FALSE(Atom("H1")->Has(kHidden));

  Run(130, "O1");
  messages.shown.clear();
  Run(kApplyRecipeCommand, folder / "figure.recipe");
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.shown[0].icon, MessageIcon::Information);
  EXPECT_NE(messages.shown[0].text.find("left out: O1."), std::string::npos) << messages.shown[0].text;
}

TEST_F(RecipeTest, LinesThatMakeNoSenseChangeNothing) {
  for (const char* text : {"", "Marvik picture recipe 2\n", "TITL x\n", "\xff\xfe\0M"}) {
    EXPECT_FALSE(ReadRecipe(text).recipe) << text;
  }
  std::istringstream bad(
      "rotation 1 0 0 0 1 0 0 0 -1\nrotation 1 0 0 0 1 0 0 0\nrotation 0 0 0 0 0 0 0 0 0\nrotation nan 0 0 0 1 0 0 0 "
      "1\n"
      "radius 0.1\nradius 1,5\nradius 5 5\ncentre 1 2\ncentre 1 2 1e300\npan 1e9 0\ndepth-cue 50.5\nrendition tubes\n"
      "labels yes\nsize 1000000000\nsize 0\nresolution -1\nbackground red\nrenderer povray\nlayers 101\nprobability 0\n"
      "label C1 0.7 0\nlabel C1\nbond C1 C2 single solid inf\nbond C1 C2\nhidden\nno-label C1 C2\ncolour blue\n" +
      std::string("radius 6\0\n", 10) + std::string(100000, 'x'));
  const std::string plain = RecipeText(*ReadRecipe(kHead).recipe);
  for (std::string line; std::getline(bad, line);) {
    const RecipeReading reading = ReadRecipe(kHead + line + "\r\n# remark\n\n");
    ASSERT_TRUE(reading.recipe);
    ASSERT_EQ(reading.skipped.size(), 1u) << line;
    EXPECT_LT(reading.skipped[0].size(), 70u);
    EXPECT_EQ(std::ranges::count(reading.skipped[0], '?'), std::ranges::count(line, '\0')) << line;
    EXPECT_EQ(RecipeText(*reading.recipe), plain) << line;
  }
  EXPECT_TRUE(ReadRecipe(std::string(kHead) + "rotation 0 0 1 1 0 0 0 1 0\n").skipped.empty());
  EXPECT_EQ(RunCommand(bench, kApplyRecipeCommand, folder / "none"), Outcome::Failed);
  EXPECT_EQ(RunCommand(bench, kApplyRecipeCommand, folder / "small.res"), Outcome::Failed);
  EXPECT_EQ(RunCommand(bench, kSaveRecipeCommand, folder / "no/such/r"), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: File I/O|Error: Picture Recipe|Error: File I/O");
}

// Damaged recipes never do harm, and what was understood is written as it was read.
TEST_F(RecipeTest, DamagedTextsAreSurvived) {
  Run(kPositionLabelCommand, "O1 0.25 -0.125");
  Run(190, "C1 C2");
  const std::string good =
      RecipeText(RecipeOf(bench)) + "hidden C1\nno-label C2\nbackground white\nrenderer opengl\nlayers 5\n";
  const std::string zero("label C\0x 0.1 0.2\n", 18);
  EXPECT_TRUE(RecipeText(*ReadRecipe(kHead + zero).recipe).ends_with(zero)) << "a NUL is a byte like others";
  std::mt19937 random(3);
  for (int n = 0; n < 2000; ++n) {
    std::string text = good;
    for (int k = 0; k < 4; ++k) {
      const size_t at = std::size(kHead) + random() % (text.size() - std::size(kHead));
      random() % 3 ? text.replace(at, 1, 1, static_cast<char>(random())) : text.erase(at, random() % 20);
    }
    const RecipeReading reading = ReadRecipe(text);
    ASSERT_TRUE(reading.recipe);
    const std::string written = RecipeText(*reading.recipe);
    const RecipeReading again = ReadRecipe(written);
    ASSERT_TRUE(again.recipe && again.skipped.empty()) << written;
    ASSERT_EQ(RecipeText(*again.recipe), written);
    ApplyRecipe(bench, *reading.recipe);
    ASSERT_TRUE(std::isfinite(bench.view.combined[0][0]) && std::isfinite(bench.view.viewCentre.x));
  }
}

TEST_F(RecipeTest, GeneratedAtomsKeepTheirNames) {
  Run(kSelectAtomsCommand, "C1");
  AtomRecord* image = bench.document.atoms.CreateAtom(bench.document.elements, messages);
  image->name = "C1";
  image->symmetryCode = 1655;
  image->element = Atom("C1")->element;
  bench.document.atoms.LinkAtTail(image);
  image->Set(kHidden, true);
  const std::string text = RecipeText(RecipeOf(bench));
  EXPECT_NE(text.find("hidden C1@1655\n"), std::string::npos) << text;
  image->Set(kHidden, false);
  EXPECT_TRUE(ApplyRecipe(bench, *ReadRecipe(text).recipe).empty());
  EXPECT_TRUE(image->Has(kHidden));
  EXPECT_FALSE(Atom("C1")->Has(kHidden));
}

class PictureTest : public RecipeTest {};

TEST_F(PictureTest, TheArgumentHasFieldsAndAFileName) {
  std::string wrong;
  PictureOptions usual;
  usual.resolution = 300.0;
  const auto request = ParsePictureRequest("  size=1200 background=white  a file=1.png ", usual, wrong);
  ASSERT_TRUE(request) << wrong;
  EXPECT_EQ(
      PictureArgument(*request),
      "journal=none size=1200 resolution=300 background=white trim=off frames=one renderer=interactive a file=1.png");
  for (const char* bad : {"", "size=10", "size=15 a.png", "size=1e9 a.png", "size=600.5 a.png", "size=x a.png",
                          "resolution=-1 a.png", "background=red a.png", "renderer=x a.png"}) {
    EXPECT_FALSE(ParsePictureRequest(bad, {}, wrong)) << bad;
    EXPECT_FALSE(wrong.empty());
  }
}

// Whatever goes wrong, the file that was there is whole and nothing else lies beside it.
TEST_F(PictureTest, NothingHalfWrittenStays) {
  folder.Put("old.png", "old");
  const auto files = [this] {
    return std::distance(std::filesystem::directory_iterator(folder / ""), std::filesystem::directory_iterator());
  };
  const auto before = files();
  EXPECT_EQ(RunCommand(bench, kSavePictureCommand, folder / "no/such/a.png"), Outcome::Failed);
  EXPECT_EQ(RunCommand(bench, kSavePictureCommand, folder / "a.gif"), Outcome::Failed);
  EXPECT_EQ(RunCommand(bench, kSavePictureCommand, "size=0 " + (folder / "a.png")), Outcome::Failed);
  EXPECT_EQ(RunCommand(bench, kSavePictureCommand, "/dev/full"), Outcome::Failed);
  EXPECT_EQ(RunCommand(bench, 154, folder / "no/such/a.pdf"), Outcome::Failed);
  EXPECT_EQ(RunCommand(bench, 154), Outcome::Failed) << "no printer without a window";
  EXPECT_EQ(messages.shown.size(), 6u) << Captions();
  int asked = 0;
  bench.hooks.goOn = [&asked] { return ++asked < 4; };
  for (const char* name : {"old.png", "a.svg", "a.pdf"}) {
    asked = 0;
    bench.RenditionMode = kBallAndStick;
    EXPECT_EQ(RunCommand(bench, kSavePictureCommand, folder / name), Outcome::Failed) << name;
  }
  EXPECT_EQ(RunCommand(bench, 154, folder / "a.pdf"), Outcome::Failed);
  EXPECT_EQ(folder.Get("old.png"), "old");
  EXPECT_EQ(files(), before);
}

TEST_F(PictureTest, PagesHaveTheirPictureInTheMiddle) {
  Run(154, folder / "page.pdf");
  EXPECT_NE(folder.Get("page.pdf").find("/MediaBox [ 0 0 595.27"), std::string::npos);
  const PagePlace a4 = PlaceOnPage(21000, 29700);
  EXPECT_EQ(a4.scale, 1.0);
  EXPECT_EQ(9741 - a4.corner.x, 10500);
  EXPECT_EQ(13716 - a4.corner.y, 14850);
  const PagePlace a5 = PlaceOnPage(14800, 21000);
  EXPECT_NEAR(a5.scale, 14800.0 / 20320.0, 1e-12);
  EXPECT_NEAR((9741 - a5.corner.x) * a5.scale, 7400, 1e-9);
  EXPECT_NEAR((13716 - a5.corner.y) * a5.scale, 10500, 1e-9);
}

}  // namespace
}  // namespace marvik

#include <filesystem>

#include "app/bench_fixture.h"
#include "app/preferences/atom_preferences.h"

namespace marvik {
namespace {

using test::BenchTest;
using test::WithVariable;

class PreferencesTest : public BenchTest {
 protected:
  PreferencesTest() { Open(); }
  // As another session of the program would read it.
  ElementInfo Kept(int row) const {
    ElementTable table;
    InitElementTable(table, true);
    return table[row];
  }
  WithVariable package{kPackageVariable, folder / ""};
};

TEST_F(PreferencesTest, AtomPreferencesAreCheckedStoredAndKept) {
  ASSERT_EQ(Run(206, "element=n atom=0.31 bond=0.72 texture=2 red=1 green=20 blue=255 probability=0.3"), Outcome::Done);
  const ElementInfo nitrogen = Kept(7);
  EXPECT_EQ(nitrogen.drawRadius, 0.31);
  EXPECT_EQ(nitrogen.bondRadius, 0.72);
  EXPECT_EQ(nitrogen.searchRadius, 1.2) << "belongs to the defaults";
  EXPECT_EQ(nitrogen.texture, 2);
  EXPECT_EQ(nitrogen.colour, PackColour(1, 20, 255));
  EXPECT_EQ(bench.ScreenOptions().probability, 0.3);
  PictureSettings kept;
  LoadPictureSettings(kept);
  EXPECT_EQ(kept.probability, 0.3);
  EXPECT_EQ(Captions(), "");

  // A field that is refused leaves all of them.
  for (const char* probability : {"0.0005", "1.5", "0,5", "", "nan"}) {
    EXPECT_EQ(Run(206, std::string("element=N atom=0.9 probability=") + probability), Outcome::Failed);
    ASSERT_EQ(messages.shown.size(), 1u) << probability;
    EXPECT_EQ(messages.shown[0].text,
              "The Thermal Ellipsoid Probability Level variable is out of range.\n\t     Valid Range: 0.001 <--> 1.0");
    EXPECT_EQ(Captions(), "Error: Out of Range");
  }
  for (const char* wrong : {"element=Xx atom=0.2", "atom=0.2", "element=N atom=0.2000000000000001", "element=N atom=-1",
                            "element=N bond=1e3", "element=N texture=8", "element=N red=256", "element=N green=1.5",
                            "element=N radius=1", "C1", "defaults=single", "defaults=some"}) {
    EXPECT_EQ(Run(206, wrong), Outcome::Failed);
    EXPECT_EQ(Captions(), "Error: Field Not Accepted") << wrong;
  }
  EXPECT_EQ(bench.document.elements[7].drawRadius, 0.31);
  EXPECT_EQ(bench.ScreenOptions().probability, 0.3);
}

TEST_F(PreferencesTest, DefaultsKeepWhatAFileSaidOfScattering) {
  bench.document.elements[6].sfacCoefficients[0] = 2.31;
  Run(206, "element=C atom=0.5 element=Q red=9");
  Run(206, "element=C defaults=single");
  EXPECT_EQ(Kept(6).drawRadius, 0.2);
  EXPECT_EQ(RedOf(Kept(105).colour), 9);
  Run(206, "defaults=all");
  EXPECT_EQ(Kept(105).colour, PackColour(255, 255, 0));
  EXPECT_EQ(bench.document.elements[6].sfacCoefficients[0], 2.31);
}

TEST_F(PreferencesTest, ABondRadiusMakesTheBondsAnew) {
  const auto bonded = [&] { return Bond("C1", "C2") != nullptr; };
  ASSERT_TRUE(bonded());
  Run(206, "element=C bond=0.3");
  EXPECT_FALSE(bonded());
  EXPECT_FALSE(bench.modified);
}

TEST_F(PreferencesTest, ARefusedElementFileIsSaid) {
  std::filesystem::create_directory(folder / "sfac.tab");
  EXPECT_EQ(Run(206, "element=C atom=0.5"), Outcome::Failed);
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.shown[0].text, "Error opening file (" + (folder / "sfac.tab") + ") for writing.");
  EXPECT_EQ(bench.document.elements[6].drawRadius, 0.5) << "in force while the program runs";
}

TEST_F(PreferencesTest, TheWindowsSectionsStayInItsFile) {
  folder.Put("marvikui.ini", "[window]\r\ngeometry=@x\r\n\r\n[pictures]\nprobability=0.9\n[files]\ndirectory=/a b\n");
  LoadPictureSettings(bench.pictures);
  EXPECT_EQ(bench.pictures.probability, 0.9);
  bench.pictures.bitmapAntiAlias = false;
  ASSERT_TRUE(SavePictureSettings(bench.pictures));
  EXPECT_EQ(folder.Get("marvikui.ini"),
            "[window]\ngeometry=@x\n\n[files]\ndirectory=/a b\n\n[pictures]\nprobability=0.9\nantiAlias=false\n");
  PictureSettings kept;
  LoadPictureSettings(kept);
  EXPECT_FALSE(kept.bitmapAntiAlias);
  folder.Put("marvikui.ini", "[pictures]\nprobability=7\nantiAlias\n");
  LoadPictureSettings(kept);
  EXPECT_EQ(kept.probability, 0.9);
}

}  // namespace
}  // namespace marvik

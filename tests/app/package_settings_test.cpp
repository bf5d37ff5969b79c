#include "app/package_settings.h"

#include <span>

#include "app/bench_fixture.h"
#include "app/package_directory.h"

namespace marvik {
namespace {

using test::BenchTest;
using test::ScratchFolder;
using test::WithVariable;

class SettingsTest : public testing::Test {
 protected:
  std::string Slots() const {
    std::string list;
    for (const std::string& slot : std::span(settings.RecentFiles).first(4)) list += slot + ";";
    return list;
  }
  PackageSettings LoadedWith(const std::string& qtrn, const std::string& marvik) {
    folder.Put("qtrn.ini", qtrn);
    folder.Put("marvik.ini", marvik);
    PackageSettings loaded;
    LoadEditorConfiguration(loaded, messages);
    return loaded;
  }

  ScratchFolder folder;
  WithVariable variable{kPackageVariable, folder / ""};
  RecordingMessages messages;
  PackageSettings settings;
};

TEST_F(SettingsTest, NothingIsReadWithoutTheVariable) {
  const WithVariable unset(kPackageVariable, std::nullopt);
  settings.RecentFiles[0] = "/a";
  LoadEditorConfiguration(settings, messages);
  LoadRecentFiles(settings);
  SaveRecentFiles(settings);
  EXPECT_EQ(settings.EditorCommand, "notepad");
  EXPECT_EQ(Slots(), "/a;;;;");
  EXPECT_FALSE(PackageFile("x"));
  EXPECT_TRUE(messages.shown.empty());
}

TEST_F(SettingsTest, TheDirectoryMayLackItsSeparator) {
  const WithVariable bare(kPackageVariable, "/opt/pkg");
  EXPECT_EQ(PackageFile("qtrn.ini"), "/opt/pkg/qtrn.ini");
}

TEST_F(SettingsTest, TheEditorIsTheWordBehindEditor) {
  EXPECT_EQ(LoadedWith("", "EDITOR wordpad").EditorCommand, "wordpad");
  EXPECT_EQ(LoadedWith("", "MY_EDITOR\tkate\r\nEDITOR: gvim\n").EditorCommand, "gvim");
  EXPECT_EQ(LoadedWith("", "the last word is EDITOR").EditorCommand, "notepad");
  EXPECT_EQ(LoadedWith("", "editor lower").EditorCommand, "notepad");
}

TEST_F(SettingsTest, TheFirstSystemLineCounts) {
  EXPECT_EQ(LoadedWith("# SYSD no\r\nSYSD /usr/pkg/ rest\r\nSYSD /other\n", "").SystemDirectory, "/usr/pkg/");
  EXPECT_EQ(LoadedWith("SYSD /usr/pkg", "").SystemDirectory, "/usr/pkg");
  EXPECT_EQ(LoadedWith("SYSD", "").SystemDirectory, "");
  EXPECT_EQ(LoadedWith(" SYSD /usr", "").SystemDirectory, "") << "not at the start of its line";
}

TEST_F(SettingsTest, AnEqualsSignBlanksTheLineIntoTheNext) {
  // What is left of the line begins with "SYSD" and the sixth character is a blank.
  EXPECT_EQ(LoadedWith("SYSD=/usr\nSYSD /x\n", "").SystemDirectory, "");
  EXPECT_EQ(LoadedWith("SYSD=\nSYSD /x\n", "").SystemDirectory, "");
  EXPECT_EQ(LoadedWith("SYSD /a=b\n/c\n", "").SystemDirectory, "/a");
  EXPECT_EQ(LoadedWith("PATH=/bin\nSYSD /x\n", "").SystemDirectory, "") << "its line end is gone";
}

TEST_F(SettingsTest, RecentFilesMoveUp) {
  for (const char* path : {"/a", "/b", "/c", "/d"}) EXPECT_TRUE(NoteRecentFile(settings, path));
  EXPECT_EQ(Slots(), "/d;/c;/b;/a;");
  std::filesystem::remove(folder / "marvikrf.ini");
  EXPECT_FALSE(NoteRecentFile(settings, "/d"));
  EXPECT_FALSE(folder.Has("marvikrf.ini")) << "nothing changed, nothing is written";
  EXPECT_TRUE(NoteRecentFile(settings, "/c"));
  EXPECT_EQ(Slots(), "/c;/d;/b;/a;");
  EXPECT_TRUE(NoteRecentFile(settings, "/b"));
  EXPECT_EQ(Slots(), "/b;/c;/d;/a;");
  EXPECT_TRUE(NoteRecentFile(settings, "/a"));
  EXPECT_EQ(Slots(), "/a;/b;/c;/d;");
  EXPECT_TRUE(NoteRecentFile(settings, "/e"));
  EXPECT_EQ(folder.Get("marvikrf.ini"), "/e\n/a\n/b\n/c\n");
}

TEST_F(SettingsTest, RecentFilesAreReadBack) {
  folder.Put("marvikrf.ini", "/a b.res\r\n\n/c.ins");
  LoadRecentFiles(settings);
  EXPECT_EQ(Slots(), "/a b.res;;/c.ins;;");
}

TEST_F(BenchTest, TheRecentMenuListsWhatThereIs) {
  bench.settings.RecentFiles = {"/a", "", "/c", ""};
  const auto entries = RecentFileEntries(bench);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].id, 10101);
  EXPECT_EQ(entries[1].id, 10103);
  EXPECT_EQ(entries[1].text, "/c");
}

// An installation in a scratch folder: bin/marvik and share/marvik with one file that nobody may write.
class PackageDirectoryTest : public testing::Test {
 protected:
  PackageDirectoryTest() {
    std::filesystem::create_directories(folder / "share/marvik/egs");
    folder.Put("share/marvik/egs/a.res", "example");
    std::filesystem::create_directories(folder / "share/marvik/Help");
    std::filesystem::permissions(folder / "share/marvik/egs/a.res", std::filesystem::perms::owner_read);
  }
  ScratchFolder folder;
  WithVariable package{kPackageVariable, std::nullopt};
  WithVariable data{"XDG_DATA_HOME", folder / "home/data"};
};

TEST_F(PackageDirectoryTest, IsMadeFromTheTemplateOnFirstUse) {
  SetUpPackageDirectory(folder / "bin/marvik", "");
  EXPECT_EQ(EnvironmentValue(kPackageVariable), folder / "home/data/marvik/");
  EXPECT_EQ(folder.Get("home/data/marvik/egs/a.res"), "example");
  EXPECT_FALSE(folder.Has("home/data/marvik/Help")) << "documents of another version might stay there for ever";
  const auto permissions = std::filesystem::status(folder / "home/data/marvik/egs/a.res").permissions();
  EXPECT_NE(permissions & std::filesystem::perms::owner_write, std::filesystem::perms::none);

  // What the user has changed since then stays.
  folder.Put("home/data/marvik/egs/a.res", "changed");
  const WithVariable again(kPackageVariable, std::nullopt);
  SetUpPackageDirectory(folder / "bin/marvik", "");
  EXPECT_EQ(folder.Get("home/data/marvik/egs/a.res"), "changed");
}

TEST_F(PackageDirectoryTest, TheTemplateServesWhereNothingCanBeMade) {
  folder.Put("occupied", "");
  const WithVariable blocked("XDG_DATA_HOME", folder / "occupied");
  SetUpPackageDirectory(folder / "bin/marvik", "");
  EXPECT_EQ(EnvironmentValue(kPackageVariable), folder / "share/marvik/");
}

TEST_F(PackageDirectoryTest, AGivenDirectoryOrVariableGoesFirst) {
  SetUpPackageDirectory(folder / "bin/marvik", folder / "mine");
  EXPECT_EQ(EnvironmentValue(kPackageVariable), folder / "mine/");
  SetUpPackageDirectory(folder / "bin/marvik", "");
  EXPECT_EQ(EnvironmentValue(kPackageVariable), folder / "mine/");
  EXPECT_FALSE(folder.Has("home"));
}

TEST_F(PackageDirectoryTest, StaysUnsetWithoutATemplate) {
  SetUpPackageDirectory(folder / "elsewhere/bin/marvik", "");
  EXPECT_FALSE(EnvironmentValue(kPackageVariable));
}

}  // namespace
}  // namespace marvik

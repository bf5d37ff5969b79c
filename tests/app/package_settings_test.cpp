#include "app/package_settings.h"

#include <span>

#include "app/bench_fixture.h"
#include "app/package_directory.h"
#include "base/package_file.h"

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

TEST_F(SettingsTest, EditorAndSystemDirectoryAreTheWordsOfTheirLines) {
  const std::pair<const char*, const char*> kEditors[] = {{"EDITOR wordpad", "wordpad"},
                                                          {"MY_EDITOR\tkate\r\nEDITOR: gvim\n", "gvim"},
                                                          {"the last word is EDITOR", "notepad"},
                                                          {"editor lower", "notepad"}};
  for (const auto& [text, editor] : kEditors) EXPECT_EQ(LoadedWith("", text).EditorCommand, editor) << text;
  const std::pair<const char*, const char*> kSystems[] = {
      {"# SYSD no\r\nSYSD /usr/pkg/ rest\r\nSYSD /other\n", "/usr/pkg/"},
      {"SYSD /usr/pkg", "/usr/pkg"},
      {"SYSD", ""},
      {" SYSD /usr", ""},
      // An equals sign blanks the line into the next: what is left begins with "SYSD", and the sixth is a blank.
      {"SYSD=/usr\nSYSD /x\n", ""},
      {"SYSD=\nSYSD /x\n", ""},
      {"SYSD /a=b\n/c\n", "/a"},
      {"PATH=/bin\nSYSD /x\n", ""},
  };
  for (const auto& [text, folderName] : kSystems) EXPECT_EQ(LoadedWith(text, "").SystemDirectory, folderName) << text;
}

TEST_F(SettingsTest, RecentFilesMoveUp) {
  const std::pair<const char*, const char*> kSteps[] = {
      {"/a", "/a;;;;"},       {"/b", "/b;/a;;;"},     {"/c", "/c;/b;/a;;"},   {"/d", "/d;/c;/b;/a;"},
      {"/c", "/c;/d;/b;/a;"}, {"/b", "/b;/c;/d;/a;"}, {"/a", "/a;/b;/c;/d;"}, {"/e", "/e;/a;/b;/c;"}};
  for (const auto& [path, slots] : kSteps) {
    EXPECT_TRUE(NoteRecentFile(settings, path));
    EXPECT_EQ(Slots(), slots);
  }
  EXPECT_EQ(folder.Get("marvikrf.ini"), "/e\n/a\n/b\n/c\n");
  std::filesystem::remove(folder / "marvikrf.ini");
  EXPECT_FALSE(NoteRecentFile(settings, "/e"));
  EXPECT_FALSE(folder.Has("marvikrf.ini")) << "nothing changed, nothing is written";
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

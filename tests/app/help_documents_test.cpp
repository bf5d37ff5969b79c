#include "app/help_documents.h"

#include "app/bench_fixture.h"

namespace marvik {
namespace {

using HelpDocumentsTest = test::BenchTest;

TEST_F(HelpDocumentsTest, AreFoundInThePackageDirectoryElseWhereTheyAreInstalled) {
  const test::WithVariable package(kPackageVariable, folder / "own");
  bench.installedDirectory = folder / "installed/";
  std::string opened;
  bench.hooks.openDocument = [&](const std::string& path) {
    opened = path;
    return true;
  };
  EXPECT_EQ(Run(233), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error: File Not Found");
  std::filesystem::create_directories(folder / "installed/Help");
  folder.Put("installed/Help/Marvik_Users.pdf", "x");
  EXPECT_EQ(Run(233), Outcome::Done);
  EXPECT_EQ(opened, folder / "installed/Help/Marvik_Users.pdf");
  std::filesystem::create_directories(folder / "own/Help");
  folder.Put("own/Help/Marvik_Users.pdf", "x");
  EXPECT_EQ(Run(233), Outcome::Done);
  EXPECT_EQ(opened, folder / "own/Help/Marvik_Users.pdf");
}

}  // namespace
}  // namespace marvik

#include "app/bench_fixture.h"

namespace marvik {
namespace {

using test::BenchTest;

class PublicationTest : public BenchTest {};

TEST_F(PublicationTest, WhatIsTypedIsKeptAndStandsInTheCifOfThisRefinementAndTheNext) {
  constexpr const char* kCif = "data_small\n_cell_length_a 10\n_exptl_crystal_colour ?\n_exptl_crystal_size_max ?\n";
  ASSERT_TRUE(Open());
  const std::string path = folder.Put("small.cif", kCif);
  ASSERT_EQ(Run(kPublicationCommand, "_exptl_crystal_colour 'pale yellow'"), Outcome::Done);
  const std::string done = ReadWholeFile(path).content;
  EXPECT_NE(done.find("_exptl_crystal_colour"), std::string::npos);
  EXPECT_NE(done.find("'pale yellow'"), std::string::npos) << done;
  EXPECT_NE(done.find("_exptl_crystal_size_max"), std::string::npos) << "the rest stays";
  EXPECT_EQ(ReadWholeFile(path + ".bak").content, kCif);
  // The same once more changes nothing, so that no second backup pushes the first one out.
  ASSERT_EQ(Run(kPublicationCommand, "_exptl_crystal_colour 'pale yellow'"), Outcome::Done);
  EXPECT_EQ(ReadWholeFile(path + ".bak").content, kCif);
  // The next refinement writes a new one; what was typed before comes into it with the next item.
  folder.Put("small.cif", kCif);
  ASSERT_EQ(Run(kPublicationCommand, "_exptl_crystal_size_max 0.3"), Outcome::Done);
  const std::string next = ReadWholeFile(path).content;
  EXPECT_NE(next.find("'pale yellow'"), std::string::npos) << next;
  EXPECT_NE(next.find("0.3"), std::string::npos);
  EXPECT_EQ(Run(kPublicationCommand, "no-such-template"), Outcome::Failed);
  EXPECT_EQ(Captions(), "Command Usage Error:");
}

}  // namespace
}  // namespace marvik

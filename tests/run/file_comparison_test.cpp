#include "run/file_comparison.h"

#include <gtest/gtest.h>

namespace marvik::test {

namespace {

constexpr const char* kOld =
    "TITL one\nCELL 0.71073 8.0 9.0 10.0 90 90 90\nZERR 4 0 0 0 0 0 0\nLATT -1\nSFAC C H O\nUNIT 8 8 4\n"
    "SADI C1 C2 C1 O1\nDFIX 1.5 C1 C2\nWGHT 0.1\nFVAR 1.0\nC1 1 0.1 0.2 0.3 11 0.02\nC2 1 0.3 0.2 0.3 11 0.02\n"
    "O1 3 0.1 0.4 0.3 11 0.02\nC9 1 0.6 0.6 0.6 11 0.03\nHKLF 4\nEND\nWGHT 0.2\n";
constexpr const char* kNew =
    "TITL two\nCELL 1.54178 8.1 9.0 10.0 90 90 90\nZERR 4 0 0 0 0 0 0\nLATT -1\nSFAC C H O\nUNIT 8 8 4\n"
    "sadi  C1 C2 C1 O1\nDFIX 1.52 C1 C2\nWGHT 0.05\nFVAR 1.0\nC1 1 0.1 0.21 0.3 11 0.02\nC22 3 0.301 0.2 0.3 11 0.02\n"
    "PART 1\nO1 3 0.1 0.4 0.3 10.5 0.02 0.02 0.02 0 0 0\nPART 0\nO2 3 0.8 0.8 0.8 11 0.03\nHKLF 4\nEND\nWGHT 0.3\n";

}  // namespace

TEST(FileComparison, TellsInCrystallographersTerms) {
  const FileComparison comparison = CompareFiles(kOld, kNew, {{"C1", {0.0, 0.001, 0.0}}});
  EXPECT_EQ(ComparisonAsText(comparison),
            "a: 8 -> 8.1\nwavelength: 0.71073 -> 1.54178\nWGHT: 0.1 -> 0.05\nO1 part: 0 -> 1\nO1 occupancy: 1.0000 -> "
            "0.5000\n"
            "O1 displacement: isotropic -> anisotropic\nC22 element: C -> O\nC2 is now C22\nO2 is new\nC9 is gone\n"
            "C1 moved by 0.0900 \xC3\x85, 10.0 s.u.\n- DFIX 1.5 C1 C2\n+ DFIX 1.52 C1 C2\n");
  EXPECT_NE(ComparisonAsJson(comparison).find(R"("atom": "C1")"), std::string::npos);
}

TEST(FileComparison, SameFilesSayTheSame) {
  EXPECT_TRUE(CompareFiles(kOld, kOld, {}).Same());
  EXPECT_EQ(ComparisonAsText(CompareFiles(kNew, kNew, {})), "The two say the same.\n");
  std::string twice = kOld;
  twice.insert(twice.find("HKLF"), "C1 1 0.7 0.2 0.9 11 0.02\n");  // two atoms of one name
  EXPECT_TRUE(CompareFiles(twice, twice, {}).Same());
  EXPECT_EQ(ComparisonAsText(CompareFiles(kOld, twice, {})), "C1 is new\n");
  EXPECT_TRUE(CompareFiles("", "no file at all", {}).Same());
  EXPECT_FALSE(CompareFilesAt("/nowhere/a.res", "/nowhere/b.res"));
}

}  // namespace marvik::test

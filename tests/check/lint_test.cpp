#include "check/lint/lint.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>

#include "base/files.h"

#include "cif_cases.h"
#include "support/kept_outputs.h"
#include "support/structures.h"
#include "support/test_files.h"

namespace marvik::test {

namespace {

// A small correct file: a molecule on a general place, a water on a twofold axis, a disordered group.
const std::string& Correct() {
  static const std::string text = ReadWholeFile(MARVIK_CHECKED_FILES "/correct.ins").content;
  return text;
}

}  // namespace

TEST(Lint, FindsNothingInACorrectFile) {
  EXPECT_EQ(FindingsAsText(LintInstructionText(Correct())), "");
}

TEST(Lint, FindsEverySeededFault) {
  std::set<std::string> seeded{"no-atoms", "include-missing"};
  int number = 0;
  for (const CifCase& seed : CasesOf("lint")) {
    seeded.insert(seed.rule);
    const auto findings = LintInstructionText(Changed(Correct(), seed.what, seed.by));
    ExpectKept("lint", std::to_string(++number) + " " + seed.rule, FindingsAsText(findings));
    EXPECT_TRUE(Tests(findings).contains(seed.rule)) << seed.rule << "\n" << FindingsAsText(findings);
  }
  for (const LintRule& rule : LintRules()) EXPECT_TRUE(seeded.contains(rule.id)) << rule.id;
  EXPECT_TRUE(Tests(LintInstructionText("TITL\n+nothing.ins\nHKLF 4\nEND\n", "/nowhere/")).contains("include-missing"));
}

TEST(Lint, SaysWhereAndRepairs) {
  std::string text = Changed(Correct(), "AFIX 0\nC2", "C2");
  text = Changed(text, "SIMU C1 C2", "SIMU C1 C2\nSIMU C1 C2");
  text = Changed(text, "HKLF 4\nEND\n", "");
  for (int round = 0; round < 4; ++round) {
    const auto findings = LintInstructionText(text);
    const auto found = std::ranges::find_if(findings, [](const Finding& f) { return f.edit.has_value(); });
    if (found != findings.end()) text = ApplyEdit(text, *found->edit);
  }
  EXPECT_EQ(text, Correct());
  EXPECT_EQ(ApplyEdit("a\r\nb\r\n", {2, 1, "c\nd"}), "a\r\nc\r\nd\r\n");
  EXPECT_EQ(ApplyEdit("a\nb", {9, 0, "c"}), "a\nb\nc\n");

  const auto findings = LintInstructionText(Changed(Correct(), "SIMU C1 C2", "SIMU C1 C22"));
  ASSERT_EQ(findings.size(), 1u);
  EXPECT_EQ(findings[0].line, 15);
  EXPECT_EQ(findings[0].text, "SIMU names C22, which does not exist.");
  EXPECT_TRUE(IsSerious(findings));
  EXPECT_NE(FindingsAsJson(findings).find(R"("level": "error",
   "atoms": [
    "C22"
   ],
   "line": 15,
   "value": null,)"),
            std::string::npos);
}

TEST(Lint, ExamplesAreCorrect) {
  size_t files = 0;
  for (const std::string& path : ExampleFiles()) {
    ++files;
    EXPECT_EQ(FindingsAsText(LintInstructionText(ReadWholeFile(path).content)), "") << path;
  }
  EXPECT_GT(files, 5u);
}

TEST(Lint, RealFilesHaveAtMostOneFindingInTheMedian) {
  if (RealDataFolder().empty()) GTEST_SKIP();
  std::vector<size_t> counts;
  for (const std::string& path : FilesBelow(RealDataFolder() + "res", {"res", "ins"})) {
    const std::string text = ReadWholeFile(path).content;
    counts.push_back(LintInstructionText(text, DirectoryOf(path)).size());
    for (size_t cut = 1; cut < text.size(); cut += text.size() / 5 + 1) LintInstructionText(text.substr(0, cut));
  }
  ASSERT_FALSE(counts.empty());
  std::ranges::sort(counts);
  EXPECT_LE(counts[counts.size() / 2], 1u);
}

}  // namespace marvik::test

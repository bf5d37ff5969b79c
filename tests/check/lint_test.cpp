#include "check/lint/lint.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>

#include "base/files.h"

#include "support/structures.h"
#include "support/test_files.h"

namespace marvik::test {

namespace {

// A small correct file: a molecule on a general place, a water on a twofold axis, a disordered group.
const std::string& Correct() {
  static const std::string text = ReadWholeFile(MARVIK_CHECKED_FILES "/correct.ins").content;
  return text;
}

std::string Replaced(std::string_view text, std::string_view what, std::string_view by) {
  std::string result(text);
  const size_t at = result.find(what);
  EXPECT_NE(at, std::string::npos) << what;
  return at == std::string::npos ? result : result.replace(at, what.size(), by);
}

std::set<std::string> Tests(const std::vector<Finding>& findings) {
  std::set<std::string> tests;
  for (const Finding& finding : findings) tests.insert(finding.test);
  return tests;
}

struct Seed {
  const char* rule;
  const char* what;  // in the correct file
  const char* by;
};
constexpr Seed kSeeds[] = {
    {"file-cut-off", "HKLF 4\nEND\n", ""},
    {"no-hklf", "HKLF 4\n", ""},
    {"no-end", "END\n", ""},
    {"line-too-long", "SIZE 0.1 0.2 0.3",
     "SIZE 0.1 0.2                                                                      0.3"},
    {"continuation-open", "END\n", "C9 1 0.1 0.2 ="},
    {"continuation-not-indented", "\n 0.02 0.0 0.0", "\n0.02 0.0 0.0"},
    {"text-behind-continuation", "0.02 =\n", "0.02 = 0.5\n"},
    {"unknown-word", "TEMP", "TEPM"},
    {"not-an-atom", "N1 3 0.45", "0.4O63 3 0.45"},
    {"number-unreadable", "0.45000", "0.4.5"},
    {"number-unreadable", "TEMP -100", "TEMP cold"},
    {"strange-bytes", "SIZE 0.1", "SIZE\x01 0.1"},
    {"said-twice", "L.S. 4", "L.S. 4\nL.S. 8"},
    {"said-twice-alike", "SIMU C1 C2", "SIMU C1 C2\nSIMU C1  C2"},
    {"ignored-behind-hklf", "HKLF 4", "HKLF 4\nSADI C1 C2 C2 N1"},
    {"header-order", "SFAC C H N O\nUNIT 20 40 4 8", "UNIT 20 40 4 8\nSFAC C H N O"},
    {"too-few-words", "CELL 0.71073", "CELL"},
    {"no-cell", "CELL", "REM CELL"},
    {"cell-impossible", "90 100 90", "90 190 90"},
    {"wavelength-zero", "0.71073", "0.0"},
    {"wavelength-unusual", "0.71073", "7.1073"},
    {"no-zerr", "ZERR", "REM"},
    {"zerr-z", "ZERR 4", "ZERR 0"},
    {"zerr-zero", "0.001 0.001 0.001 0 0.01 0", "0 0 0 0 0 0"},
    {"latt-unknown", "LATT 1", "LATT 8"},
    {"symm-unreadable", "-X, Y, 0.5-Z", "-X, Y, W"},
    {"symm-repeated", "SYMM -X, Y, 0.5-Z", "SYMM -X, Y, 0.5-Z\nSYMM -X, Y, 0.5-Z"},
    {"symm-no-group", "-X, Y, 0.5-Z", "X+Y, Y, Z"},
    {"symm-cell", "-X, Y, 0.5-Z", "Y, X, 0.5-Z"},
    {"no-sfac", "SFAC", "REM SFAC"},
    {"sfac-unknown", "C H N O", "C H Jx O"},
    {"sfac-twice", "C H N O", "C H C O"},
    {"no-unit", "UNIT", "REM UNIT"},
    {"sfac-unit", "UNIT 20 40 4 8", "UNIT 20 40 4"},
    {"unit-z", "UNIT 20 40 4", "UNIT 20 40 5"},
    {"unit-negative", "UNIT 20", "UNIT -20"},
    {"temperature-kelvin", "-100", "173"},
    {"size-impossible", "SIZE 0.1", "SIZE 0"},
    {"no-fvar", "FVAR 1.0 0.6", "REM"},
    {"scale-not-positive", "FVAR 1.0", "FVAR 0.0"},
    {"fvar-unused", "0.6\n", "0.6 0.7\n"},
    {"fvar-missing", "C2 1 0.31000 0.31000 0.16000 11.0", "C2 1 0.31000 0.31000 0.16000 31.0"},
    {"fvar-range", "1.0 0.6", "1.0 1.6"},
    {"sump-variable", "WGHT", "SUMP 1.0 0.01 1 2 1 5\nWGHT"},
    {"weights-negative", "0.05", "-0.05"},
    {"extinction-negative", "WGHT", "EXTI -0.1\nWGHT"},
    {"twin-matrix", "WGHT", "BASF 0.2\nTWIN 1 0 0\nWGHT"},
    {"twin-singular", "WGHT", "BASF 0.2\nTWIN 1 0 0 0 1 0 0 0 0\nWGHT"},
    {"basf-without-twin", "WGHT", "BASF 0.2\nWGHT"},
    {"twin-without-basf", "WGHT", "TWIN\nWGHT"},
    {"hklf-unknown", "HKLF 4", "HKLF 9"},
    {"atom-short", "N1 3 0.45000 0.27000 0.10000 11.0 0.02", "N1 3 0.45000"},
    {"sfac-number", "N1 3", "N1 7"},
    {"element-mismatch", "N1 3", "N1 4"},
    {"name-long", "C3A 1", "C3ABC 1"},
    {"name-twice", "N1 3", "C1 1"},
    {"occupancy-range", "0.10000 11.0", "0.10000 11.3"},
    {"occupancy-zero", "0.10000 11.0", "0.10000 10.0"},
    {"special-position", "10.5", "11.0"},
    {"u-negative", "0.10000 11.0 0.02", "0.10000 11.0 -0.02"},
    {"u-chain", "C1 1 0.20000 0.20000 0.20000 11.0 0.02 0.02 =\n 0.02 0.0 0.0 0.0", "H9 2 0.3 0.3 0.3 11.0 -1.2"},
    {"u-chain-heavy", "0.10000 11.0 0.02", "0.10000 11.0 -1.2"},
    {"u-tensor", "0.02 0.0 0.0 0.0", "-0.02 0.0 0.0 0.0"},
    {"u-large", "0.10000 11.0 0.02", "0.10000 11.0 0.92"},
    {"atoms-coincide", "C2 1 0.31000 0.31000 0.16000", "C2 1 0.20500 0.20000 0.20000"},
    {"hydrogen-alone", "H1A 2 0.10000 0.25000 0.22000", "H1A 2 0.70000 0.90000 0.55000"},
    {"afix-unknown", "AFIX 137", "AFIX 217"},
    {"afix-open", "AFIX 0\nC2", "C2"},
    {"afix-open-at-end", "HKLF", "AFIX 66\nHKLF"},
    {"afix-count", "H1C 2 0.24000 0.14000 0.28000 11.0 -1.5\n", ""},
    {"afix-no-carrier", "FVAR 1.0 0.6\n", "FVAR 1.0 0.6\nAFIX 43\nH9 2 0.5 0.5 0.5 11 0.05\nAFIX 0\n"},
    {"part-open-at-end", "PART 0\n", ""},
    {"part-without-fvar", "PART 1 21\nC3A 1 0.31000 0.46000 0.21000 21.0",
     "PART 1\nC3A 1 0.31000 0.46000 0.21000 11.0"},
    {"resi-empty", "N1 3", "RESI\nN1 3"},
    {"resi-open-at-end", "HKLF", "RESI 4 SOL\nHKLF"},
    {"fragment-open", "WGHT", "FRAG 17\nWGHT"},
    {"atom-missing", "SIMU C1 C2", "SIMU C1 C22"},
    {"residue-missing", "SIMU C1 C2", "SIMU_SOL C1 C2"},
    {"one-atom", "SIMU C1 C2", "SIMU C1"},
    {"odd-atoms", "C1 C2\n", "C1 C2 C3A\n"},
    {"same-atom-twice", "0.02 C1 C2", "0.02 C1 C1"},
    {"no-target", "DFIX 1.5 0.02", "DFIX"},
    {"dfix-impossible", "DFIX 1.5", "DFIX 0.15"},
    {"dfix-far", "DFIX 1.5", "DFIX 4.5"},
    {"dfix-twice", "SIMU", "DFIX 1.8 C1 C2\nSIMU"},
    {"restraint-uncertainty", "1.5 0.02", "1.5 0"},
    {"eqiv-undefined", "O1_$1", "O1_$2"},
    {"eqiv-unused", "HTAB N1 O1_$1", "HTAB"},
    {"eqiv-unreadable", "$1 -x, y, 0.5-z", "$1 -x, y"},
    {"eqiv-twice", "EQIV $1", "EQIV $1 x, y, 1+z\nEQIV $1"},
    {"hfix-unknown", "WGHT", "HFIX 173 N1\nWGHT"},
    {"hfix-cannot", "WGHT", "HFIX 13 N1\nWGHT"},
    {"hfix-again", "WGHT", "HFIX 137 C1\nWGHT"},
};

}  // namespace

TEST(Lint, FindsNothingInACorrectFile) {
  EXPECT_EQ(FindingsAsText(LintInstructionText(Correct())), "");
}

TEST(Lint, FindsEverySeededFault) {
  std::set<std::string> seeded{"no-atoms", "include-missing"};
  for (const Seed& seed : kSeeds) {
    seeded.insert(seed.rule);
    const auto findings = LintInstructionText(Replaced(Correct(), seed.what, seed.by));
    EXPECT_TRUE(Tests(findings).contains(seed.rule)) << seed.rule << "\n" << FindingsAsText(findings);
  }
  for (const LintRule& rule : LintRules()) EXPECT_TRUE(seeded.contains(rule.id)) << rule.id;
  EXPECT_TRUE(Tests(LintInstructionText("TITL\n+nothing.ins\nHKLF 4\nEND\n", "/nowhere/")).contains("include-missing"));
}

TEST(Lint, SaysWhereAndRepairs) {
  std::string text = Replaced(Correct(), "AFIX 0\nC2", "C2");
  text = Replaced(text, "SIMU C1 C2", "SIMU C1 C2\nSIMU C1 C2");
  text = Replaced(text, "HKLF 4\nEND\n", "");
  for (int round = 0; round < 4; ++round) {
    const auto findings = LintInstructionText(text);
    const auto found = std::ranges::find_if(findings, [](const Finding& f) { return f.edit.has_value(); });
    if (found != findings.end()) text = ApplyEdit(text, *found->edit);
  }
  EXPECT_EQ(text, Correct());
  EXPECT_EQ(ApplyEdit("a\r\nb\r\n", {2, 1, "c\nd"}), "a\r\nc\r\nd\r\n");
  EXPECT_EQ(ApplyEdit("a\nb", {9, 0, "c"}), "a\nb\nc\n");

  const auto findings = LintInstructionText(Replaced(Correct(), "SIMU C1 C2", "SIMU C1 C22"));
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

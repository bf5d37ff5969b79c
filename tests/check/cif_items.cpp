#include <gtest/gtest.h>
#include <sstream>

#include "base/files.h"

#include "cif_cases.h"

namespace marvik::test {

const std::string& Acetamide() {
  static const std::string text = ReadWholeFile(MARVIK_CHECKED_FILES "/acetamide.cif").content;
  return text;
}

std::set<std::string> Tests(const std::vector<Finding>& findings) {
  std::set<std::string> tests;
  for (const Finding& finding : findings) tests.insert(finding.test);
  return tests;
}

std::string Changed(const std::string& text, std::string_view what, std::string_view by) {
  std::string result = text;
  const size_t at = what.empty() ? text.find('\n') + 1 : text.find(what);
  EXPECT_NE(at, std::string::npos) << what;
  return at == std::string::npos ? result : result.replace(at, what.size(), by);
}

std::string Changed(const std::string& text, const CifCase& one) {
  const std::string changed = Changed(text, one.what, one.by);
  return !one.what2.empty() ? Changed(changed, one.what2, one.by2) : changed;
}

std::vector<CifCase> CasesOf(const std::string& name) {
  const std::string content = ReadWholeFile(MARVIK_CHECKED_FILES "/" + name + ".tsv").content;
  std::vector<CifCase> cases;
  std::istringstream lines(content);
  for (std::string line; std::getline(lines, line);) {
    if (line[0] == '#') continue;
    std::vector<std::string> fields(1);
    for (size_t i = 0; i < line.size(); ++i) {
      if (line[i] == '\t') {
        fields.emplace_back();
      } else {
        const bool escaped = line[i] == '\\';
        fields.back() += !escaped ? line[i] : line[++i] == 'n' ? '\n' : line[i];
      }
    }
    fields.resize(5);
    cases.push_back({fields[0], fields[1], fields[2], fields[3], fields[4]});
  }
  return cases;
}

std::string Chiral() {
  std::string text = Acetamide();
  const auto replace = [&](std::string_view what, std::string_view by) {
    text.replace(text.find(what), what.size(), by);
  };
  replace("'P 1 21/c 1'", "'P 1 21 1'");
  replace("'-P 2ybc'", "'P 2yb'");
  replace("number 14", "number 4");
  replace("'-x, y+1/2, -z+1/2'\n'-x, -y, -z'\n'x, -y-1/2, z-1/2'\n", "'-x, y+1/2, -z'\n");
  replace("Flack .", "Flack 0.02(5)\n_refine_ls_abs_structure_details quotients\n_chemical_absolute_configuration ad");
  replace("O1 O 0.2578", "O1 Cl 0.2578");
  return text;
}

}  // namespace marvik::test

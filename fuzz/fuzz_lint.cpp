#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include "check/lint/lint.h"
#include "run/file_comparison.h"

#include "fuzz/require.h"

using namespace marvik;

// Every finding is of a rule that is listed, at a line that is there, and a repair can be made; a file is the same as
// itself.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::set<std::string> rules = [] {
    std::set<std::string> ids;
    for (const LintRule& rule : LintRules()) ids.insert(rule.id);
    return ids;
  }();
  const std::string text(reinterpret_cast<const char*>(data), size);
  size_t lines = 1;
  for (size_t i = 0; i < text.size(); ++i)
    lines += text[i] == '\n' || (text[i] == '\r' && (i + 1 == text.size() || text[i + 1] != '\n'));
  const auto findings = LintInstructionText(text);
  for (const Finding& finding : findings) {
    Require(rules.contains(finding.test), finding.test.c_str(), text);
    Require(finding.line >= 0 && static_cast<size_t>(finding.line) <= lines, "a line that is not there", text);
    if (finding.edit) ApplyEdit(text, *finding.edit);
  }
  FindingsAsJson(findings);
  const FileComparison comparison = CompareFiles(text, text, {});
  Require(comparison.Same(), "a file differs from itself", text + "\n---\n" + ComparisonAsText(comparison));
  return 0;
}

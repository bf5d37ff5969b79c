#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include "check/cif/check_cif.h"
#include "files/cif/cif_uncertainties.h"

#include "fuzz/require.h"

using namespace marvik;

// Validation ends on any CIF, with findings of rules that are listed.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::set<std::string> rules = [] {
    std::set<std::string> ids;
    for (const CifRule& rule : CifRules()) ids.insert(rule.id);
    return ids;
  }();
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto findings = CheckCif(text);
  for (const Finding& finding : findings) Require(rules.contains(finding.test), finding.test.c_str(), text);
  FindingsAsJson(findings);
  ReadCifUncertainties(text);
  return 0;
}

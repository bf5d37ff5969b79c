#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "check/cif/check_cif.h"
#include "publish/document.h"
#include "publish/publication.h"
#include "publish/publication_loops.h"

#include "fuzz/require.h"

using namespace marvik;

// A template, and behind the first "data_" the CIF that fills it; the same CIF as what a user knows of a structure.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const size_t cut = std::min(text.find("data_"), text.size());
  const std::string form = text.substr(0, cut);
  const std::string cif = text.substr(cut);
  const auto findings = CheckCif(cif);
  for (const DocumentKind kind : {DocumentKind::Html, DocumentKind::Latex, DocumentKind::Markdown}) {
    int includes = 0;
    std::string problem;
    const auto filled = FillTemplate(
        form, kind, {cif, findings, "a.png"},
        [&](const std::string& name) { return ++includes < 20 ? std::optional(name) : std::nullopt; }, problem);
    Require(filled.has_value() || !problem.empty(), "refused without a sentence", text);
    DocumentText(form, kind);
  }
  const auto rows = PublicationRows(cif, "", cif, {});
  FillingOf(rows);
  std::string problem;
  if (const auto kept = ChangedPublication(form, cif, "a", problem)) {
    const auto again = ChangedPublication(*kept, cif, "a", problem);
    Require(again && ChangedPublication(*again, cif, "a", problem) == again, "changes do not settle", *kept);
  } else {
    Require(!problem.empty(), "refused without a sentence", text);
  }
  for (const PublicationField& field : PublicationFields()) {
    PublicationFault(field.item, form);
    if (field.IsLoop() && LoopFault(form, field).empty()) LoopOfLines(form, field);
  }
  return 0;
}

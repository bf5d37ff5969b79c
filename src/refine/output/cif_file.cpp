#include "refine/output/cif_file.h"

#include <ctime>

#include "base/numbers.h"
#include "chem/geometry/uncertainty.h"
#include "refine/output/cif_sections.h"

namespace marvik {
namespace {

std::string Today() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  return Printf("%04d-%02d-%02d", parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday);
}

}  // namespace

std::string ComposeCif(const Session& s, const CifAttachments& attachments) {
  const Geometry geometry(s.structure, s.parametrisation, s.result.covariance,
                          CellSigmas(s.document.instructions.zerrLine));
  CifWriter cif;
  cif.Block(s.name);
  cif.Item("_audit_creation_method", "marvik-refine");
  cif.Item("_audit_creation_date", Today());
  cif.Item("_audit_block_code", s.name);
  WriteChemistry(s, cif);
  WriteSymmetry(s, cif);
  WriteCell(s, cif);
  WriteCrystal(s, cif);
  WriteExperiment(s, cif);
  WriteRefinement(s, cif);
  WriteAtoms(s, geometry, cif);
  WriteGeometry(s, geometry, cif);
  cif.Gap();
  const std::pair<const char*, const std::string&> files[] = {
      {"_iucr_refine_instructions_details", attachments.result},
      {"_iucr_refine_reflections_details", attachments.reflections},
      {"_iucr_refine_fab_details", attachments.mask}};
  for (const auto& [item, text] : files)
    if (!text.empty()) cif.Field(item, text);
  return cif.Text();
}

}  // namespace marvik

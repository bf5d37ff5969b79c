#pragma once

#include "chem/geometry/uncertainty.h"
#include "model/document.h"
#include "report/report.h"
#include "report/report_table.h"

namespace marvik {

// The table of a report on the whole structure or its selected atoms: atoms, bonds, angles, torsions, hydrogen bonds,
// contacts, environments within `radius` (Å), hybridization as it stands. Atoms of the file stand for their images.
// `limit` becomes a sentence where atoms stand too close for any, or where the rows are more than make sense.
ReportTable StructureTable(const Document& document, ReportKind kind, const GeometryUncertainty& uncertainty,
                           double radius, std::string& limit);

// "Single", "Double", "Triple", "Aromatic" or "Pi".
const char* OrderWord(int order);

// Names, symmetry codes, value and uncertainty, the fields with which every row of geometry begins.
void AddGeometry(ReportTable& table, const GeometryValue& value, int decimals);
void AddContact(ReportTable& table, const AtomRecord& atom, const EnvironmentContact& contact);
ReportTable HydrogenBondTable();
void AddHydrogenBond(ReportTable& table, const HydrogenBond& bond);
inline const std::vector<std::string> kGeometryHeadings{"atoms", "symmetry", "value", "su"};
inline const std::vector<std::string> kContactHeadings{"atoms", "symmetry", "value", "su", "contact", "radii"};

}  // namespace marvik

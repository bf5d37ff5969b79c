#include "report/atom_report.h"

#include <array>

#include "chem/atom_geometry.h"
#include "model/coded_values.h"
#include "model/placement.h"
#include "report/report_table.h"

namespace marvik {
const char* OrderWord(int order) {
  constexpr std::array kWords{"Single", "Double", "Triple", "Aromatic", "Pi"};
  return order < static_cast<int>(kWords.size()) ? kWords[static_cast<size_t>(order)] : "";
}

std::string AtomReport(const Document& document, bool json) {
  ReportTable table({"name", "element", "x", "y", "z", "occupancy", "u", "part", "residue"});
  for (const AtomRecord* atom : Atoms(document.atoms, document.atoms.selection.Empty() ? 0u : kSelectedOnly)) {
    table.Text(atom->name);
    table.Text(atom->element->Symbol());
    for (int i = 0; i < 3; ++i) table.Number(atom->fract[i], 6);
    table.Number(DecodedOccupancy(*atom, document.instructions), 5);
    table.Number(ListedUeq(*atom), 5);
    table.Integer(atom->part);
    table.Integer(atom->residue < 0 ? 0 : document.residues[static_cast<size_t>(atom->residue)].number);
  }
  return json ? table.Json() + "\n" : table.TabSeparated();
}

std::string BondReport(const Document& document, bool json) {
  ReportTable table({"atom1", "atom2", "length", "order"});
  const bool all = document.atoms.selection.Empty();
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    ForEachOwnBond(atom, [&](const AtomRecord* partner, const BondRecord* bond) {
      if (!all && !atom->Has(kSelected) && !partner->Has(kSelected)) return;
      table.Text(atom->name);
      table.Text(partner->name);
      table.Number(Distance(*atom, *partner), 4);
      table.Text(OrderWord(bond->Order()));
    });
  }
  return json ? table.Json() + "\n" : table.TabSeparated();
}

}  // namespace marvik

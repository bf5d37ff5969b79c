#include "files/export/conquest_query.h"

#include "base/numbers.h"
#include "files/export/export_atoms.h"

namespace marvik {

std::optional<std::string> ComposeConQuestQuery(const Document& document, UserMessages& messages) {
  const auto atoms = AtomsToExport(document, messages);
  if (!atoms) return {};
  // The database's numbers for our orders: single, double, triple, aromatic, pi.
  constexpr int kBondTypes[] = {1, 2, 3, 5, 9};
  constexpr int kAnyBond = 99;
  std::vector<int> neighbours(atoms->Atoms().size() + 1);
  std::string bondLines;
  for (const AtomRecord* atom : atoms->Atoms()) {
    const int serial = atoms->SerialOf(atom);
    atoms->ForEachBond(atom, [&](int partner, const BondRecord& bond) {
      ++neighbours[static_cast<size_t>(serial)];
      ++neighbours[static_cast<size_t>(partner)];
      const auto order = static_cast<size_t>(bond.Order());
      AppendPrintf(bondLines, "BO %d %d %d\n", serial, partner,
                   order < std::size(kBondTypes) ? kBondTypes[order] : kAnyBond);
    });
  }
  std::string text = "T1 *CONN\n";
  for (const AtomRecord* atom : atoms->Atoms()) {
    const int serial = atoms->SerialOf(atom);
    const bool known = atom->element->atomicNumber != kUnknownRow;
    AppendPrintf(text, "AT%d %s %d\n", serial, known ? std::string(atom->element->Symbol()).c_str() : "X",
                 neighbours[static_cast<size_t>(serial)]);
  }
  return text + bondLines + "END\nQUEST T1\n";
}

}  // namespace marvik

#include "files/export/text_exports.h"

#include <algorithm>

#include "base/numbers.h"
#include "files/export/export_atoms.h"
#include "language/tokenizer.h"

namespace marvik {

std::optional<std::string> ComposePdb(const Document& document, const std::string& fileName, UserMessages& messages) {
  const auto atoms = AtomsToExport(document, messages);
  if (!atoms) return {};
  std::string text = Printf("COMPND  %s                                 \n", fileName.c_str());
  int serial = 0;
  for (const AtomRecord* atom : atoms->Atoms()) {
    // Readers look for the element in columns 77 and 78, or take the first two of the name, 13 and 14: a symbol of one
    // letter stands in the second of them, unless a name of four needs the room.
    constexpr size_t kNameWidth = 4;
    const std::string symbol = UpperCase(atom->element->Symbol());
    const std::string name = (symbol.size() > 1 || atom->name.size() >= kNameWidth ? "" : " ") + atom->name;
    const int gap = 22 - static_cast<int>(std::min<size_t>(std::max(name.size(), kNameWidth) - kNameWidth, 14));
    AppendPrintf(text, "HETATM%5d %-4s%*.3f%8.3f%8.3f%24s\n", ++serial, name.c_str(), gap, atom->position.x,
                 atom->position.y, -atom->position.z, symbol.c_str());
  }
  for (const AtomRecord* atom : atoms->Atoms()) {
    std::string partners;
    atoms->ForEachBond(atom, [&](int partner, const BondRecord&) { AppendPrintf(partners, "%5d", partner); });
    if (!partners.empty()) AppendPrintf(text, "CONECT%5d%s%30s\n", atoms->SerialOf(atom), partners.c_str(), "");
  }
  return text + "\nEND\n";
}

std::optional<std::string> ComposeConnectionTable(const Document& document, UserMessages& messages) {
  const auto atoms = AtomsToExport(document, messages);
  if (!atoms) return {};
  std::string lines;
  int bonds = 0;
  for (const AtomRecord* atom : atoms->Atoms())
    AppendPrintf(lines, "%f %f %f %s\n", atom->position.x, atom->position.y, atom->position.z, atom->name.c_str());
  for (const AtomRecord* atom : atoms->Atoms())
    atoms->ForEachBond(atom, [&](int partner, const BondRecord& bond) {
      AppendPrintf(lines, "%d %d %d %d\n", atoms->SerialOf(atom), partner, bond.Order() + 1, bond.Style() + 1);
      ++bonds;
    });
  return Printf("%s\n%zu %d\n", document.instructions.title.c_str(), atoms->Atoms().size(), bonds) + lines;
}

std::optional<std::string> ComposeAtomsInput(const Document& document, UserMessages& messages) {
  const auto atoms = AtomsToExport(document, messages);
  if (!atoms) return {};
  std::string text = "FIELDS LAB TYP COO TFU\n";
  for (const AtomRecord* atom : atoms->Atoms()) {
    const auto& u = atom->u;
    AppendPrintf(text, "%s %d %f %f %f\n", atom->name.c_str(), atom->element->atomicNumber, atom->position.x,
                 atom->position.y, atom->position.z);
    AppendPrintf(text, "%f %f %f %f %f %f\n", u[0], u[1], u[2], u[5], u[4], u[3]);
  }
  return text;
}

}  // namespace marvik

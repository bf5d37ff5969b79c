#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/user_messages.h"
#include "model/document.h"

namespace marvik {

// What an export writes: the visible atoms in list order, numbered from 1, and the bonds between them. A bond to an
// atom that is not visible is no bond here, since the file would not have its other end.
class ExportAtoms {
 public:
  explicit ExportAtoms(const Document& document);

  const std::vector<const AtomRecord*>& Atoms() const { return atoms_; }
  // 0 for an atom that is not among them.
  int SerialOf(const AtomRecord* atom) const;
  // Calls visit(partner's serial, bond) for the bonds in the atom's own list.
  template <class Visit>
  void ForEachBond(const AtomRecord* atom, Visit visit) const {
    for (const BondRecord* bond = atom->bonds; bond; bond = bond->next)
      if (const int serial = SerialOf(bond->partner)) visit(serial, *bond);
  }

 private:
  std::vector<const AtomRecord*> atoms_;
  std::vector<int> serials_;  // by slot
};

// The atoms to export; nothing, after the stated message, when a visible one is still a peak.
std::optional<ExportAtoms> AtomsToExport(const Document& document, UserMessages& messages);

// Writes a composed export whole or not at all. False after a message, and for nothing to write without one.
bool WriteExport(const std::string& path, const std::optional<std::string>& content, UserMessages& messages);

// Text for formats that are UTF-8: control characters and bytes that are no UTF-8 become "?".
std::string Utf8Text(std::string_view text);

}  // namespace marvik

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/user_messages.h"
#include "edit/edit_fields.h"
#include "model/document.h"

namespace marvik {

// What the Atom dialog changes; fields that are not set stay. Numbers are in the file's coding: |v| >= 5 ties a
// coordinate, occupancy or displacement value to a free variable or holds it fixed.
//
// As text: "name=C1A element=C x=0.1 y=0.2 z=0.3 occupancy=11 part=1 partoccupancy=21 afix=43 mole=1 residue=2/ALA
// u=0.05 u11= u22= u33= u23= u13= u12= height=1.2", and the atoms where they are not the selected or clicked ones. An
// isotropic atom becomes anisotropic by all six of u11 to u12, an anisotropic one isotropic by u. residue=0 and
// partoccupancy=none take away; element goes only where the name's own element is not on SFAC. For several atoms at
// once there are no name, x, y, z, u11 to u12 and height.
struct AtomEdit {
  std::optional<std::string> name;
  std::optional<int> element;  // row of the element table
  std::array<std::optional<double>, 3> fract;
  std::optional<double> occupancy;
  std::optional<int> part;
  std::optional<double> partOccupancy;
  bool dropsPartOccupancy = false;
  std::optional<int> afix;
  std::optional<int> mole;
  std::optional<std::string> residue;  // "0", "2", "A:2", "2/ALA"
  std::optional<double> uIso;
  std::array<std::optional<double>, 6> uij;  // file order
  std::optional<double> height;

  bool IsEmpty() const;
};

// Every field that an edit takes.
std::span<const FieldRange> AtomEditFields();
// The fields as they stand for an atom, in the order of the dialog, with captions in AtomFieldCaption.
std::vector<EditArguments::Field> AtomFields(const Document& document, const AtomRecord& atom);
const char* AtomFieldCaption(std::string_view key);

// Reads and checks against the atoms that it is for.
std::optional<AtomEdit> ParseAtomEdit(const Document& document, const std::vector<AtomRecord*>& atoms,
                                      const EditArguments& arguments, EditFault& fault);
// Makes the change; positions are recomputed, bonds are not. Riding hydrogens are shifted with their parent.
void ApplyAtomEdit(Document& document, const std::vector<AtomRecord*>& atoms, const AtomEdit& edit,
                   UserMessages& messages);

// For the name alone: "C1 C1A", or the new name for the clicked or the one selected atom.
EditFault CheckNewName(const Document& document, const AtomRecord& atom, std::string_view name);

}  // namespace marvik

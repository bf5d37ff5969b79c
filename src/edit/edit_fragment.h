#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/user_messages.h"
#include "chem/geometry/superpose.h"
#include "edit/edit_fields.h"
#include "model/document.h"

namespace marvik {

// A common group or solvent: its atoms, Å in a right-handed frame, and the restraints that keep its shape, by the names
// of its atoms.
struct GroupShape {
  struct Member {
    std::string name;
    Cartesian place;
  };
  std::string name;          // "thf"
  std::string title;         // "Tetrahydrofuran (twist), solvent or ligand"
  std::string residueClass;  // "THF"
  std::string source;        // where the geometry comes from
  std::vector<Member> atoms;
  std::vector<std::string> restraints;  // "DFIX 1.438 0.01 O1 C1 O1 C4"
};
// The text of a library file: lines TITLE, CLASS, SOURCE, ATOM name element x y z, and DFIX, DANG, SADI or FLAT lines.
// Nothing after a sentence in `fault`.
std::optional<GroupShape> ReadGroupShape(const std::string& name, std::string_view text, std::string& fault);

// As text: "fragment=thf as=rigid on=\"O1 C1 C4\" part=1 fvar=2 value=0.5", and the atoms or peaks to fit on, in the
// order of `on`; without `on` the atoms of the shape that fit best are found.
struct FragmentRequest {
  std::string fragment;
  bool rigid = false;  // AFIX 6; else by restraints
  std::vector<std::string> on;
  EditArguments part;
};
std::span<const FieldRange> FragmentFields();
std::optional<FragmentRequest> ParseFragment(const EditArguments& arguments, EditFault& fault);

// Which atoms of a shape the places are, and the fit on them. Nothing, with a sentence, where none of them fits.
struct ShapeFit {
  std::vector<size_t> members;
  Superposition fit;
};
std::optional<ShapeFit> FitShape(const GroupShape& shape, const std::vector<std::string>& on,
                                 const std::vector<Cartesian>& places, const std::vector<int>& rows,
                                 const std::vector<Cartesian>& peaks, std::string& fault);

// The same on atoms and peaks of a document, peaks being of any element.
std::optional<ShapeFit> FitOnAtoms(const Document& document, const std::vector<AtomRecord*>& picked,
                                   const GroupShape& shape, const std::vector<std::string>& on, std::string& fault);

// Puts the shape into a residue of its own behind the last atom, in the place of the picked atoms, of peaks and atoms
// of their PART that it stands on, and of the hydrogens that ride on these. Positions are right afterwards, bonds are
// not made. A sentence, with nothing changed, where it does not fit. `rms` gets how well it does, Å.
std::string PlaceFragment(Document& document, const std::vector<AtomRecord*>& picked, const GroupShape& shape,
                          const FragmentRequest& request, UserMessages& messages, double& rms);

}  // namespace marvik

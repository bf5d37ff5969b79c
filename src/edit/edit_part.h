#pragma once

#include <optional>
#include <string>
#include <vector>

#include "edit/edit_fields.h"
#include "model/document.h"

namespace marvik {

// "Disorder Part Number": the PART of atoms and how their occupancy is refined. Riding hydrogens change with their
// parent. As text: "part=1 fvar=2 occupancy=1 value=0.6".
struct PartChange {
  std::optional<int> part;
  // fvar 0: the plain occupancy, refined. 1: held fixed (10 + p). m >= 2: p times free variable m, written 10·m + p;
  // -m: p times (1 - variable m), written -(10·m + p). Without an occupancy p is what the atom has, else 1.
  std::optional<int> fvar;
  std::optional<double> occupancy;  // p
  std::optional<double> value;      // of that free variable; a new one gets 0.5 unless this is given
};
std::span<const FieldRange> PartFields();
std::optional<PartChange> ParsePartChange(const Document& document, const EditArguments& arguments, EditFault& fault);
// The next free variable is made when the change speaks of it. Bonds are not made again.
void ApplyPartChange(Document& document, const std::vector<AtomRecord*>& atoms, const PartChange& change);

// What the dialog shows for atoms: the PART that all have, free variable with sign and p of the first.
PartChange PartOf(const Document& document, const std::vector<AtomRecord*>& atoms);
// 10·m + p with its sign.
double CodedOccupancy(int fvar, double p);

// The PART numbers of the atoms, ascending, each once.
std::vector<int> PartsInFile(const Document& document);
// "Hide Disordered Parts": which PART numbers are hidden from now on. As text: "1 2", or "none". Faults name a PART
// that no atom has.
std::optional<std::vector<int>> ParseHiddenParts(const Document& document, const EditArguments& arguments,
                                                 EditFault& fault);
// Atoms that get hidden are deselected; what is displayed follows from Connect.
void HideParts(Document& document, const std::vector<int>& parts);

}  // namespace marvik

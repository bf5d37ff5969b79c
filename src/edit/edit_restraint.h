#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "edit/edit_fields.h"
#include "model/document.h"

namespace marvik {

// A restraint or constraint that a user makes for atoms. As text: "kind=distance target=1.39 sigma=0.01", and the atoms
// in their order: pairs of them for distances; three for an angle, whose ends are held apart.
struct RestraintRequest {
  size_t kind = 0;  // place among the words of its field
  std::optional<double> target;
  std::optional<double> sigma;
};
std::span<const FieldRange> RestraintFields();
std::optional<RestraintRequest> ParseRestraint(const EditArguments& arguments, EditFault& fault);

// Adds the instruction to the document; the target of a distance is what it is now where none is given. A sentence,
// with nothing changed, where the atoms do not make one, or the line is there already.
std::string AddRestraint(Document& document, const std::vector<AtomRecord*>& atoms, const RestraintRequest& request);

// The instructions that restrain or constrain, in file order, on one line each.
std::vector<std::string> RestraintTexts(const Document& document);
// Takes the one of this place among them away; false where there is none.
bool RemoveRestraint(Document& document, size_t at);

// The numbers that a restraint begins with: the value it holds and its standard uncertainty, as far as it says them.
struct RestraintNumbers {
  bool hasTarget = false;  // whether such an instruction takes one
  bool hasSigma = false;
  std::optional<double> target;
  std::optional<double> sigma;
};
RestraintNumbers NumbersOf(const std::string& restraint);
// Other numbers for the one of this place. As text: "number=3 target=1.39 sigma=0.01", numbers from 1. A sentence, with
// nothing changed, where there is none, or it takes no such number.
std::span<const FieldRange> RestraintEditFields();
std::string EditRestraint(Document& document, size_t at, std::optional<double> target, std::optional<double> sigma);

// The places of those that name one of the atoms, by ranges, elements and classes too, or that speak of all atoms.
std::vector<size_t> RestraintsOn(const Document& document, const std::vector<const AtomRecord*>& atoms);

}  // namespace marvik

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "edit/edit_elements.h"
#include "edit/edit_fields.h"
#include "model/document.h"

namespace marvik {

// "Atom Group Labeling": numbers for the selected atoms in the order they were selected.
// As text: "first=1 prefix=C suffix=A"; without prefix, or with "$", each atom keeps the symbol of its element.
struct GroupLabel {
  std::string prefix;  // "" for the element's symbol
  int first = 1;
  std::string suffix;
};
std::span<const FieldRange> GroupLabelFields();
std::optional<GroupLabel> ParseGroupLabel(const EditArguments& arguments, EditFault& fault);

// Which atom gets which name. Hydrogens follow their parent, or the one atom they are bonded to: H and its number and
// suffix, with letters where there are several, whether or not they were selected themselves. A hydrogen that was
// selected without its parent takes the parent's present number. The fault names what cannot be: names too long, or
// held by atoms that get no new one, with the first number from which all are free.
struct LabelPlan {
  std::vector<std::pair<AtomRecord*, std::string>> names;
  EditFault fault;
};
LabelPlan PlanGroupLabels(const Document& document, const std::vector<AtomRecord*>& atoms, const GroupLabel& label);

// Gives all names at once, so that atoms may exchange theirs.
void ApplyNames(Document& document, const std::vector<std::pair<AtomRecord*, std::string>>& names,
                ElementChooser& elements);

// The digits of a label from the first one on ("12" of C12A), "" for none, and what follows them.
std::string LabelNumber(std::string_view name);
std::string LabelSuffix(std::string_view name);

}  // namespace marvik

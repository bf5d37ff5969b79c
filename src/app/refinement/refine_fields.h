#pragma once

#include <span>

#include "edit/edit_fields.h"
#include "model/refinement_settings.h"

namespace marvik {

// What "Refinement Control" sets, as fields: "cycles=8 plan=30 weights=0.05,0.2 omit=-2 acta=on".
std::span<const FieldRange> RefinementFields();
// Sets them as confirming the dialog would: the weights that were in force become the previous ones. With a fault the
// settings stay as they were.
EditFault ApplyRefinementFields(const EditArguments& arguments, RefinementSettings& settings);

}  // namespace marvik

#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "app/commands/command_table.h"
#include "app/workbench.h"
#include "check/data_mask.h"
#include "draw/density/density_net.h"
#include "edit/edit_fields.h"
#include "report/report.h"

namespace marvik {

// The argument of "solvent-mask".
std::optional<MaskOptions> ParseMask(const EditArguments& arguments, EditFault& fault);

// From the model as it is and the reflections beside it, off the window's thread where there is one: `then` gets it,
// and gives what has become of it. A message instead where there is none, or where the structure has changed meanwhile.
using MaskTaker = std::function<Outcome(std::shared_ptr<const DataMask>)>;
Outcome WithMask(Workbench& bench, const MaskOptions& options, const MaskTaker& then);

// The voids with the electrons in them.
Report VoidsReport(const DataMask& data);

// The surfaces of the voids, in the model's frame.
void AddVoidNet(const SolventMask& mask, const OrthogonalisationMatrix& matrix, DensityNet& net);

}  // namespace marvik

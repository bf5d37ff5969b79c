#pragma once

#include <memory>
#include <optional>

#include "app/workbench.h"
#include "check/data_mask.h"
#include "draw/density/density_net.h"
#include "edit/edit_fields.h"
#include "report/report.h"

namespace marvik {

// The argument of "solvent-mask".
std::optional<MaskOptions> ParseMask(const EditArguments& arguments, EditFault& fault);

// From the model as it is and the reflections beside it; null after a message.
std::shared_ptr<const DataMask> MakeMask(Workbench& bench, const MaskOptions& options);

// The voids with the electrons in them; nothing after a message.
std::optional<Report> VoidsReport(Workbench& bench);
Report VoidsReport(const DataMask& data);

// The surfaces of the voids, in the model's frame.
void AddVoidNet(const SolventMask& mask, const OrthogonalisationMatrix& matrix, DensityNet& net);

}  // namespace marvik

#pragma once

#include <span>
#include <string>

#include "app/workbench.h"
#include "edit/edit_fields.h"
#include "files/start/job_start.h"

namespace marvik {

std::span<const FieldRange> NewFromReflectionsFields();

// What is known of the job of a reflection file (or a CIF that carries its reflections) before the user says more.
JobStart KnownOfJob(const std::string& reflections);
// The fields that the user gives go before what is known. A fault for what makes no sense.
EditFault ApplyJobFields(const EditArguments& arguments, JobStart& start);
// The same as fields, for a form to show.
EditArguments JobFields(const std::string& reflections, const JobStart& start);

// Writes NAME.ins for the reflections NAME.hkl (and NAME.hkl from a CIF) and opens it; existing files of other content
// are asked about and kept as .bak. False after a message, with every file as it was.
bool NewFromReflections(Workbench& bench, const EditArguments& arguments);

}  // namespace marvik

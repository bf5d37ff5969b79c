#pragma once

#include <string>

#include "app/refinement/refine_report.h"
#include "app/workbench.h"
#include "run/job_files.h"
#include "run/refinement_run.h"

namespace marvik {

inline constexpr char kBatchScript[] = "zqfrommarvik.bat";

// Path of the current file without its extension, from which all names of a run are made; "" without a file.
std::string JobBase(const Workbench& bench);

// Runs that nobody watches share a folder with others, their output in a file of each; a window's have it alone.
JobFolder FolderOfRuns(const Workbench& bench);

// The checks before a refinement, each with its message: peaks, elements that SFAC does not name, names that occur
// twice, no reflection file.
bool MayRefine(Workbench& bench);
// The last of them.
bool HasReflections(Workbench& bench);
// Asks, once in a session, about included files that lie in other folders.
bool MayInclude(Workbench& bench);

// The whole of Refine: checks, settings, NAME.ins, the run, NAME.res read back, and its acceptance, by the window's
// hooks where there are any. Until a result is accepted the model is as it was but for the settings, and a run that
// does not come to that leaves NAME.res as it was. Accepting makes NAME.res the current file and enters the job's
// history.
enum class RefineEnd { Refused, Cancelled, Failed, Discarded, Accepted };
// Fields (app/refinement/refine_fields.h) stand for the dialog of the settings.
RefineEnd Refine(Workbench& bench, const std::string& fields = {});

// Atoms that a file holds, peaks left out.
int CountAtoms(const Document& document);
// The document read from NAME.res as a program has just written it becomes the current one.
void TakeResult(Workbench& bench, const Document& result, const std::string& base);

// Puts the model of a step of the job's history in place. False after a message.
bool GoBackToStep(Workbench& bench, int number);

}  // namespace marvik

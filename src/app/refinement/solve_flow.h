#pragma once

#include <span>
#include <string>
#include <vector>

#include "app/refinement/refine_flow.h"
#include "edit/edit_fields.h"

namespace marvik {

// What a solution or completion found, or other models to choose from: a line for each, the cells under the headings.
struct FoundModels {
  struct Row {
    std::string path;  // of the instruction file, where there is one
    std::vector<std::string> cells;
    std::string Cell(const FoundModels& of, std::string_view heading) const;
  };
  std::vector<std::string> headings;  // "model", "space group", "R1" ...
  std::vector<Row> rows;
  size_t proposed = 0;  // the row to take unless the user wants another
  std::string notes;    // what the program said about the data and the model
  std::string title = "Models Found";
  std::string accept = "&Take This Model";
};
// The table that marvik-solve writes.
FoundModels ReadFoundModels(std::string_view table);

std::span<const FieldRange> SolveFields();
std::span<const FieldRange> CompleteFields();

// Solves the job of the current file from its cell, elements and NAME.hkl, or completes its model, by marvik-solve in a
// folder of its own: until a model is chosen every file and the model are as they were. By the window's hooks the user
// follows the run and chooses; without them the proposed model is taken. It becomes NAME.res, every step is entered
// into the job's history.
RefineEnd SolveJob(Workbench& bench, const std::string& fields);
RefineEnd CompleteJob(Workbench& bench, const std::string& fields);

}  // namespace marvik

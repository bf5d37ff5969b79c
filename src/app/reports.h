#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "app/workbench.h"
#include "report/report.h"

namespace marvik {

// The report on the workbench's structure, with the uncertainties that the files beside it give.
std::optional<Report> ComposeReport(Workbench& bench, const ReportRequest& request);

// What --report prints; `hybrid` classifies the atoms if it can. Nothing after a message.
std::optional<std::string> BatchReport(Workbench& bench, ReportKind kind, ReportFormat format);

}  // namespace marvik

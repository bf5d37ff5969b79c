#include "app/reports.h"

#include "app/commands/command_handlers.h"
#include "app/density.h"
#include "chem/bonds/hybridization.h"

namespace marvik {

std::optional<Report> ComposeReport(Workbench& bench, const ReportRequest& request) {
  if (request.kind == ReportKind::Peaks || request.kind == ReportKind::Voids)
    return FindDataReport(bench, request.kind);
  const auto uncertainties = FindUncertainties(bench.document, bench.reports.uncertainties);
  return ComposeReport(bench.document, request, uncertainties.get());
}

std::optional<std::string> BatchReport(Workbench& bench, ReportKind kind, ReportFormat format) {
  if (kind == ReportKind::Hybrid && !HybridizeAll(bench.document, bench.messages)) return std::nullopt;
  ReportRequest request;
  request.kind = kind;
  for (const AtomRecord* atom : ReportedAtoms(bench.document)) request.members.push_back(atom->serial);
  const auto report = request.members.empty() && kind >= ReportKind::Planes && kind <= ReportKind::Centroid
                          ? std::nullopt
                          : ComposeReport(bench, request);
  if (!report && (kind == ReportKind::Peaks || kind == ReportKind::Voids)) return std::nullopt;
  if (report && !report->limit.empty())
    bench.messages.Show({MessageIcon::Warning, "Error: Atoms Too Close", report->limit});
  if (report) return FormatReport(bench.document, *report, format);
  if (kind == ReportKind::Centroid) {
    Refuse(bench, "Centroid", "There are no atoms to take the centroid of.");
  } else {
    Refuse(bench, "Mean Plane ", "There are no atoms to lay a plane through.");
  }
  return std::nullopt;
}

}  // namespace marvik

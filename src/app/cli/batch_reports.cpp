#include <array>

#include "app/commands/command_handlers.h"
#include "app/reports.h"
#include "base/numbers.h"
#include "chem/hybridization.h"
#include "chem/mean_plane.h"
#include "chem/report_numbers.h"

namespace marvik {
namespace {

std::string HybridReport(const Document& document, bool json) {
  ReportTable table({"name", "element", "hybridization", "hydrogens", "charge"});
  for (const AtomRecord* atom : ReportedAtoms(document)) {
    table.Text(atom->name);
    table.Text(atom->element->Symbol());
    std::string name = HybridizationName(atom->Hybridization());
    std::erase(name, ' ');
    table.Text(name);
    table.Integer(atom->hydrogenCount);
    table.Integer(atom->charge);
  }
  return json ? table.Json() + "\n" : table.TabSeparated();
}

std::string PlaneJson(const Report& report) {
  std::string text = "{";
  for (size_t i = 0; i < report.tables.size(); ++i) {
    const std::string rows = report.tables[i].Json();
    text.append(i ? ",\n" : "\n").append(JsonText(report.tables[i].name)).append(": ").append(rows);
  }
  return text + "\n}\n";
}

}  // namespace

std::optional<std::string> BatchReport(Workbench& bench, std::string_view kind, bool json) {
  if (kind == "hybrid") {
    if (!HybridizeAll(bench.document, bench.messages)) return std::nullopt;
    return HybridReport(bench.document, json);
  }
  if (kind == "centroid") {
    const auto centroid = ComputeCentroid(bench.document, nullptr);
    if (!centroid) {
      Refuse(bench, "Centroid", "There are no atoms to take the centroid of.");
      return std::nullopt;
    }
    if (!json) return CentroidText(*centroid) + "\n";
    ReportTable table({"x", "y", "z"});
    for (int i = 0; i < 3; ++i) table.Number(Shown((*centroid)[i], 6), 6);
    return table.Json() + "\n";
  }
  ReportRequest request{kind == "plane" ? ReportKind::MeanPlane : ReportKind::WeightedPlane, {}, 0, 0.0, {}};
  for (const AtomRecord* atom : ReportedAtoms(bench.document)) request.members.push_back(atom->serial);
  const auto report = ComposeReport(bench.document, request, bench.reports);
  if (!report) {
    Refuse(bench, "Mean Plane ", "There are no atoms to lay a plane through.");
    return std::nullopt;
  }
  return json ? PlaneJson(*report) : PlainLines(report->text);
}

}  // namespace marvik

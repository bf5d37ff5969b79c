#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/workbench.h"
#include "report/report_table.h"

namespace marvik {

enum class ReportKind : uint8_t { AtomInformation, MeanPlane, WeightedPlane, BondsAndAngles, Environment };

// What a report is about, by serial numbers, so that it can be composed anew when the structure has changed.
struct ReportRequest {
  ReportKind kind = ReportKind::AtomInformation;
  std::vector<uint32_t> members;           // of a table or plane; empty: every atom
  uint32_t atom = 0;                       // that bonds, angles or the environment are asked for
  double radius = kDefaultEnvironment;     // Å
  std::optional<Cartesian> previousPlane;  // normal of the plane before, for the angle between the two
};

// The text is bytes of the structure's files among UTF-8, its lines ended by "\r\n".
struct Report {
  std::string title;
  std::string jobName;
  std::string text;
  std::vector<ReportTable> tables;  // the same and more as tables
};

// Nothing when the atom or all members are gone.
std::optional<Report> ComposeReport(const Document& document, const ReportRequest& request, ReportState& state);

// Every table under its name, parted by empty lines; separator '\t' or ','.
std::string TablesText(const Report& report, char separator);
// With "\n" for line ends.
std::string PlainLines(std::string text);
// Tabs replaced by blanks up to the next multiple of eight columns; a line feed ends a line.
std::string WithoutTabs(std::string_view text);

// What --report hybrid, plane, weighted-plane and centroid print; the first classifies the atoms if it can. Nothing
// after a message.
std::optional<std::string> BatchReport(Workbench& bench, std::string_view kind, bool json);

}  // namespace marvik

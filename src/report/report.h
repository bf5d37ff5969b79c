#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "chem/environment.h"
#include "chem/geometry/mean_plane.h"
#include "chem/geometry/uncertainty.h"
#include "report/report_table.h"

namespace marvik {

enum class ReportKind : uint8_t {
  Atoms,
  Bonds,
  Angles,
  Torsions,
  HydrogenBonds,
  Contacts,
  Environments,
  Planes,
  MeanPlane,
  WeightedPlane,
  Centroid,
  Hybrid,
  Peaks,  // composed where the reflections are read
  Chirality,
  Voids,  // composed where the reflections are read
  // About one atom.
  BondsAndAngles,
  Environment,
  // The atom information table as text.
  AtomInformation,
};

// Reports that go by names on the command line, in the order of their kinds.
inline constexpr std::array<std::string_view, 15> kReportNames{
    "atoms", "bonds",          "angles",   "torsions", "hydrogen-bonds", "contacts",  "environment", "planes",
    "plane", "weighted-plane", "centroid", "hybrid",   "peaks",          "chirality", "voids"};
std::optional<ReportKind> ReportKindOf(std::string_view name);

// What a report is about, by serial numbers, so that it can be composed anew when the structure has changed. Without
// members a report on the whole structure tells of the selected atoms when there are any.
struct ReportRequest {
  ReportKind kind = ReportKind::AtomInformation;
  std::vector<uint32_t> members;           // of atom information or a plane; empty: every atom
  uint32_t atom = 0;                       // that bonds, angles or the environment are asked for
  double radius = kDefaultEnvironment;     // Å
  std::optional<Cartesian> previousPlane;  // normal of the plane before, for the angle between the two
};

// The text is bytes of the structure's files among UTF-8, its lines ended by "\r\n".
struct Report {
  ReportKind kind = ReportKind::AtomInformation;
  std::string title;
  std::string jobName;
  std::string text;
  std::vector<ReportTable> tables;  // the same and more as tables
  ReportTable rows;                 // as JSON has it, where that is another one than the first table
  std::string basis;                // of the uncertainties, "" where there are none
  std::string limit = {};           // a sentence where there is more than the report has, or nothing can be told
};

// Nothing when the atom or all members are gone. `uncertainties` may be null: no value has any then.
std::optional<Report> ComposeReport(const Document& document, const ReportRequest& request,
                                    const UncertaintySource* uncertainties);

// Of the result that the document was read from: "R1 =", "wR2 =" or "GooF =" of its remarks; nothing where they do not
// say.
std::optional<double> FigureOfMerit(const Document& document, std::string_view name);

enum class ReportFormat { Text, Json, Csv };
// As the command line prints it. Text: that of a plane or a centroid, else its table with the basis of the
// uncertainties behind. JSON: one object with the file, its title, cell and figures of merit, and the rows under the
// report's name. CSV: its tables.
std::string FormatReport(const Document& document, const Report& report, ReportFormat format);

// Every table under its name, parted by empty lines; separator '\t' or ','.
std::string TablesText(const Report& report, char separator);
// With "\n" for line ends.
std::string PlainLines(std::string text);
// Tabs replaced by blanks up to the next multiple of eight columns; a line feed ends a line.
std::string WithoutTabs(std::string_view text);

}  // namespace marvik

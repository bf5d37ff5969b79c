#include "report/report.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/files.h"
#include "base/numbers.h"
#include "base/words.h"
#include "chem/bonds/hybridization.h"
#include "chem/geometry/atom_geometry.h"
#include "chem/geometry/report_numbers.h"
#include "chem/geometry/structure_geometry.h"
#include "model/placement.h"
#include "report/structure_tables.h"

namespace marvik {
namespace {

constexpr char kEnd[] = "\r\n";

AtomSet MembersOf(const Document& document, const ReportRequest& request) {
  AtomSet atoms;
  for (const AtomRecord* atom : Atoms(document.atoms))
    if (request.members.empty() || std::ranges::find(request.members, atom->serial) != request.members.end())
      atoms.push_back(atom);
  return atoms;
}

Report AtomInformation(const Document& document, const AtomSet& atoms) {
  Report report{ReportKind::AtomInformation,
                "Atom Information",
                "Atom Information",
                AtomInformationText(document, atoms),
                {},
                {},
                {}};
  ReportTable table({"label", "peak height", "type", "x", "y", "z", "hybrid", "charge", "Ueq"}, "Atom Information");
  const DisplacementFrame frame(document.cell, document.matrix);
  std::string notPositive;
  for (const AtomRecord* atom : atoms) {
    table.Text(atom->name);
    atom->peakHeight != 0.0 ? table.Number(atom->peakHeight, 2) : table.Missing();
    table.Text(atom->element->Symbol());
    for (int i = 0; i < 3; ++i) table.Number(atom->fract[i], 5);
    table.Text(std::string(Trimmed(HybridizationName(atom->Hybridization()), " ")));
    table.Integer(atom->charge);
    table.Number(ListedUeq(document, *atom), 5);
    if (atom->IsAnisotropic() && !EllipsoidAxes(TensorOf(frame, *atom)).positiveDefinite)
      notPositive += " " + atom->name;
  }
  if (!notPositive.empty())
    report.text += kEnd + std::string("Displacement tensors not positive definite:") + notPositive + kEnd;
  report.tables.push_back(std::move(table));
  return report;
}

// As JSON has it: the value is the root mean square deviation.
ReportTable PlaneRow(const MeanPlane& plane, const AtomSet& members, bool weighted) {
  ReportTable table(
      {"atoms", "symmetry", "value", "su", "weighted", "normal", "distance", "coefficients", "deviations"});
  std::vector<std::string> names;
  std::vector<double> deviations;
  for (const AtomRecord* atom : members) {
    names.push_back(atom->name);
    deviations.push_back(DeviationFrom(plane, *atom));
  }
  table.Texts(std::move(names));
  table.Texts(std::vector<std::string>(members.size()));
  table.Measured(plane.rmsDeviation, {}, 4);
  table.Integer(weighted);
  table.Numbers({plane.normal.x, plane.normal.y, plane.normal.z}, 6);
  table.Number(plane.distance, 6);
  table.Numbers({plane.coefficients.begin(), plane.coefficients.end()}, 6);
  table.Numbers(deviations, 4);
  return table;
}

std::optional<Report> PlaneReport(const Document& document, const AtomSet& members, const ReportRequest& request) {
  const bool weighted = request.kind == ReportKind::WeightedPlane;
  const auto plane = FitMeanPlane(document, members, weighted);
  if (!plane) return std::nullopt;
  Report report{
      request.kind, "Mean Plane ", "Atom Information", MeanPlaneText(document, *plane, members, weighted), {}, {}, {}};
  ReportTable summary({"nx", "ny", "nz", "D", "a", "b", "c", "rms deviation", "angle to previous plane"}, "Equation");
  for (int i = 0; i < 3; ++i) summary.Number(Shown(plane->normal[i], 4), 4);
  summary.Number(Shown(plane->distance, 4), 4);
  for (const double c : plane->coefficients) summary.Number(Shown(c, 4), 4);
  summary.Number(plane->rmsDeviation, 4);
  request.previousPlane ? summary.Number(AngleBetween(*plane, *request.previousPlane), 2) : summary.Missing();
  ReportTable deviations({"name", "member", "deviation", "weight"}, "Deviations");
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    const bool in = std::ranges::find(members, atom) != members.end();
    deviations.Text(atom->name);
    deviations.Integer(in);
    deviations.Number(Shown(DeviationFrom(*plane, *atom), 4), 4);
    deviations.Number(in ? PlaneWeight(*atom, weighted) : 0.0, 2);
  }
  AppendPrintf(report.text, "\r\nRoot mean square deviation of the %zu atoms of the plane: %.4f Å\r\n", members.size(),
               plane->rmsDeviation);
  if (!plane->isDetermined) report.text += "These atoms lie on one line or at one place: many planes hold them.\r\n";
  if (request.previousPlane)
    AppendPrintf(report.text, "Angle to the plane before: %.2f°\r\n", AngleBetween(*plane, *request.previousPlane));
  report.tables = {std::move(summary), std::move(deviations)};
  report.rows = PlaneRow(*plane, members, weighted);
  return report;
}

// Both planes of the same atoms.
std::optional<Report> PlanesReport(const Document& document, const AtomSet& members, const ReportRequest& request) {
  ReportRequest one = request;
  one.kind = ReportKind::MeanPlane;
  auto report = PlaneReport(document, members, one);
  one.kind = ReportKind::WeightedPlane;
  const auto weighted = PlaneReport(document, members, one);
  if (!report || !weighted) return std::nullopt;
  report->kind = ReportKind::Planes;
  report->text += kEnd + weighted->text;
  report->tables.insert(report->tables.end(), weighted->tables.begin(), weighted->tables.end());
  report->rows.Append(weighted->rows);
  return report;
}

std::optional<Report> CentroidReport(const AtomSet& members) {
  Fractional sum;
  std::vector<std::string> names;
  for (const AtomRecord* atom : members) {
    sum += atom->fract;
    names.push_back(atom->name);
  }
  if (members.empty() || !IsFinite(sum)) return std::nullopt;
  const Fractional centroid = sum / static_cast<double>(members.size());
  Report report{ReportKind::Centroid, "Centroid", "Centroid", CentroidText(centroid) + kEnd, {}, {}, {}};
  ReportTable table({"x", "y", "z"});
  for (int i = 0; i < 3; ++i) table.Number(centroid[i], 6);
  report.tables.push_back(std::move(table));
  report.rows = ReportTable({"atoms", "symmetry", "value", "su"});
  report.rows.Texts(std::move(names));
  report.rows.Texts(std::vector<std::string>(members.size()));
  report.rows.Numbers({centroid.x, centroid.y, centroid.z}, 6);
  report.rows.Missing();
  return report;
}

void AddTable(Report& report, ReportTable&& table) {
  if (table.Rows() == 0) return;
  report.text += kEnd + table.name + kEnd;
  for (const char c : table.Aligned()) {
    if (c == '\n') report.text += '\r';
    report.text += c;
  }
  report.tables.push_back(std::move(table));
}

std::string BasisOf(const GeometryUncertainty& uncertainty) {
  return uncertainty.Source() ? uncertainty.Basis() : "";
}

Report BondsAndAngles(const Document& document, const AtomRecord& atom, const GeometryUncertainty& uncertainty) {
  Report report{ReportKind::BondsAndAngles,
                "Bonds and Angles for " + atom.name,
                "Bonds and Angles",
                BondsAndAnglesText(document, atom),
                {},
                {},
                BasisOf(uncertainty)};
  const AtomGeometry geometry = GeometryAt(StructureBonds(document), atom, uncertainty);
  const auto add = [&](const char* name, const std::vector<GeometryValue>& values, int decimals) {
    ReportTable table(kGeometryHeadings, name);
    for (const GeometryValue& value : values) AddGeometry(table, value, decimals);
    AddTable(report, std::move(table));
  };
  add("Distances (Å)", geometry.distances, 3);
  add("Angles (°)", geometry.angles, 2);
  add("Torsions (°)", geometry.torsions, 1);
  if (!report.tables.empty()) report.text += kEnd + uncertainty.Basis() + kEnd;
  return report;
}

Report EnvironmentReport(const Document& document, const AtomRecord& atom, double radius,
                         const GeometryUncertainty& uncertainty) {
  const Environment environment = EnvironmentSearch(document, radius, uncertainty).About(atom, radius);
  Report report{ReportKind::Environment,
                "Environment of " + atom.name,
                "Environment",
                Printf("Environment of %s within %.2f Å\r\nLabel\tcode\tdistance\r\n", atom.name.c_str(), radius),
                {},
                {},
                BasisOf(uncertainty)};
  ReportTable table({"label", "code", "distance", "su", "contact"}, "Environment");
  for (const EnvironmentContact& contact : environment.contacts) {
    const NeighbourImage& image = contact.image;
    table.Text(image.atom->name);
    table.Integer(image.symmetryCode);
    table.Measured(image.distance, contact.su, 3);
    table.Text(ContactWord(contact.kind));
    AppendPrintf(report.text, "%4s\t%d\t%-9s\t%s\r\n", image.atom->name.c_str(), image.symmetryCode,
                 WithUncertainty(image.distance, contact.su, 3).c_str(), ContactWord(contact.kind));
  }
  report.tables.push_back(std::move(table));
  ReportTable bonds = HydrogenBondTable();
  for (const HydrogenBond& bond : environment.hydrogenBonds) AddHydrogenBond(bonds, bond);
  AddTable(report, std::move(bonds));
  if (!environment.contacts.empty()) report.text += kEnd + uncertainty.Basis() + kEnd;
  return report;
}

bool HasBothHands(const Document& document) {
  return std::ranges::any_of(document.symmetry, [](const SymmetryOperator& op) { return op.Determinant() < 0; });
}

Report StructureReport(const Document& document, const ReportRequest& request, const GeometryUncertainty& uncertainty) {
  constexpr std::array<const char*, kReportNames.size()> kTitles = {"Atoms",
                                                                    "Bonds",
                                                                    "Angles",
                                                                    "Torsion Angles",
                                                                    "Hydrogen Bonds",
                                                                    "Contacts",
                                                                    "Environment",
                                                                    "",
                                                                    "",
                                                                    "",
                                                                    "",
                                                                    "Hybridization",
                                                                    "",
                                                                    "Chirality",
                                                                    ""};
  const char* title = kTitles[static_cast<size_t>(request.kind)];
  Report report{request.kind, title, title, title + std::string(kEnd), {}, {}, {}};
  const bool isWithoutNumbers = request.kind == ReportKind::Hybrid || request.kind == ReportKind::Chirality;
  if (!isWithoutNumbers) report.basis = BasisOf(uncertainty);
  ReportTable table = StructureTable(document, request.kind, uncertainty, request.radius, report.limit);
  if (table.Rows() == 0) {
    report.text += std::string(kEnd) + "There are none." + kEnd;
    report.tables.push_back(std::move(table));
  } else {
    AddTable(report, std::move(table));
  }
  if (!report.limit.empty()) report.text += kEnd + report.limit + kEnd;
  if (request.kind == ReportKind::Chirality && HasBothHands(document))
    report.text += std::string(kEnd) + "Symmetry makes the other hand as well." + kEnd;
  if (!isWithoutNumbers) report.text += kEnd + uncertainty.Basis() + kEnd;
  return report;
}

nlohmann::ordered_json FigureOf(const Document& document, std::string_view name) {
  const auto figure = FigureOfMerit(document, name);
  return figure ? nlohmann::ordered_json(*figure) : nlohmann::ordered_json();
}

std::string ReportJson(const Document& document, const Report& report) {
  nlohmann::ordered_json head;
  const CellParameters& c = document.cell;
  const auto rounded = [](double v) { return std::round(v * 1e6) / 1e6; };
  head["file"] = Utf8Of(FileNameOf(document.CurrentFile));
  head["title"] = Utf8Of(document.instructions.title);
  head["cell"] = {{"a", rounded(c.a)},         {"b", rounded(c.b)},       {"c", rounded(c.c)},
                  {"alpha", rounded(c.alpha)}, {"beta", rounded(c.beta)}, {"gamma", rounded(c.gamma)}};
  head["r1"] = FigureOf(document, "R1 =");
  head["wr2"] = FigureOf(document, "wR2 =");
  head["goof"] = FigureOf(document, "GooF =");
  head["basis"] = report.basis.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(report.basis);
  if (!report.limit.empty()) head["limit"] = report.limit;
  std::string text = "{\n";
  for (const auto& [key, value] : head.items()) text += "  \"" + key + "\": " + value.dump() + ",\n";
  const ReportTable& rows = report.rows.headings.empty() ? report.tables.at(0) : report.rows;
  return text + "  \"" + std::string(kReportNames[static_cast<size_t>(report.kind)]) + "\": " + rows.Json(4) + "\n}\n";
}

}  // namespace

// "R1 =  0.0364 for ..."
std::optional<double> FigureOfMerit(const Document& document, std::string_view name) {
  std::optional<double> figure;
  for (const std::string& line : document.instructions.droppedRemarks) {
    const size_t at = line.find(name);
    if (at == std::string::npos || (at > 0 && std::isalnum(static_cast<unsigned char>(line[at - 1])))) continue;
    size_t from = at + name.size();
    if (const size_t s = line.find("S =", from); s == from + 1) from = s + 3;
    from = line.find_first_not_of(" =", from);
    if (double value = 0.0; from != std::string::npos && ParseNumber(std::string_view(line).substr(from), value) > 0)
      figure = value;
  }
  return figure;
}

std::optional<ReportKind> ReportKindOf(std::string_view name) {
  const auto found = std::ranges::find(kReportNames, name);
  if (found == kReportNames.end()) return std::nullopt;
  return static_cast<ReportKind>(found - kReportNames.begin());
}

std::optional<Report> ComposeReport(const Document& document, const ReportRequest& request,
                                    const UncertaintySource* uncertainties) {
  const GeometryUncertainty uncertainty(document, uncertainties);
  switch (request.kind) {
    case ReportKind::AtomInformation:
    case ReportKind::MeanPlane:
    case ReportKind::WeightedPlane:
    case ReportKind::Planes:
    case ReportKind::Centroid: {
      const AtomSet members = MembersOf(document, request);
      if (members.empty()) return std::nullopt;
      if (request.kind == ReportKind::AtomInformation) return AtomInformation(document, members);
      if (request.kind == ReportKind::Centroid) return CentroidReport(members);
      if (request.kind == ReportKind::Planes) return PlanesReport(document, members, request);
      return PlaneReport(document, members, request);
    }
    case ReportKind::BondsAndAngles:
    case ReportKind::Environment: {
      const AtomRecord* atom = document.atoms.FindSerial(request.atom);
      if (!atom) return std::nullopt;
      if (request.kind == ReportKind::BondsAndAngles) return BondsAndAngles(document, *atom, uncertainty);
      return EnvironmentReport(document, *atom, request.radius, uncertainty);
    }
    default:
      return StructureReport(document, request, uncertainty);
  }
}

std::string FormatReport(const Document& document, const Report& report, ReportFormat format) {
  if (format == ReportFormat::Json) return ReportJson(document, report);
  if (format == ReportFormat::Csv) return TablesText(report, ',');
  if (report.kind >= ReportKind::Planes && report.kind <= ReportKind::Centroid) return PlainLines(report.text);
  return TablesText(report, '\t') + (report.basis.empty() ? "" : "# " + report.basis + "\n");
}

std::string TablesText(const Report& report, char separator) {
  std::string text;
  for (const ReportTable& table : report.tables) {
    if (report.tables.size() > 1) text.append(text.empty() ? "" : "\n").append(table.name).append("\n");
    text += separator == ',' ? table.CommaSeparated() : table.TabSeparated();
  }
  return text;
}

std::string PlainLines(std::string text) {
  std::erase(text, '\r');
  return text;
}

std::string WithoutTabs(std::string_view text) {
  constexpr size_t kStop = 8;
  std::string result;
  size_t column = 0;
  for (const char c : text) {
    if (c == '\t') {
      const size_t blanks = kStop - column % kStop;
      result.append(blanks, ' ');
      column += blanks;
      continue;
    }
    result += c;
    // Bytes that go on with a UTF-8 character take no column of their own.
    if (c == '\n' || c == '\r') {
      column = 0;
    } else if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) {
      ++column;
    }
  }
  return result;
}

}  // namespace marvik

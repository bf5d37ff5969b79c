#include "app/reports.h"

#include <algorithm>
#include <array>

#include "base/numbers.h"
#include "chem/atom_geometry.h"
#include "chem/hybridization.h"
#include "chem/report_numbers.h"
#include "model/placement.h"
#include "report/atom_report.h"
#include "report/coordinate_sigmas.h"

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

std::string Trimmed(std::string text) {
  text.erase(0, text.find_first_not_of(' '));
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

Report AtomInformation(const Document& document, const AtomSet& atoms) {
  Report report{"Atom Information", "Atom Information", AtomInformationText(atoms), {}};
  ReportTable table({"label", "peak height", "type", "x", "y", "z", "hybrid", "charge", "Ueq"}, "Atom Information");
  const DisplacementFrame frame(document.cell, document.matrix);
  std::string notPositive;
  for (const AtomRecord* atom : atoms) {
    table.Text(atom->name);
    atom->peakHeight != 0.0 ? table.Number(atom->peakHeight, 2) : table.Text("");
    table.Text(atom->element->Symbol());
    for (int i = 0; i < 3; ++i) table.Number(atom->fract[i], 5);
    table.Text(Trimmed(HybridizationName(atom->Hybridization())));
    table.Integer(atom->charge);
    table.Number(ListedUeq(*atom), 4);
    if (atom->IsAnisotropic() && !EllipsoidAxes(TensorOf(frame, *atom)).positiveDefinite)
      notPositive += " " + atom->name;
  }
  if (!notPositive.empty())
    report.text += kEnd + std::string("Displacement tensors not positive definite:") + notPositive + kEnd;
  report.tables.push_back(std::move(table));
  return report;
}

std::optional<Report> PlaneReport(const Document& document, const AtomSet& members, const ReportRequest& request) {
  const bool weighted = request.kind == ReportKind::WeightedPlane;
  const auto plane = FitMeanPlane(document, members, weighted);
  if (!plane) return std::nullopt;
  Report report{"Mean Plane ", "Atom Information", MeanPlaneText(document, *plane, members, weighted), {}};
  ReportTable summary({"nx", "ny", "nz", "D", "a", "b", "c", "rms deviation", "angle to previous plane"}, "Equation");
  for (int i = 0; i < 3; ++i) summary.Number(Shown(plane->normal[i], 4), 4);
  summary.Number(Shown(plane->distance, 4), 4);
  for (const double c : plane->coefficients) summary.Number(Shown(c, 4), 4);
  summary.Number(plane->rmsDeviation, 4);
  request.previousPlane ? summary.Number(AngleBetween(*plane, *request.previousPlane), 2) : summary.Text("");
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
  return report;
}

void AddValues(Report& report, const char* name, const std::vector<GeometryValue>& values, int decimals) {
  if (values.empty()) return;
  std::vector<std::string> headings;
  for (size_t i = 0; i < values[0].atoms.size(); ++i) headings.push_back("atom" + std::to_string(i + 1));
  headings.insert(headings.end(), {"value", "su"});
  ReportTable table(headings, name);
  report.text += std::string(kEnd) + name + kEnd;
  for (const GeometryValue& value : values) {
    std::string names;
    for (const AtomRecord* atom : value.atoms) {
      table.Text(atom->name);
      names += (names.empty() ? "" : "-") + atom->name;
    }
    table.Number(Shown(value.value, 4), 4);
    value.su ? table.Number(*value.su, 4) : table.Text("");
    AppendPrintf(report.text, "%s\t%s\r\n", names.c_str(), WithUncertainty(value.value, value.su, decimals).c_str());
  }
  report.tables.push_back(std::move(table));
}

Report BondsAndAngles(const Document& document, const AtomRecord& atom, const CoordinateSigmas& sigmas) {
  const GeometryUncertainty uncertainty(document, sigmas);
  Report report{"Bonds and Angles for " + atom.name, "Bonds and Angles", BondsAndAnglesText(document, atom), {}};
  const AtomGeometry geometry = GeometryOf(document, atom, uncertainty);
  if (geometry.distances.empty()) return report;
  AddValues(report, "Distances (Å)", geometry.distances, 3);
  AddValues(report, "Angles (°)", geometry.angles, 2);
  AddValues(report, "Torsions (°)", geometry.torsions, 1);
  report.text += kEnd + uncertainty.Basis() + kEnd;
  return report;
}

void AddHydrogenBonds(Report& report, const std::vector<HydrogenBond>& bonds) {
  if (bonds.empty()) return;
  ReportTable table(
      {"donor", "donor code", "hydrogen", "acceptor", "acceptor code", "D-H", "H...A", "D...A", "su", "angle"},
      "Hydrogen bonds");
  report.text += "\r\nHydrogen bonds\r\nD\tcode\tH\tA\tcode\tD-H\tH...A\tD...A\tD-H...A\r\n";
  for (const HydrogenBond& bond : bonds) {
    table.Text(bond.donor.atom->name);
    table.Integer(bond.donor.symmetryCode);
    table.Text(bond.hydrogen.atom->name);
    table.Text(bond.acceptor.atom->name);
    table.Integer(bond.acceptor.symmetryCode);
    table.Number(bond.donorHydrogen, 3);
    table.Number(bond.hydrogenAcceptor, 3);
    table.Number(bond.donorAcceptor, 4);
    bond.donorAcceptorSu ? table.Number(*bond.donorAcceptorSu, 4) : table.Text("");
    table.Number(bond.angle, 1);
    AppendPrintf(report.text, "%s\t%d\t%s\t%s\t%d\t%.2f\t%.2f\t%s\t%.0f\r\n", bond.donor.atom->name.c_str(),
                 bond.donor.symmetryCode, bond.hydrogen.atom->name.c_str(), bond.acceptor.atom->name.c_str(),
                 bond.acceptor.symmetryCode, bond.donorHydrogen, bond.hydrogenAcceptor,
                 WithUncertainty(bond.donorAcceptor, bond.donorAcceptorSu, 3).c_str(), bond.angle);
  }
  report.tables.push_back(std::move(table));
}

Report EnvironmentReport(const Document& document, const AtomRecord& atom, double radius,
                         const CoordinateSigmas& sigmas) {
  const GeometryUncertainty uncertainty(document, sigmas);
  const Environment environment = FindEnvironment(document, atom, radius, uncertainty);
  Report report{"Environment of " + atom.name,
                "Environment",
                Printf("Environment of %s within %.2f Å\r\nLabel\tcode\tdistance\r\n", atom.name.c_str(), radius),
                {}};
  ReportTable table({"label", "code", "distance", "su", "contact"}, "Environment");
  for (const EnvironmentContact& contact : environment.contacts) {
    const NeighbourImage& image = contact.image;
    table.Text(image.atom->name);
    table.Integer(image.symmetryCode);
    table.Number(image.distance, 4);
    contact.su ? table.Number(*contact.su, 4) : table.Text("");
    table.Text(ContactWord(contact.kind));
    AppendPrintf(report.text, "%4s\t%d\t%-9s\t%s\r\n", image.atom->name.c_str(), image.symmetryCode,
                 WithUncertainty(image.distance, contact.su, 3).c_str(), ContactWord(contact.kind));
  }
  report.tables.push_back(std::move(table));
  AddHydrogenBonds(report, environment.hydrogenBonds);
  if (!environment.contacts.empty()) report.text += kEnd + uncertainty.Basis() + kEnd;
  return report;
}

}  // namespace

std::optional<Report> ComposeReport(const Document& document, const ReportRequest& request, ReportState& state) {
  switch (request.kind) {
    case ReportKind::AtomInformation:
    case ReportKind::MeanPlane:
    case ReportKind::WeightedPlane: {
      const AtomSet members = MembersOf(document, request);
      if (members.empty()) return std::nullopt;
      if (request.kind == ReportKind::AtomInformation) return AtomInformation(document, members);
      return PlaneReport(document, members, request);
    }
    case ReportKind::BondsAndAngles:
    case ReportKind::Environment: {
      const AtomRecord* atom = document.atoms.FindSerial(request.atom);
      if (!atom) return std::nullopt;
      const CoordinateSigmas sigmas = FindCoordinateSigmas(document, state);
      if (request.kind == ReportKind::BondsAndAngles) return BondsAndAngles(document, *atom, sigmas);
      return EnvironmentReport(document, *atom, request.radius, sigmas);
    }
  }
  return std::nullopt;
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

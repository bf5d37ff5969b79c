#include "report/structure_tables.h"

#include <algorithm>
#include <cmath>

#include "chem/bonds/crowding.h"
#include "chem/bonds/crystal_fragments.h"
#include "chem/bonds/hybridization.h"
#include "chem/chirality.h"
#include "chem/geometry/atom_geometry.h"
#include "chem/geometry/structure_geometry.h"
#include "model/coded_values.h"

namespace marvik {
namespace {

std::optional<double> Known(double su) {
  return su > 0.0 ? std::optional(su) : std::nullopt;
}

ReportTable AtomTable(const Document& document, const UncertaintySource* source) {
  ReportTable table({"name", "element", "x", "x_su", "y", "y_su", "z", "z_su", "occupancy", "occupancy_su", "ueq",
                     "ueq_su", "part", "residue", "u", "u_su"});
  table.NameColumns("u", {"u11", "u22", "u33", "u23", "u13", "u12"});
  table.NameColumns("u_su", {"u11_su", "u22_su", "u33_su", "u23_su", "u13_su", "u12_su"});
  for (const AtomRecord* atom : ReportedAtoms(document)) {
    const AtomUncertainty* su = source ? source->Of(*atom) : nullptr;
    const std::vector<double> u = ListedU(document, *atom);
    const bool rides = atom->IsRiding();
    table.Text(atom->name);
    table.Text(atom->element->Symbol());
    for (size_t i = 0; i < 3; ++i)
      table.Measured(atom->fract[static_cast<int>(i)], su && !rides ? Known(su->fract[i]) : std::nullopt, 6);
    table.Measured(DecodedOccupancy(*atom, document.instructions), su ? Known(su->occupancy) : std::nullopt, 5);
    table.Measured(ListedUeq(document, *atom), su && u.size() == 1 ? Known(su->u[0]) : std::nullopt, 5);
    table.Integer(atom->part);
    table.Integer(atom->residue < 0 ? 0 : document.residues[static_cast<size_t>(atom->residue)].number);
    table.Numbers(u, 5);
    std::vector<double> sus;
    for (size_t i = 0; i < u.size(); ++i)
      sus.push_back(su && su->u[i] > 0.0 ? su->u[i] : std::numeric_limits<double>::quiet_NaN());
    table.Numbers(sus, 6);
  }
  return table;
}

ReportTable HybridTable(const Document& document) {
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
  return table;
}

ReportTable ChiralityTable(const Document& document) {
  ReportTable table({"atoms", "symmetry", "value", "su", "label", "part", "ranked"});
  const auto reported = ReportedAtoms(document);
  for (const StereoCentre& centre : FindStereoCentres(document)) {
    if (std::ranges::find(reported, centre.atom) == reported.end()) continue;
    table.Texts({centre.atom->name});
    table.Texts({""});
    table.Measured(std::nan(""), {}, 0);
    table.Text(std::string(1, centre.label));
    table.Integer(centre.part);
    std::string ranked;
    for (const AtomRecord* atom : centre.ranked) ranked += (ranked.empty() ? "" : " > ") + atom->name;
    table.Text(ranked);
  }
  return table;
}

// What was drawn of a bond; one through symmetry is single until somebody says otherwise.
int DrawnOrder(const Document& document, const GeometryValue& bond) {
  const BondRecord* drawn =
      bond.sites[1].IsIdentity() ? document.atoms.FindBond(bond.sites[0].atom, bond.sites[1].atom) : nullptr;
  return drawn ? drawn->Order() : kSingle;
}

std::string MoreThan(size_t rows) {
  return "There are more than " + std::to_string(rows) + " rows: the list ends there.";
}

ReportTable ValueTable(const Document& document, ReportKind kind, const GeometryUncertainty& uncertainty,
                       std::string& limit) {
  const StructureBonds bonds(document);
  const bool hasOrder = kind == ReportKind::Bonds;
  std::vector<GeometryValue> values;
  if (limit.empty())
    values = hasOrder                     ? BondsOf(document, bonds, uncertainty)
             : kind == ReportKind::Angles ? AnglesOf(document, bonds, uncertainty)
                                          : TorsionsOf(document, bonds, uncertainty);
  if (values.size() > MostGeometry(document)) {
    values.pop_back();
    limit = MoreThan(values.size());
  }
  ReportTable table(kGeometryHeadings);
  if (hasOrder) table.headings.emplace_back("order");
  for (const GeometryValue& value : values) {
    AddGeometry(table, value, hasOrder ? 4 : kind == ReportKind::Angles ? 2 : 1);
    if (hasOrder) table.Text(OrderWord(DrawnOrder(document, value)));
  }
  return table;
}

// Atoms of the file that a report on surroundings goes through.
AtomSet Centres(const Document& document) {
  AtomSet atoms;
  for (const AtomRecord* atom : ReportedAtoms(document))
    if (!IsGenerated(*atom) && !atom->IsPeak()) atoms.push_back(atom);
  return atoms;
}

ReportTable SurroundingsTable(const Document& document, ReportKind kind, const GeometryUncertainty& uncertainty,
                              double radius, std::string& limit) {
  const bool hydrogenBonds = kind == ReportKind::HydrogenBonds;
  ReportTable table = hydrogenBonds ? HydrogenBondTable() : ReportTable(kContactHeadings);
  if (!limit.empty()) return table;
  const EnvironmentSearch search(document, radius, uncertainty);
  for (const AtomRecord* atom : Centres(document)) {
    if (const size_t most = MostGeometry(document); table.Rows() > most) {
      limit = MoreThan(most);
      break;
    }
    // A hydrogen bond belongs to its hydrogen, so that each is listed once.
    if (hydrogenBonds && !atom->IsHydrogen() && document.atoms.selection.Empty()) continue;
    const Environment around = search.About(*atom, radius);
    if (hydrogenBonds) {
      for (const HydrogenBond& bond : around.hydrogenBonds) AddHydrogenBond(table, bond);
      continue;
    }
    for (const EnvironmentContact& contact : around.contacts) {
      if (IsGenerated(*contact.image.atom)) continue;
      // Each short contact once, from the atom that stands first; through symmetry from either end.
      if (kind == ReportKind::Contacts &&
          (contact.kind != ContactKind::Short ||
           (contact.image.atom->serial < atom->serial && document.atoms.selection.Empty())))
        continue;
      AddContact(table, *atom, contact);
    }
  }
  return table;
}

}  // namespace

const char* OrderWord(int order) {
  constexpr std::array kWords{"Single", "Double", "Triple", "Aromatic", "Pi"};
  return order < static_cast<int>(kWords.size()) ? kWords[static_cast<size_t>(order)] : "";
}

void AddGeometry(ReportTable& table, const GeometryValue& value, int decimals) {
  std::vector<std::string> names;
  std::vector<std::string> codes;
  for (const GeometrySite& site : value.sites) {
    names.push_back(site.atom->name);
    codes.push_back(SymmetryText(site.symmetryCode));
  }
  table.Texts(std::move(names));
  table.Texts(std::move(codes));
  table.Measured(value.value, value.su, decimals);
}

void AddContact(ReportTable& table, const AtomRecord& atom, const EnvironmentContact& contact) {
  table.Texts({atom.name, contact.image.atom->name});
  table.Texts({"", SymmetryText(contact.image.symmetryCode)});
  table.Measured(contact.image.distance, contact.su, 3);
  table.Text(ContactWord(contact.kind));
  contact.radii > 0.0 ? table.Number(contact.radii, 2) : table.Missing();
}

ReportTable HydrogenBondTable() {
  return ReportTable({"atoms", "symmetry", "value", "su", "donor_hydrogen", "donor_hydrogen_su", "hydrogen_acceptor",
                      "hydrogen_acceptor_su", "angle", "angle_su"},
                     "Hydrogen bonds");
}

void AddHydrogenBond(ReportTable& table, const HydrogenBond& bond) {
  const std::array images{&bond.donor, &bond.hydrogen, &bond.acceptor};
  std::vector<std::string> names;
  std::vector<std::string> codes;
  for (const NeighbourImage* image : images) {
    names.push_back(image->atom->name);
    codes.push_back(SymmetryText(image->symmetryCode));
  }
  table.Texts(std::move(names));
  table.Texts(std::move(codes));
  table.Measured(bond.donorAcceptor.value, bond.donorAcceptor.su, 3);
  table.Measured(bond.donorHydrogen.value, bond.donorHydrogen.su, 2);
  table.Measured(bond.hydrogenAcceptor.value, bond.hydrogenAcceptor.su, 2);
  table.Measured(bond.angle.value, bond.angle.su, 0);
}

ReportTable StructureTable(const Document& document, ReportKind kind, const GeometryUncertainty& uncertainty,
                           double radius, std::string& limit) {
  const bool isGeometry = kind != ReportKind::Atoms && kind != ReportKind::Hybrid;
  if (const AtomRecord* crowded = isGeometry ? FindCrowded(document) : nullptr)
    limit = CrowdedText(*crowded) + "no geometry can be listed.";
  switch (kind) {
    case ReportKind::Atoms:
      return AtomTable(document, uncertainty.Source());
    case ReportKind::Bonds:
    case ReportKind::Angles:
    case ReportKind::Torsions:
      return ValueTable(document, kind, uncertainty, limit);
    case ReportKind::Hybrid:
      return HybridTable(document);
    case ReportKind::Chirality:
      return ChiralityTable(document);
    default:
      return SurroundingsTable(document, kind, uncertainty, radius, limit);
  }
}

}  // namespace marvik

#include "check/cif/cif_model.h"

#include <algorithm>
#include <numeric>

#include "base/numbers.h"
#include "check/cif/cif_words.h"
#include "chem/bonds/bond_rules.h"
#include "chem/bonds/van_der_waals.h"
#include "crystal/cell_metric.h"
#include "crystal/symmetry.h"
#include "files/cif/cif_symmetry.h"
#include "language/tokenizer.h"

namespace marvik::cif {

namespace {

constexpr double kReach = 4.0;      // Å around every atom
constexpr double kBondReach = 0.4;  // Å beyond the radii: a doubtful bond is reported rather than drawn
constexpr double kSamePlace = 0.1;  // Å: on a symmetry element
constexpr size_t kMostSites = 4000;
constexpr size_t kMostNeighbours = 500;  // more only where atoms are heaped

const ElementTable& Table() {
  static const ElementTable table;
  return table;
}

int PartOf(CifValue group) {
  double number = 0.0;
  if (group.empty()) return 0;
  if (ParseCifNumber(group, number)) return std::clamp(RoundHalfAway(number), -999, 999);
  const int letter = (group[0] & ~0x20) - 'A';
  return letter >= 0 && letter < 26 ? letter + 1 : 0;
}

std::string RadiationOf(const CifModel& model) {
  const std::string type = LowerCase(model.Item("_diffrn_radiation_type")) + " " +
                           LowerCase(model.Item("_diffrn_radiation_probe")) + " " +
                           LowerCase(model.Item("_diffrn_source", "_diffrn_radiation_source")) + " " +
                           LowerCase(model.Item("_diffrn_measurement_method"));
  for (const char* word : {"neutron", "electron diff", "synchrotron"}) {
    if (type.find(word) != type.npos) return std::string(word).substr(0, std::string(word).find(' '));
  }
  for (const char* word : {"mo", "cu", "ag", "ga"}) {
    const size_t at = type.find(word);
    if (at == 0 || (at == 1 && type[0] == ' ')) return {static_cast<char>(word[0] - 32), word[1]};
  }
  return {};
}

// Pure translations are the lattice's, which the engine takes as a number; operators that make no closed group give
// none.
std::optional<SpaceGroup> GroupOfOperators(const std::vector<std::string>& texts) {
  std::vector<std::string> others;
  std::vector<std::array<int, 3>> centring;
  for (const std::string& one : texts) {
    const auto op = ParseOperator(one);
    if (!op) continue;
    if (op->r != SymmetryOperator{}.r) {
      others.push_back(one);
    } else if (op->t != SymmetryOperator{}.t) {
      centring.push_back(op->t);
    }
  }
  int lattice = 1;
  while (!std::ranges::is_permutation(CentringTranslations(lattice), centring))
    if (++lattice > 7) return {};
  std::string problem;
  auto group = MakeSpaceGroup(-lattice, ListOperators(-lattice, others), problem);
  if (!group || group->all.size() != texts.size()) return {};
  return group;
}

}  // namespace

double ContactRadiusOf(int row) {
  return ContactRadius(row, Table()[row].bondRadius);
}

bool IsHalogen(int row) {
  return row == 9 || row == 17 || row == 35 || row == 53;
}

std::string SymbolOf(int row) {
  return row > 0 && row < kUnknownRow ? std::string(Table()[row].Symbol()) : "?";
}

Measured ParseMeasured(CifValue value) {
  Measured result;
  double number = 0.0;
  double digits = 0.0;
  if (!ParseCifNumber(value, number, &digits) || !std::isfinite(number)) return result;
  result.value = number;
  const std::string_view mantissa = value.substr(0, value.find_first_of("(eE "));
  const size_t point = mantissa.find('.');
  result.decimals = point == mantissa.npos ? 0 : static_cast<int>(mantissa.size() - 1 - point);
  double exponent = 0.0;
  const size_t e = value.find_first_of("eE");
  if (e != value.npos && e < value.find('(') && ParseNumber(value.substr(e + 1), exponent) > 0)
    result.decimals -= RoundHalfAway(std::clamp(exponent, -300.0, 300.0));
  result.digits = RoundHalfAway(digits);
  result.su = digits * std::pow(10.0, -result.decimals);
  return result;
}

CifModel::CifModel(std::string_view file, const CifBlock& data) : text(file), block(data) {
  for (const CifLoop& loop : block.loops) {
    for (size_t i = 0; i < loop.names.size(); ++i) {
      if (!columns_.try_emplace(loop.names[i], CifColumn{&loop, i}).second) repeated.push_back(loop.names[i]);
    }
  }
  radiation = RadiationOf(*this);
  xray = radiation != "neutron" && radiation != "electron";
  wavelength = Number("_diffrn_radiation_wavelength", "_diffrn_radiation_wavelength_wavelength");
  formula = ParseFormula(Item("_chemical_formula_sum"));
  volume = Number("_cell_volume");
  z = Number("_cell_formula_units_z");
  TakeCell();
  TakeSymmetry();
  if (!cellGiven) return;
  TakeAtoms();
  TakeDisplacements();
  FindBonds();
  FindResidues();
}

CifColumn CifModel::Column(std::string_view name, std::string_view older) const {
  auto at = columns_.find(name);
  if (at == columns_.end() && !older.empty()) at = columns_.find(older);
  return at == columns_.end() ? CifColumn{} : at->second;
}

bool CifModel::Missing(std::string_view name, std::string_view older) const {
  for (const std::string_view one : {name, older}) {
    const CifColumn column = one.empty() ? CifColumn{} : Column(one);
    for (size_t row = 0; row < column.Rows(); ++row) {
      if (!column[row].empty() || column[row].data()) return false;
    }
  }
  return true;
}

int CifModel::LineOf(const char* place) const {
  if (!place || place < text.data() || place > text.data() + text.size()) return 0;
  return 1 + static_cast<int>(std::count(text.data(), place, '\n'));
}

void CifModel::TakeCell() {
  constexpr const char* kNames[] = {"_cell_length_a",    "_cell_length_b",   "_cell_length_c",
                                    "_cell_angle_alpha", "_cell_angle_beta", "_cell_angle_gamma"};
  double* const fields[] = {&parameters.a,     &parameters.b,    &parameters.c,
                            &parameters.alpha, &parameters.beta, &parameters.gamma};
  cellGiven = true;
  for (size_t i = 0; i < 6; ++i) {
    cell[i] = Number(kNames[i]);
    if (!cell[i].Given() && i >= 3) cell[i].value = 90.0;
    cellGiven = cellGiven && cell[i].Given();
    *fields[i] = cell[i].value;
  }
  OrthogonalisationMatrix matrix;
  cellGiven = cellGiven && BuildOrthogonalisation(parameters, matrix);
  if (cellGiven) metric = MakeMetric(parameters);
  const auto [shortest, longest] = std::minmax({parameters.a, parameters.b, parameters.c});
  cellGiven = cellGiven && shortest > 1.0 && longest < 1000.0 && metric.volume > 1.0 && metric.volume < 1e7;
}

void CifModel::TakeSymmetry() {
  const CifColumn texts = Column("_space_group_symop_operation_xyz", "_symmetry_equiv_pos_as_xyz");
  for (size_t row = 0; row < texts.Rows(); ++row) {
    const std::string one(texts[row]);
    if (one.empty()) continue;
    operatorTexts.push_back(one);
  }
  if (operatorTexts.empty()) {
    const std::string hall(Item("_space_group_name_hall", "_symmetry_space_group_name_hall"));
    const std::string name(CifSpaceGroupName(block));
    for (const SymmetryOperator& op : hall.empty() ? OperatorsOfName(name, parameters) : OperatorsOfHallSymbol(hall)) {
      operatorTexts.push_back(OperatorText(op));
    }
    if (operatorTexts.empty()) operatorTexts.push_back("x,y,z");
  }
  std::vector<std::string> seen;
  for (const std::string& one : operatorTexts) {
    const auto op = ParseOperator(one);
    if (!op) {
      ++malformedOperators;
      continue;
    }
    std::string normal = OperatorText(Wrapped(*op));
    if (std::ranges::find(seen, normal) != seen.end()) {
      ++doubledOperators;
      continue;
    }
    seen.push_back(std::move(normal));
    const bool identity = *op == SymmetryOperator{};
    operators.insert(identity ? operators.begin() : operators.end(), *op);
  }
  if (operators.empty()) operators.emplace_back();  // none of them could be read
  group = GroupOfOperators(seen);
}

namespace {

// "Cl,Br(1)", "Fe/Co2".
bool NamesSeveralElements(std::string_view label, std::string_view type) {
  const size_t mark = label.find_first_of(",/");
  if (!type.empty() || mark == label.npos || mark == 0) return false;
  const std::string_view second =
      label.substr(mark + 1, label.find_first_not_of("abcdefghijklmnopqrstuvwxyz", mark + 2) - mark - 1);
  return RowOfAtomType(label.substr(0, mark)) != kUnknownRow && RowOfAtomType(second) != kUnknownRow;
}

}  // namespace

void CifModel::TakeAtoms() {
  const CifColumn x = Column("_atom_site_fract_x");
  if (!x.loop || x.Rows() > kMostSites) return;
  const CifColumn columns[] = {x, Column("_atom_site_fract_y"), Column("_atom_site_fract_z")};
  const CifColumn label = Column("_atom_site_label", "_atom_site_type_symbol");
  const CifColumn type = Column("_atom_site_type_symbol");
  const CifColumn u = Column("_atom_site_u_iso_or_equiv");
  const CifColumn b = Column("_atom_site_b_iso_or_equiv");
  const CifColumn occupancy = Column("_atom_site_occupancy");
  const CifColumn part = Column("_atom_site_disorder_group");
  const CifColumn assembly = Column("_atom_site_disorder_assembly");
  const CifColumn calc = Column("_atom_site_calc_flag");
  const CifColumn flags = Column("_atom_site_refinement_flags");
  const CifColumn posn = Column("_atom_site_refinement_flags_posn");
  const CifColumn adp = Column("_atom_site_refinement_flags_adp");
  for (size_t row = 0; row < x.Rows(); ++row) {
    CifSite site;
    site.at = label[row].data();
    site.label = label[row];
    site.type = type[row];
    bool given = true;
    for (size_t i = 0; i < 3; ++i) {
      site.x[i] = ParseMeasured(columns[i][row]);
      given = given && std::fabs(site.x[i].value) < 1000.0;
      site.fract[static_cast<int>(i)] = site.x[i].value;
    }
    if (!given) continue;
    site.place = metric.ToCartesian(site.fract);
    site.row = RowOfAtomType(type[row]);
    if (site.row == kUnknownRow) site.row = RowOfCifLabel(label[row], formula);
    site.u = ParseMeasured(u[row]);
    if (!site.u.Given()) {
      site.u = ParseMeasured(b[row]);
      const double factor = 1.0 / (8.0 * 9.869604401);
      site.u.value *= factor;
      site.u.su *= factor;
    }
    site.occupancy = ParseMeasured(occupancy[row]);
    site.part = PartOf(part[row]);
    site.assembly = assembly[row];
    site.calcFlag = LowerCase(calc[row]);
    site.refinementFlags = std::string(flags[row]) + std::string(posn[row]) + std::string(adp[row]);
    site.dummy = site.calcFlag == "dum";
    site.partial = !site.occupancy.Given() && site.refinementFlags.find('P') != std::string::npos;
    mixed = mixed || NamesSeveralElements(site.label, type[row]);
    if (site.dummy) continue;
    int order = 0;
    for (const SymmetryOperator& op : operators) {
      Fractional d = op.Apply(site.fract) - site.fract;
      for (int i = 0; i < 3; ++i) d[i] -= std::round(d[i]);
      order += metric.DistanceSquared(d, {}) < kSamePlace * kSamePlace;
    }
    site.order = std::max(order, 1);
    if (site.row < kUnknownRow) heaviest = std::max(heaviest, site.row == kDeuteriumRow ? 1 : site.row);
    disordered = disordered || site.part != 0 || site.Occupancy() < 0.999;
    siteOf.try_emplace(site.label, static_cast<int>(sites.size()));
    sites.push_back(std::move(site));
  }
}

void CifModel::TakeDisplacements() {
  constexpr const char* kPlaces[] = {"11", "22", "33", "23", "13", "12"};
  const CifColumn labels = Column("_atom_site_aniso_label");
  std::array<CifColumn, 6> columns;
  for (size_t i = 0; i < 6; ++i) columns[i] = Column(std::string("_atom_site_aniso_u_") + kPlaces[i]);
  for (size_t row = 0; row < labels.Rows() && columns[0].loop == labels.loop; ++row) {
    const auto at = siteOf.find(std::string(labels[row]));
    if (at == siteOf.end()) continue;
    CifSite& site = sites[static_cast<size_t>(at->second)];
    site.hasUij = true;
    for (size_t i = 0; i < 6; ++i) {
      site.uij[i] = ParseMeasured(columns[i][row]);
      site.hasUij = site.hasUij && site.uij[i].Given();
    }
  }
}

void CifModel::FindBonds() {
  std::vector<Fractional> places;
  for (const CifSite& site : sites) places.push_back(site.fract);
  const ImageSearch search(places, operators, parameters, kReach);
  near.resize(sites.size());
  bonds.resize(sites.size());
  std::vector<AtomImage> found;
  for (size_t i = 0; i < sites.size(); ++i) {
    const CifSite& a = sites[i];
    if (!search.FindNear(a.fract, kReach, found, kMostNeighbours)) continue;
    for (const AtomImage& image : found) {
      // The site itself, and itself brought back by a symmetry element on which it lies.
      if (image.distance < 0.02 && image.atom == i) continue;
      Link link{static_cast<int>(image.atom),
                static_cast<int>(image.op),
                {},
                image.distance,
                metric.ToCartesian(image.fract)};
      for (size_t k = 0; k < 3; ++k) link.shift[k] = image.t[k];
      const CifSite& b = sites[image.atom];
      // Two operators may give one place.
      const bool twice = std::ranges::any_of(near[i], [&](const Link& other) {
        return other.site == link.site && Length(other.place - link.place) < 0.02;
      });
      if (twice) continue;
      near[i].push_back(link);
      const bool together = PartsMayBond(a.part, b.part, link.Identity() || a.part == 0 || b.part == 0) ||
                            (link.Identity() && a.assembly != b.assembly);
      const double limit = BondReach(Table()[a.row], Table()[b.row], kBondReach);
      if (!together || (a.Hydrogen() && b.Hydrogen()) || image.distance > limit || image.distance < 0.5) continue;
      // Sites that cannot be filled both are alternatives even where nothing says so.
      if (image.distance < 0.7 * (limit - kBondReach) && a.Occupancy() + b.Occupancy() < 1.01) continue;
      bonds[i].push_back(link);
    }
    std::ranges::sort(bonds[i], {}, &Link::distance);
  }
  // A hydrogen belongs to its nearest atom, but for bridges between metals and in boranes.
  for (size_t i = 0; i < sites.size(); ++i) {
    if (!sites[i].Hydrogen() || bonds[i].size() < 2) continue;
    auto& own = bonds[i];
    const double longest = own[0].distance + 0.35;
    const bool bridge =
        IsMetal(sites[static_cast<size_t>(own[0].site)].row) || sites[static_cast<size_t>(own[0].site)].row == 5;
    if (bridge) continue;
    std::erase_if(own, [&](const Link& link) {
      const bool far = link.distance > longest;
      if (far)
        std::erase_if(bonds[static_cast<size_t>(link.site)], [&](const Link& back) {
          return back.site == static_cast<int>(i) && std::fabs(back.distance - link.distance) < 1e-4;
        });
      return far;
    });
  }
}

void CifModel::FindResidues() {
  std::vector<int> root(sites.size());
  std::iota(root.begin(), root.end(), 0);
  const auto find = [&](int i) {
    while (root[static_cast<size_t>(i)] != i)
      i = root[static_cast<size_t>(i)] = root[static_cast<size_t>(root[static_cast<size_t>(i)])];
    return i;
  };
  for (size_t i = 0; i < sites.size(); ++i) {
    for (const Link& link : bonds[i]) {
      root[static_cast<size_t>(find(static_cast<int>(i)))] = find(link.site);
      // A bond to the image of an atom that is bonded to this one as well makes a chain.
      polymer = polymer || (!link.Identity() && link.op == 0);
    }
  }
  for (size_t i = 0; i < sites.size(); ++i) sites[i].residue = find(static_cast<int>(i));
}

std::map<int, double> CifModel::AtomsInCell() const {
  if (mixed) return {};
  std::map<int, double> counts;
  for (const CifSite& site : sites) {
    // On a special position a negative part has its whole multiplicity in the occupancy.
    const double share = site.part < 0 && site.order > 1 ? 1.0 : 1.0 / site.order;
    counts[site.row == kDeuteriumRow ? kHydrogenRow : site.row] +=
        site.Occupancy() * share * static_cast<double>(operators.size());
  }
  return counts;
}

double CifModel::SinThetaMax() const {
  const Measured theta = Number("_diffrn_reflns_theta_max", "_reflns_theta_max");
  return theta.Given() && wavelength.value > 0.0 ? std::sin(theta.value * kRadiansPerDegree) / wavelength.value : 0.0;
}

}  // namespace marvik::cif

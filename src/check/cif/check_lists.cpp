#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "check/cif/cif_checker.h"
#include "chem/geometry/uncertainty.h"
#include "crystal/symmetry.h"

namespace marvik::cif {

namespace {

// A site at the image that a symmetry code names.
struct Place {
  int site = -1;
  SymmetryOperator op;
  bool moved = false;
};

class GeometryLists {
 public:
  explicit GeometryLists(CifChecker& checker) : c_(checker), m_(checker.model) {}

  void Check() {
    for (const ListKind& kind : ListKinds()) List(kind);
    Bonds();
    Torsions();
    Digits();
  }

 private:
  struct Columns {
    CifColumn values;
    std::vector<CifColumn> labels;
    std::vector<CifColumn> codes;
  };
  // A row of a list: its atoms where the model has them.
  struct Entry {
    std::vector<std::string> atoms;
    std::vector<Place> places;
    std::vector<Fractional> x;
    bool refined = false;
    bool riding = false;
  };
  struct Calculated {
    double value = 0.0;
    double variance = 0.0;
    double rounding = 0.0;  // of what is listed, that of the coordinates included
  };

  std::optional<Place> PlaceOf(CifValue label, CifValue code) const;
  double Value(const std::vector<Place>& places, const std::vector<Fractional>& x) const;
  Columns ColumnsOf(const ListKind& kind) const;
  std::optional<Entry> EntryOf(const Columns& columns, const std::string& name, size_t row) const;
  Calculated Calculate(const Entry& entry, const Measured& listed) const;
  void List(const ListKind& kind);
  void Bonds();
  void Torsions();
  void Digits();

  CifChecker& c_;
  const CifModel& m_;
};

// "." or "2_655": operator in the list's order, translations in the digits; or a bare operator number.
std::optional<Place> GeometryLists::PlaceOf(CifValue label, CifValue code) const {
  const auto at = m_.siteOf.find(std::string(label));
  if (at == m_.siteOf.end()) return {};
  Place place;
  place.site = at->second;
  place.op.r = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  if (code.empty() || code == "1_555") return place;
  double number = 0.0;
  const size_t used = ParseNumber(code.substr(0, code.find('_')), number);
  if (used == 0 || number < 1.0 || number > static_cast<double>(m_.operatorTexts.size())) return {};
  const auto op = ParseOperator(m_.operatorTexts[static_cast<size_t>(number) - 1]);
  if (!op) return {};
  place.op = *op;
  place.moved = true;
  const size_t underscore = code.find('_');
  if (underscore != code.npos && code.size() >= underscore + 4) {
    for (size_t k = 0; k < 3; ++k) place.op.t[k] += (code[underscore + 1 + k] - '5') * kTranslationParts;
  }
  return place;
}

double GeometryLists::Value(const std::vector<Place>& places, const std::vector<Fractional>& x) const {
  std::array<Cartesian, 4> p;
  for (size_t i = 0; i < places.size(); ++i) {
    p[i] = m_.metric.ToCartesian(places[i].op.Apply(x[i]));
    p[i].z *= -1.0;  // these axes are right-handed, those of the drawing frame are not
  }
  return GeometryOf(std::span<const Cartesian>(p).first(places.size())).value_or(0.0);
}

// Nothing where an atom is not in the model or its place cannot be told.
std::optional<GeometryLists::Entry> GeometryLists::EntryOf(const Columns& columns, const std::string& name,
                                                           size_t row) const {
  Entry entry;
  for (size_t i = 0; i < columns.labels.size(); ++i) {
    const std::string& atom = entry.atoms.emplace_back(columns.labels[i][row]);
    if (!m_.siteOf.contains(atom)) {
      c_.Found(name + "-label", atom + ".", {atom}, columns.values[row].data());
      return {};
    }
    const auto place = PlaceOf(columns.labels[i][row], columns.codes[i][row]);
    if (!place) return {};
    const CifSite& site = m_.sites[static_cast<size_t>(place->site)];
    entry.refined = entry.refined || site.x[0].HasSu() || site.x[1].HasSu() || site.x[2].HasSu();
    entry.riding = entry.riding || (site.Hydrogen() && site.Calculated());
    entry.places.push_back(*place);
    entry.x.push_back(site.fract);
  }
  return entry;
}

GeometryLists::Calculated GeometryLists::Calculate(const Entry& entry, const Measured& listed) const {
  Calculated result{Value(entry.places, entry.x), 0.0, 0.5 * std::pow(10.0, -listed.decimals)};
  for (size_t i = 0; i < entry.places.size(); ++i) {
    const CifSite& site = m_.sites[static_cast<size_t>(entry.places[i].site)];
    for (int k = 0; k < 3; ++k) {
      std::vector<Fractional> moved = entry.x;
      constexpr double kStep = 1e-5;
      moved[i][k] += kStep;
      const double slope = (Value(entry.places, moved) - result.value) / kStep;
      const Measured& coordinate = site.x[static_cast<size_t>(k)];
      result.variance += std::pow(slope * coordinate.su, 2);
      result.rounding += std::fabs(slope) * 0.5 * std::pow(10.0, -coordinate.decimals) * 0.7;
    }
  }
  return result;
}

GeometryLists::Columns GeometryLists::ColumnsOf(const ListKind& kind) const {
  Columns columns{m_.Column(kind.value), {}, {}};
  if (std::string_view(kind.symmetry).empty()) {
    for (const char* letter = kind.labels; *letter; ++letter) {
      columns.labels.push_back(m_.Column(std::string("_geom_hbond_atom_site_label_") + *letter));
      columns.codes.push_back(m_.Column(std::string("_geom_hbond_site_symmetry_") + *letter));
    }
    return columns;
  }
  for (int i = 1; i <= kind.atoms; ++i) {
    columns.labels.push_back(m_.Column(kind.labels + std::to_string(i)));
    columns.codes.push_back(m_.Column(kind.symmetry + std::to_string(i)));
  }
  return columns;
}

void GeometryLists::List(const ListKind& kind) {
  const Columns columns = ColumnsOf(kind);
  const CifColumn& values = columns.values;
  if (!values.loop) return;
  const std::string name(kind.name);
  int noSu = 0;
  int fixedSu = 0;
  for (size_t row = 0; row < values.Rows(); ++row) {
    const Measured listed = ParseMeasured(values[row]);
    const auto entry = EntryOf(columns, name, row);
    if (!entry || entry->places.size() != static_cast<size_t>(kind.atoms) || !listed.Given()) continue;
    const Calculated calculated = Calculate(*entry, listed);
    const double value = calculated.value, su = std::sqrt(calculated.variance);
    double off = std::fabs(value - listed.value);
    if (kind.atoms == 4)
      off = std::min({off, std::fabs(360.0 - off), std::fabs(std::fabs(value) - std::fabs(listed.value))});
    off = std::max(0.0, off - calculated.rounding);
    const std::vector<std::string>& atoms = entry->atoms;
    std::string text;
    for (const std::string& atom : atoms) text += (text.empty() ? "" : "-") + atom;
    const std::string numbers = Printf("%s: %.4g listed, %.4g calculated.", text.c_str(), listed.value, value);
    // A list's uncertainty may be rounded down to nothing: the usual one is the least that counts.
    if (listed.HasSu()) {
      c_.Test(name + "-value", off / std::max(listed.su, 0.2 * kind.defaultSu), numbers, atoms, values[row].data());
      if (su > 0.0 && !entry->riding) {
        const double ratio = listed.su / su;
        c_.Test(name + "-su", std::max(ratio, 1.0 / ratio), numbers, atoms, values[row].data());
      }
      fixedSu += !entry->refined;
    } else {
      c_.Test(name + "-plain", off / kind.defaultSu, numbers, atoms, values[row].data());
      noSu += entry->refined && !entry->riding && su > 0.5 * std::pow(10.0, -listed.decimals);
    }
  }
  c_.Test(name + "-no-su", noSu, Printf("%d of %zu.", noSu, values.Rows()));
  c_.Test(name + "-fixed-su", fixedSu, Printf("%d of %zu.", fixedSu, values.Rows()));
}

void GeometryLists::Bonds() {
  const CifColumn values = m_.Column("_geom_bond_distance");
  const CifColumn first = m_.Column("_geom_bond_atom_site_label_1");
  const CifColumn second = m_.Column("_geom_bond_atom_site_label_2");
  const CifColumn code = m_.Column("_geom_bond_site_symmetry_2");
  if (values.Rows() == 0) return;
  std::map<std::string, int> seen;
  int redundant = 0;
  bool hydrogen = false;
  for (size_t row = 0; row < values.Rows(); ++row) {
    std::string a(first[row]);
    std::string b(second[row]);
    const Measured length = ParseMeasured(values[row]);
    const auto at = m_.siteOf.find(a);
    const auto to = m_.siteOf.find(b);
    if (at == m_.siteOf.end() || to == m_.siteOf.end()) continue;
    const CifSite& x = m_.sites[static_cast<size_t>(at->second)];
    const CifSite& y = m_.sites[static_cast<size_t>(to->second)];
    hydrogen = hydrogen || x.Hydrogen() || y.Hydrogen();
    const std::string text = Printf("%s-%s: %.3f \xC3\x85.", a.c_str(), b.c_str(), length.value);
    if (x.Hydrogen() != y.Hydrogen() && !IsMetal(x.row) && !IsMetal(y.row) && x.row != 5 && y.row != 5) {
      c_.Test("list-x-h", length.value, text, {a, b}, values[row].data());
    }
    const bool heavy = IsMetal(x.row) || IsMetal(y.row);
    c_.Test("list-bond-long", heavy ? length.value - 0.8 : length.value, text, {a, b}, values[row].data());
    if (b < a) std::swap(a, b);
    if (code[row].empty()) redundant += ++seen[a + " " + b] > 1;
  }
  c_.Test("list-bonds-redundant", static_cast<double>(redundant) / static_cast<double>(values.Rows()),
          Printf("%d of %zu.", redundant, values.Rows()));
  int expected = 0;
  int listed = 0;
  bool anyHydrogen = false;
  std::vector<std::string> absent;
  for (size_t i = 0; i < m_.sites.size(); ++i) {
    anyHydrogen = anyHydrogen || m_.sites[i].Hydrogen();
    for (const Link& link : m_.bonds[i]) {
      const CifSite& b = m_.sites[static_cast<size_t>(link.site)];
      if (!link.Identity() || static_cast<size_t>(link.site) < i || m_.sites[i].Hydrogen() || b.Hydrogen()) continue;
      if (!m_.sites[i].Full() || !b.Full() || IsMetal(b.row) || IsMetal(m_.sites[i].row)) continue;
      ++expected;
      std::string one = m_.sites[i].label;
      std::string two = b.label;
      if (two < one) std::swap(one, two);
      if (seen.contains(one + " " + two)) {
        ++listed;
      } else {
        absent.push_back(one + "-" + two);
      }
    }
  }
  if (expected > 0)
    c_.Test("list-bonds-incomplete", 1.0 - static_cast<double>(listed) / expected,
            Printf("%d of %d.", expected - listed, expected), absent);
  if (anyHydrogen && !hydrogen) c_.Found("list-no-hydrogen-bonds", "");
  const CifColumn angles[] = {m_.Column("_geom_angle_atom_site_label_1"), m_.Column("_geom_angle_atom_site_label_3")};
  bool angle = false;
  for (size_t row = 0; row < angles[0].Rows() && !angle; ++row) {
    for (const CifColumn& column : angles)
      angle = angle || column[row].starts_with('H') || column[row].starts_with('D');
  }
  if (anyHydrogen && angles[0].Rows() > 0 && !angle) c_.Found("list-no-hydrogen-angles", "");
}

void GeometryLists::Torsions() {
  const CifColumn values = m_.Column("_geom_torsion");
  int linear = 0;
  std::vector<std::string> names;
  for (size_t row = 0; row < values.Rows(); ++row) {
    std::array<Cartesian, 4> p;
    bool all = true;
    std::string name;
    for (size_t i = 0; i < 4; ++i) {
      const std::string number = std::to_string(i + 1);
      const CifValue label = m_.Column("_geom_torsion_atom_site_label_" + number)[row];
      const auto place = PlaceOf(label, m_.Column("_geom_torsion_site_symmetry_" + number)[row]);
      all = all && place;
      if (!all) break;
      p[i] = m_.metric.ToCartesian(place->op.Apply(m_.sites[static_cast<size_t>(place->site)].fract));
      name += (i ? "-" : "") + std::string(label);
    }
    if (!all) continue;
    if (Angle(p[1], p[0], p[2]) > 175.0 || Angle(p[2], p[1], p[3]) > 175.0) {
      ++linear;
      names.push_back(name);
    }
  }
  c_.Test("list-torsion-linear", linear, Printf("%d.", linear), names);
}

void GeometryLists::Digits() {
  int all = 0;
  int odd = 0;
  for (const CifSite& site : m_.sites) {
    for (const Measured& x : site.x) {
      if (!x.HasSu()) continue;
      ++all;
      odd += x.digits > 19;
    }
  }
  if (all > 10) c_.Test("su-digits", 100.0 * odd / all, Printf("%.0f %% of the coordinates.", 100.0 * odd / all));
}

}  // namespace

void CheckLists(CifChecker& c) {
  GeometryLists(c).Check();
}

}  // namespace marvik::cif

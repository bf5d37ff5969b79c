#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "check/cif/cif_checker.h"
#include "check/cif/cif_words.h"

namespace marvik::cif {

namespace {

bool IsDonorOrAcceptor(int row) {
  return row == 7 || row == 8 || row == 9 || row == 16 || row == 17;
}

class Contacts {
 public:
  explicit Contacts(CifChecker& checker) : c_(checker), m_(checker.model) {
    hydrogens_ = std::ranges::any_of(m_.sites, &CifSite::Hydrogen);
    for (const CifSite& site : m_.sites) sizes_[site.residue] += !site.Hydrogen();
  }

  void Check() {
    for (size_t i = 0; i < m_.sites.size(); ++i) {
      const CifSite& a = m_.sites[i];
      if (!a.Full() || a.row == kUnknownRow) continue;
      for (const Link& link : m_.near[i]) {
        const CifSite& b = At(link);
        const bool pair = static_cast<size_t>(link.site) > i || (static_cast<size_t>(link.site) == i && Once(link));
        if (!b.Full() || b.row == kUnknownRow || !pair || link.distance < 0.7) continue;
        if (a.Hydrogen() != b.Hydrogen()) continue;
        if (a.Hydrogen()) {
          Hydrogens(i, link);
        } else {
          Others(i, link);
        }
      }
      if (a.Hydrogen()) Donor(i);
    }
  }

 private:
  const CifSite& At(const Link& link) const { return m_.sites[static_cast<size_t>(link.site)]; }
  // Of an image of the atom itself and the reverse one only one counts.
  static bool Once(const Link& link) { return link.shift > std::array<int, 3>{} || link.op > 0; }
  bool Methyl(int carbon) const {
    const auto& bonds = m_.bonds[static_cast<size_t>(carbon)];
    return m_.sites[static_cast<size_t>(carbon)].row == 6 &&
           std::ranges::count_if(bonds, [&](const Link& l) { return At(l).Hydrogen(); }) == 3;
  }
  // Whether `link` leads to an atom of the same molecule, and over few bonds.
  bool Within(size_t i, const Link& link) const { return link.Identity() && m_.sites[i].residue == At(link).residue; }
  int BondsBetween(size_t i, const Link& link, int most) const;
  void Hydrogens(size_t i, const Link& link);
  void Others(size_t i, const Link& link);
  void Donor(size_t i);

  CifChecker& c_;
  const CifModel& m_;
  static constexpr int kMainSize = 6;  // atoms; what is smaller is solvent or an ion
  bool hydrogens_ = false;
  std::map<int, int> sizes_;  // of the residues, without hydrogens
};

// Bonds on the way to a neighbour, `most` + 1 when there are more; symmetry is followed by the places.
int Contacts::BondsBetween(size_t i, const Link& link, int most) const {
  constexpr size_t kMostSteps = 300;
  struct Step {
    int site;
    Cartesian place;
    bool turned;
  };
  std::vector<Step> front{{static_cast<int>(i), m_.sites[i].place, false}};
  for (int n = 1; n <= most; ++n) {
    std::vector<Step> next;
    for (const Step& step : front) {
      for (const Link& bond : m_.bonds[static_cast<size_t>(step.site)]) {
        // Beyond a symmetry operation bonds are those of the image: lengths alone can tell that one is near.
        if (step.turned) {
          if (Length(step.place - link.place) < 3.0) return n;
          continue;
        }
        if (bond.site == link.site && Length(bond.place - link.place) < 0.05) return n;
        next.push_back({bond.site, bond.place, !bond.Identity()});
      }
    }
    if (next.size() > kMostSteps) return n;
    front = std::move(next);
  }
  return most + 1;
}

void Contacts::Hydrogens(size_t i, const Link& link) {
  const CifSite& a = m_.sites[i];
  const CifSite& b = At(link);
  if (m_.bonds[i].empty() || m_.bonds[static_cast<size_t>(link.site)].empty()) return;
  if (link.distance > 2.4 || !a.Full() || !b.Full()) return;
  const int carrierA = m_.bonds[i][0].site;
  const int carrierB = m_.bonds[static_cast<size_t>(link.site)][0].site;
  const bool within = Within(i, link);
  if (BondsBetween(i, link, 3) <= 3) return;
  const bool donorA = IsDonorOrAcceptor(m_.sites[static_cast<size_t>(carrierA)].row);
  const bool donorB = IsDonorOrAcceptor(m_.sites[static_cast<size_t>(carrierB)].row);
  const char* kind = donorA && donorB                       ? "donors"
                     : donorA || donorB                     ? "donor-h"
                     : Methyl(carrierA) && Methyl(carrierB) ? "methyl"
                                                            : "h-h";
  const double below = 2.4 - link.distance;
  c_.Test(std::string("contact-") + kind + (within ? "-within" : "-between"), below,
          Printf("%s...%s: %.2f \xC3\x85.", a.label.c_str(), b.label.c_str(), link.distance), {a.label, b.label}, a.at);
}

void Contacts::Others(size_t i, const Link& link) {
  const CifSite& a = m_.sites[i];
  const CifSite& b = At(link);
  if (IsMetal(a.row) || IsMetal(b.row) || a.row == 5 || b.row == 5) return;
  const double below = ContactRadiusOf(a.row) + ContactRadiusOf(b.row) - link.distance;
  if (below < 0.1 || Within(i, link) || BondsBetween(i, link, 3) <= 3) return;
  const bool bonded = std::ranges::any_of(
      m_.bonds[i], [&](const Link& l) { return l.site == link.site && Length(l.place - link.place) < 0.05; });
  if (bonded) return;
  // Around one metal, ligands stand nearer than radii say.
  const auto onMetal = [&](size_t k) {
    return std::ranges::any_of(m_.bonds[k], [&](const Link& l) { return IsMetal(At(l).row); });
  };
  if (onMetal(i) && onMetal(static_cast<size_t>(link.site))) return;
  const bool polar = IsDonorOrAcceptor(a.row) && IsDonorOrAcceptor(b.row);
  const bool halogens = IsHalogen(a.row) && IsHalogen(b.row);
  const bool halogen = !halogens && (IsHalogen(a.row) || IsHalogen(b.row)) && polar;
  std::string kind = halogens ? "halogens" : halogen ? "halogen-acceptor" : polar ? "d-a" : "other";
  if (polar && !halogens) {
    // A hydrogen between the two, on either side or shared, explains the distance; without hydrogens none can be seen.
    const auto between = [&](size_t k, const Cartesian& from, const Cartesian& to) {
      return std::ranges::any_of(m_.bonds[k], [&](const Link& l) {
        const Cartesian h = k == i ? l.place : to;
        return At(l).Hydrogen() && (k != i || Dot(h - from, to - from) > 0.0);
      });
    };
    const bool explained =
        !hydrogens_ || between(i, a.place, link.place) || between(static_cast<size_t>(link.site), link.place, a.place);
    if (explained) return;
  }
  if (!polar && !halogens && !IsHalogen(a.row) && !IsHalogen(b.row) && link.distance > 3.3 && a.row <= 8 && b.row <= 8)
    return;
  const bool minor = sizes_.at(a.residue) < kMainSize && sizes_.at(b.residue) < kMainSize;
  if (kind == "other" && minor) kind = "minor";
  c_.Test("contact-" + kind, below, Printf("%s...%s: %.2f \xC3\x85.", a.label.c_str(), b.label.c_str(), link.distance),
          {a.label, b.label}, a.at);
}

// D-H has an acceptor when some N, O, F, S, Cl, Br, I stands within the radii, on the hydrogen's side.
void Contacts::Donor(size_t i) {
  const CifSite& h = m_.sites[i];
  if (m_.bonds[i].empty()) return;
  const Link& carrier = m_.bonds[i][0];
  const CifSite& d = At(carrier);
  if ((d.row != 7 && d.row != 8) || !d.Full() || !h.Full()) return;
  for (const Link& link : m_.near[i]) {
    const CifSite& a = At(link);
    if (!(IsDonorOrAcceptor(a.row) || IsHalogen(a.row) || a.row == 34) || Length(link.place - carrier.place) < 0.05)
      continue;
    if (link.distance > ContactRadiusOf(h.row) + ContactRadiusOf(a.row) - 0.0) continue;
    if (Angle(h.place, carrier.place, link.place) > 95.0) return;
  }
  // Towards a ring or a triple bond there is something to hold to as well.
  const bool pi = std::ranges::any_of(m_.near[i], [&](const Link& link) {
    return At(link).row == 6 && link.distance < 2.8 && Angle(h.place, carrier.place, link.place) > 120.0;
  });
  if (pi) return;
  c_.Found(d.row == 8 ? "donor-oxygen" : "donor-nitrogen", d.label + "-" + h.label + ".", {d.label, h.label}, h.at);
}

// Points of a grid over the cell that are farther than a probe from every surface, joined to voids.
class Voids {
 public:
  explicit Voids(const CifModel& model) : m_(model) {
    const double edges[] = {m_.parameters.a, m_.parameters.b, m_.parameters.c};
    // Large cells get a coarser grid, so that the work stays within bounds.
    const double spacing = std::max(kSpacing, std::cbrt(m_.metric.volume / kUsualPoints));
    for (size_t i = 0; i < 3; ++i) size_[i] = std::max(4, static_cast<int>(edges[i] / spacing));
    total_ = static_cast<size_t>(size_[0]) * static_cast<size_t>(size_[1]) * static_cast<size_t>(size_[2]);
  }

  // The largest void in Å³.
  double Largest() {
    constexpr size_t kMostPoints = 4'000'000;
    constexpr size_t kMostImages = 20'000;
    if (total_ > kMostPoints || m_.sites.size() * m_.operators.size() > kMostImages) return 0.0;
    taken_.assign(total_, 0);
    for (const CifSite& site : m_.sites) {
      if (site.row == kUnknownRow) return 0.0;  // its size is not known
      for (const SymmetryOperator& op : m_.operators) Mark(op.Apply(site.fract), ContactRadiusOf(site.row) + kProbe);
    }
    size_t largest = 0;
    for (size_t start = 0; start < total_; ++start) {
      if (taken_[start] == 0) largest = std::max(largest, Flood(start));
    }
    return static_cast<double>(largest) * m_.metric.volume / static_cast<double>(total_);
  }

 private:
  static constexpr double kSpacing = 0.4;  // Å
  static constexpr double kProbe = 1.2;    // Å
  static constexpr double kUsualPoints = 2.5e5;

  size_t Index(int i, int j, int k) const {
    const auto wrap = [](int v, int n) { return static_cast<size_t>(((v % n) + n) % n); };
    return (wrap(i, size_[0]) * static_cast<size_t>(size_[1]) + wrap(j, size_[1])) * static_cast<size_t>(size_[2]) +
           wrap(k, size_[2]);
  }

  template <class Visit>
  void Around(const Fractional& x, double radius, Visit visit) {
    int low[3], high[3];
    for (int q = 0; q < 3; ++q) {
      const double reach = radius * m_.metric.reciprocalEdges[static_cast<size_t>(q)];
      low[q] = static_cast<int>(std::ceil((x[q] - reach) * size_[static_cast<size_t>(q)]));
      high[q] = static_cast<int>(std::floor((x[q] + reach) * size_[static_cast<size_t>(q)]));
    }
    for (int i = low[0]; i <= high[0]; ++i) {
      for (int j = low[1]; j <= high[1]; ++j) {
        const Fractional row{i / double(size_[0]) - x.x, j / double(size_[1]) - x.y, 0.0};
        const size_t base = Index(i, j, 0);
        for (int k = low[2]; k <= high[2]; ++k) {
          const Fractional d{row.x, row.y, k / double(size_[2]) - x.z};
          if (m_.metric.DistanceSquared(d, {}) <= radius * radius)
            visit(base + static_cast<size_t>(((k % size_[2]) + size_[2]) % size_[2]));
        }
      }
    }
  }

  void Mark(const Fractional& x, double radius) {
    Around(x, radius, [this](size_t at) { taken_[at] = 1; });
  }

  // Points of one void, with those within a probe of them; what is taken already by another counts there.
  size_t Flood(size_t start) {
    std::vector<size_t> front{start};
    taken_[start] = 2;
    size_t count = 0;
    size_t core = 0;
    while (!front.empty()) {
      const size_t at = front.back();
      front.pop_back();
      ++core;
      const int k = static_cast<int>(at % static_cast<size_t>(size_[2]));
      const int j = static_cast<int>(at / static_cast<size_t>(size_[2]) % static_cast<size_t>(size_[1]));
      const int i = static_cast<int>(at / static_cast<size_t>(size_[2]) / static_cast<size_t>(size_[1]));
      bool inside = true;  // the surface alone can have anything else near
      const int steps[][3] = {{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}};
      for (const auto& s : steps) {
        const size_t next = Index(i + s[0], j + s[1], k + s[2]);
        inside = inside && (taken_[next] == 0 || taken_[next] == 2);
        if (taken_[next] != 0) continue;
        taken_[next] = 2;
        front.push_back(next);
      }
      if (inside) continue;
      const Fractional x{i / double(size_[0]), j / double(size_[1]), k / double(size_[2])};
      Around(x, kProbe, [&](size_t near) {
        if (taken_[near] == 3) return;
        if (taken_[near] == 1) {
          taken_[near] = 3;
          ++count;
        }
      });
    }
    return count + core;
  }

  const CifModel& m_;
  std::array<int, 3> size_{};
  size_t total_ = 0;
  std::vector<unsigned char> taken_;
};

}  // namespace

void CheckContacts(CifChecker& c) {
  Contacts(c).Check();
  const CifModel& m = c.model;
  const CifColumn angle = m.Column("_geom_hbond_angle_dha");
  const CifColumn labels[] = {m.Column("_geom_hbond_atom_site_label_d"), m.Column("_geom_hbond_atom_site_label_h"),
                              m.Column("_geom_hbond_atom_site_label_a")};
  const CifColumn ha = m.Column("_geom_hbond_distance_ha");
  const CifColumn da = m.Column("_geom_hbond_distance_da");
  bool rounded = true;
  for (size_t row = 0; row < labels[0].Rows(); ++row) {
    const Measured value = ParseMeasured(angle[row]);
    const std::string name =
        std::string(labels[0][row]) + "-" + std::string(labels[1][row]) + "..." + std::string(labels[2][row]);
    const std::vector<std::string> atoms{std::string(labels[0][row]), std::string(labels[1][row]),
                                         std::string(labels[2][row])};
    if (value.Given())
      c.Test("h-bond-angle", value.value, Printf("%s: %.0f\xC2\xB0.", name.c_str(), value.value), atoms,
             angle[row].data());
    rounded = rounded && (value.HasSu() || value.decimals <= 0);
    const auto d = m.siteOf.find(atoms[0]);
    const auto a = m.siteOf.find(atoms[2]);
    if (d == m.siteOf.end() || a == m.siteOf.end()) continue;
    const double rd = ContactRadiusOf(m.sites[static_cast<size_t>(d->second)].row);
    const double ra = ContactRadiusOf(m.sites[static_cast<size_t>(a->second)].row);
    const Measured h = ParseMeasured(ha[row]);
    const Measured da1 = ParseMeasured(da[row]);
    // C-H...A and contacts to metals are lists of another kind.
    const int donor = m.sites[static_cast<size_t>(d->second)].row;
    if (donor == 6) continue;
    if (h.Given())
      c.Test("h-bond-h-a", h.value - 1.2 - ra, Printf("%s: %.2f \xC3\x85.", name.c_str(), h.value), atoms,
             ha[row].data());
    if (da1.Given())
      c.Test("h-bond-d-a", da1.value - rd - ra, Printf("%s: %.2f \xC3\x85.", name.c_str(), da1.value), atoms,
             da[row].data());
  }
  if (!rounded) c.Found("h-bond-rounding", "");
}

void CheckVoids(CifChecker& c) {
  const CifModel& m = c.model;
  std::string told;
  for (const std::string_view field : m.block.textFields) told += LowerCase(field.substr(0, 4000));
  const bool mask = Contains(told, {"solvent mask", "masked", "\nabin"});
  if (mask) c.Found("mask", "");
  // Without its hydrogens, or cut short, a list of atoms leaves space that is none.
  const bool complete = std::ranges::any_of(m.sites, &CifSite::Hydrogen) &&
                        std::ranges::any_of(m.sites, [](const CifSite& s) { return s.row == 6; });
  if (!complete) return;
  const double largest = Voids(m).Largest();
  if (mask) {
    if (largest > 30.0) c.Found("void-mask", Printf("%.0f \xC3\x85\xC2\xB3.", largest));
  } else {
    c.Test("void", largest, Printf("%.0f \xC3\x85\xC2\xB3.", largest));
  }
}

}  // namespace marvik::cif

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "check/cif/cif_checker.h"

namespace marvik::cif {

namespace {

enum Hybrid { kUnclear = 0, kSp = 1, kSp2 = 2, kSp3 = 3 };

class Bonds {
 public:
  explicit Bonds(CifChecker& checker) : c_(checker), m_(checker.model) {
    for (size_t i = 0; i < m_.sites.size(); ++i) hybrids_.push_back(HybridOf(i));
  }

  void Check() {
    for (size_t i = 0; i < m_.sites.size(); ++i) {
      const CifSite& a = m_.sites[i];
      if (!a.Full()) continue;
      for (const Link& link : m_.bonds[i]) {
        const CifSite& b = At(link);
        if (b.Full() &&
            (static_cast<size_t>(link.site) > i || (static_cast<size_t>(link.site) == i && !link.Identity())))
          Bond(i, link);
      }
      Angles(i);
      if (a.row == 6) Methyl(i);
      if (a.row == 6 || a.row == 7) Group(i);
    }
    Rings();
    Precision();
  }

 private:
  const CifSite& At(const Link& link) const { return m_.sites[static_cast<size_t>(link.site)]; }
  Hybrid HybridOf(size_t i) const;
  void Bond(size_t i, const Link& link);
  void Angles(size_t i);
  void Methyl(size_t i);
  void Group(size_t i);
  void Rings();
  void Ring(const std::array<int, 6>& ring);
  void Precision();

  CifChecker& c_;
  const CifModel& m_;
  std::vector<Hybrid> hybrids_;
  std::vector<std::string> small_;
};

// By the number of neighbours and the angles between them; anything near a metal or disordered is unclear.
Hybrid Bonds::HybridOf(size_t i) const {
  const auto& bonds = m_.bonds[i];
  const CifSite& site = m_.sites[i];
  if (site.row != 6 || !site.Full()) return kUnclear;
  if (std::ranges::any_of(bonds, [&](const Link& l) { return !At(l).Full() || IsMetal(At(l).row) || At(l).row == 5; }))
    return kUnclear;
  if (bonds.size() == 4) return kSp3;
  if (bonds.size() == 3) {
    double sum = 0.0;
    for (size_t k = 0; k < 3; ++k) sum += Angle(site.place, bonds[k].place, bonds[(k + 1) % 3].place);
    return sum > 350.0 ? kSp2 : kUnclear;
  }
  if (bonds.size() == 2) return Angle(site.place, bonds[0].place, bonds[1].place) > 160.0 ? kSp : kUnclear;
  return kUnclear;
}

void Bonds::Bond(size_t i, const Link& link) {
  const CifSite* a = &m_.sites[i];
  const CifSite* b = &At(link);
  Hybrid ha = hybrids_[i];
  Hybrid hb = hybrids_[static_cast<size_t>(link.site)];
  const std::string text = Printf("%s-%s: %.3f \xC3\x85.", a->label.c_str(), b->label.c_str(), link.distance);
  std::string name;
  double offset = 0.0;
  if (a->Hydrogen() || b->Hydrogen()) {
    const CifSite* carrier = a->Hydrogen() ? b : a;
    if (m_.bonds[a->Hydrogen() ? i : static_cast<size_t>(link.site)].size() > 1)
      return;  // shared, as in a short bridge
    if (carrier->row == 6 || carrier->row == 7 || carrier->row == 8)
      name = carrier->row == 6 ? "c-h" : carrier->row == 7 ? "n-h" : "o-h";
    // By neutrons the nucleus is found, further out.
    if (!m_.xray) offset = carrier->row == 6 ? 0.12 : carrier->row == 7 ? 0.139 : 0.163;
  } else if (a->row == 6 && b->row == 6) {
    if (ha < hb) std::swap(ha, hb);
    const auto word = [](Hybrid h) { return h == kSp3 ? "sp3" : h == kSp2 ? "sp2" : "sp"; };
    name = ha == kUnclear || hb == kUnclear ? "c-c" : std::string(word(ha)) + "-" + word(hb);
  } else if (a->row == 7 && b->row == 7) {
    c_.Test("n-n-long", link.distance, text, {a->label, b->label}, a->at);
  }
  const auto kind = std::ranges::find_if(BondKinds(), [&](const BondKind& k) { return name == k.name; });
  if (kind == BondKinds().end()) return;
  const double departure = link.distance - kind->length - offset;
  c_.Test("bond-" + name + "-short", -departure, text, {a->label, b->label}, a->at);
  c_.Test("bond-" + name + "-long", departure, text, {a->label, b->label}, a->at);
}

void Bonds::Angles(size_t i) {
  const CifSite& site = m_.sites[i];
  const auto& bonds = m_.bonds[i];
  const auto ordinary = [](int row) { return row == 6 || row == 7 || row == 14 || row == 15 || row == 16; };
  for (size_t a = 0; a < bonds.size(); ++a) {
    for (size_t b = a + 1; b < bonds.size(); ++b) {
      const CifSite& x = At(bonds[a]);
      const CifSite& y = At(bonds[b]);
      if (!x.Full() || !y.Full()) continue;
      const double angle = Angle(site.place, bonds[a].place, bonds[b].place);
      const std::string text =
          Printf("%s-%s-%s: %.1f\xC2\xB0.", x.label.c_str(), site.label.c_str(), y.label.c_str(), angle);
      if (angle < 45.0 && !IsMetal(site.row) && !IsMetal(x.row) && !IsMetal(y.row) && site.row != 5)
        small_.push_back(x.label + "-" + site.label + "-" + y.label);
      if (site.row != 8 || bonds.size() != 2) continue;
      if (x.row == 14 && y.row == 14) {
        c_.Test("si-o-si", std::fabs(angle - 150.0), text, {x.label, site.label, y.label}, site.at);
      } else if (ordinary(x.row) && ordinary(y.row) && angle > 75.0) {
        c_.Test("x-o-y", std::fabs(angle - 120.0), text, {x.label, site.label, y.label}, site.at);
      }
    }
  }
}

void Bonds::Methyl(size_t i) {
  const CifSite& site = m_.sites[i];
  const auto& bonds = m_.bonds[i];
  if (bonds.size() != 4 || std::ranges::count_if(bonds, [&](const Link& l) { return At(l).Hydrogen(); }) != 3) return;
  for (size_t a = 0; a < 4; ++a) {
    for (size_t b = a + 1; b < 4; ++b) {
      const CifSite& x = At(bonds[a]);
      const CifSite& y = At(bonds[b]);
      const double off = std::fabs(Angle(site.place, bonds[a].place, bonds[b].place) - 109.0);
      const bool both = x.Hydrogen() && y.Hydrogen();
      c_.Test(both ? "methyl-h-c-h" : "methyl-x-c-h", off,
              Printf("%s-%s-%s: %.1f\xC2\xB0.", x.label.c_str(), site.label.c_str(), y.label.c_str(), off),
              {x.label, site.label, y.label}, site.at);
    }
  }
}

// C-NO2 and C-CO2: which of the two the lengths tell.
void Bonds::Group(size_t i) {
  const CifSite& site = m_.sites[i];
  const auto& bonds = m_.bonds[i];
  if (bonds.size() != 3) return;
  double oxygens = 0.0;
  int count = 0;
  double carbon = 0.0;
  for (const Link& link : bonds) {
    if (At(link).row == 8 && m_.bonds[static_cast<size_t>(link.site)].size() == 1) {
      oxygens += link.distance;
      ++count;
    } else if (At(link).row == 6) {
      carbon = link.distance;
    }
  }
  if (count != 2 || carbon == 0.0) return;
  const bool wrong = site.row == 6 ? oxygens < 2.44 && carbon < 1.48 : oxygens > 2.50 && carbon > 1.50;
  if (wrong)
    c_.Found("nitro-carboxylate", Printf("%s: %.3f and %.3f \xC3\x85.", site.label.c_str(), oxygens, carbon),
             {site.label}, site.at);
}

void Bonds::Rings() {
  // Six-membered rings of sp2 carbons, in the asymmetric unit.
  std::vector<std::vector<int>> next(m_.sites.size());
  for (size_t i = 0; i < m_.sites.size(); ++i) {
    if (hybrids_[i] != kSp2) continue;
    for (const Link& link : m_.bonds[i]) {
      if (link.Identity() && hybrids_[static_cast<size_t>(link.site)] == kSp2) next[i].push_back(link.site);
    }
  }
  for (int a = 0; a < static_cast<int>(next.size()); ++a) {
    for (const int b : next[static_cast<size_t>(a)])
      for (const int c : next[static_cast<size_t>(b)])
        for (const int d : next[static_cast<size_t>(c)])
          for (const int e : next[static_cast<size_t>(d)])
            for (const int f : next[static_cast<size_t>(e)]) {
              // The smallest first, and its smaller neighbour second.
              const bool first = a < std::min({b, c, d, e, f}) && b < f;
              const bool different = b != d && b != e && c != e && c != f && d != f && a != c && a != d && a != e;
              if (first && different &&
                  std::ranges::find(next[static_cast<size_t>(f)], a) != next[static_cast<size_t>(f)].end())
                Ring({a, b, c, d, e, f});
            }
  }
}

void Bonds::Ring(const std::array<int, 6>& ring) {
  double sum = 0.0;
  double low = 10.0;
  double high = 0.0;
  int substituents = 0;
  std::vector<std::string> labels;
  for (size_t k = 0; k < 6; ++k) {
    const auto i = static_cast<size_t>(ring[k]);
    const double d = Length(m_.sites[i].place - m_.sites[static_cast<size_t>(ring[(k + 1) % 6])].place);
    sum += d;
    low = std::min(low, d);
    high = std::max(high, d);
    substituents += std::ranges::count_if(m_.bonds[i], [&](const Link& l) { return !At(l).Hydrogen(); }) > 2;
    labels.push_back(m_.sites[i].label);
  }
  const bool phenyl = substituents <= 1;
  const std::string text =
      Printf("Ring of %s: mean %.3f, %.3f to %.3f \xC3\x85.", labels[0].c_str(), sum / 6, low, high);

  c_.Test(phenyl ? "phenyl-mean" : "ring-mean", std::fabs(sum / 6 - (phenyl ? 1.385 : 1.395)), text, labels);
  c_.Test(phenyl ? "phenyl-spread" : "ring-spread", high - low, text, labels);
}

void Bonds::Precision() {
  double sum = 0.0;
  int count = 0;
  for (size_t i = 0; i < m_.sites.size(); ++i) {
    const CifSite& a = m_.sites[i];
    if (a.row != 6) continue;
    for (const Link& link : m_.bonds[i]) {
      const CifSite& b = At(link);
      if (b.row != 6 || static_cast<size_t>(link.site) < i) continue;
      const double edges[] = {m_.parameters.a, m_.parameters.b, m_.parameters.c};
      double variance = 0.0;
      for (size_t k = 0; k < 3; ++k)
        variance += (std::pow(a.x[k].su * edges[k], 2) + std::pow(b.x[k].su * edges[k], 2)) / 3.0;
      if (variance <= 0.0) continue;
      sum += std::sqrt(variance);
      ++count;
    }
  }
  if (count > 0) {
    const char* rule = m_.heaviest < 20 ? "precision-light" : m_.heaviest < 40 ? "precision-medium" : "precision-heavy";
    c_.Test(rule, sum / count, Printf("%.4f \xC3\x85 over %d bonds.", sum / count, count));
  }
  c_.Test("angle-small", static_cast<double>(small_.size()), Printf("%zu.", small_.size()), small_);
}

}  // namespace

void CheckBonds(CifChecker& c) {
  Bonds(c).Check();
}

}  // namespace marvik::cif

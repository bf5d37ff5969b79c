#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "check/cif/cif_checker.h"
#include "check/cif/cif_words.h"

namespace marvik::cif {

namespace {

void Labels(CifChecker& c) {
  const CifModel& m = c.model;
  std::unordered_map<std::string, int> seen;
  std::vector<std::string> unusual;
  std::vector<std::string> bare;
  for (const CifSite& site : m.sites) {
    const std::string& label = site.label;
    if (site.row == kUnknownRow) {
      c.Found("type-unknown", label + ": " + site.type + ".", {label}, site.at);
      continue;
    }
    if (label.empty()) continue;
    if (++seen[label] == 2) c.Found("label-twice", label + ".", {label}, site.at);
    const char first = label[0];
    if (!((first | 0x20) >= 'a' && (first | 0x20) <= 'z')) {
      c.Found("label-digits", label + ".", {label}, site.at);
      continue;
    }
    size_t letters = 0;
    while (letters < label.size() && ((label[letters] | 0x20) >= 'a' && (label[letters] | 0x20) <= 'z')) ++letters;
    const std::string symbol = LowerCase(SymbolOf(site.row));
    const std::string begin = LowerCase(label.substr(0, letters));
    const bool deuterium = site.Hydrogen() && (begin.starts_with('h') || begin.starts_with('d'));
    if (!begin.starts_with(symbol) && !deuterium) {
      if (RowOfAtomType(site.type) != kUnknownRow && !begin.starts_with("w")) {
        c.Found("label-type", label + ": " + site.type + ".", {label}, site.at);
      }
      continue;
    }
    if (label.find_first_of("0123456789") == label.npos && begin == symbol && m.sites.size() > 20)
      bare.push_back(label);
    if (label.size() > 5 || begin.size() > symbol.size() + 1) unusual.push_back(label);
  }
  if (!bare.empty()) c.Found("label-number", Printf("%zu.", bare.size()), bare);
  c.Test("label-unusual", static_cast<double>(unusual.size()), Printf("%zu.", unusual.size()), unusual);
}

void Occupancies(CifChecker& c) {
  const CifModel& m = c.model;
  std::vector<std::string> fixed;
  double heavy[2] = {};
  double shared[2] = {};
  std::map<int, int> sizes;
  for (const CifSite& site : m.sites) sizes[site.residue] += !site.Hydrogen();
  int largest = 1;
  for (const auto& [residue, size] : sizes) largest = std::max(largest, size);
  for (const CifSite& site : m.sites) {
    const double o = site.Occupancy();
    if (o == 0.0) c.Found("occupancy-zero", site.label + ".", {site.label}, site.at);
    if (o > 1.0 + std::max(0.001, site.occupancy.su))
      c.Found("occupancy-above", Printf("%s: %.4f.", site.label.c_str(), o), {site.label}, site.at);
    if (site.part == 0 && site.order > 1 && std::fabs(o * site.order - 1.0) < 0.003) {
      // Sharing its site with another one, it is mixed occupancy.
      const auto i = static_cast<size_t>(&site - m.sites.data());
      const bool mixed = std::ranges::any_of(m.near[i], [](const Link& link) { return link.distance < 0.7; });
      if (!mixed)
        c.Found("occupancy-special", Printf("%s: %.4f, order %d.", site.label.c_str(), o, site.order), {site.label},
                site.at);
    }
    if (o < 0.999 && o > 0.0 && !site.occupancy.HasSu() && !site.Hydrogen()) fixed.push_back(site.label);
    const bool main = 2 * sizes[site.residue] >= largest;
    if (!site.Hydrogen()) {
      heavy[main] += 1.0;
      shared[main] += !site.Full();
    }
  }
  c.Test("occupancy-fixed", static_cast<double>(fixed.size()), Printf("%zu.", fixed.size()), fixed);
  for (const int main : {0, 1}) {
    if (heavy[main] <= 0.0) continue;
    const double percent = 100.0 * shared[main] / heavy[main];
    c.Test(main ? "disorder-share" : "disorder-share-minor", percent, Printf("%.0f %%.", percent));
  }
  const bool negative = std::ranges::any_of(m.sites, [](const CifSite& s) { return s.part < 0; });
  if (negative) c.Found("negative-group", "");
}

void Coordinates(CifChecker& c) {
  const CifModel& m = c.model;
  std::vector<std::string> plain;
  std::vector<std::string> riding;
  std::vector<std::string> calculated;
  size_t withSu = 0;
  for (const CifSite& site : m.sites) {
    const int uncertain = site.x[0].HasSu() + site.x[1].HasSu() + site.x[2].HasSu();
    withSu += uncertain > 0;
    if (!site.Hydrogen() && site.order == 1 && uncertain == 0 && !site.Calculated() &&
        site.refinementFlags.find_first_of("RGS") == std::string::npos)
      plain.push_back(site.label);
    if (!site.Hydrogen() && site.refinementFlags.find('R') != std::string::npos) riding.push_back(site.label);
    if (site.Calculated() && uncertain == 3) calculated.push_back(site.label);
  }
  if (!plain.empty() && withSu > 0) c.Found("coordinate-su", Printf("%zu atoms.", plain.size()), plain);
  if (!riding.empty()) c.Found("riding-heavy", Printf("%zu.", riding.size()), riding);
  if (!calculated.empty()) c.Found("calculated-su", Printf("%zu.", calculated.size()), calculated);
  std::map<int, std::pair<Fractional, int>> centres;
  for (const CifSite& site : m.sites) {
    auto& [sum, count] = centres[site.residue];
    sum += site.fract;
    ++count;
  }
  for (const auto& [residue, centre] : centres) {
    const Fractional mean = centre.first / centre.second;
    const double low = std::min({mean.x, mean.y, mean.z});
    const double high = std::max({mean.x, mean.y, mean.z});
    if (low < -0.05 || high > 1.05) {
      const std::string& label = m.sites[static_cast<size_t>(residue)].label;
      c.Found("outside-cell", Printf("Residue of %s: %.2f %.2f %.2f.", label.c_str(), mean.x, mean.y, mean.z), {label});
    }
  }
  if (m.polymer) c.Found("polymer", "");
}

// Angles at an atom between its bonds, in degrees; their sum for three.
double SumOfAngles(const CifModel& m, size_t i) {
  double sum = 0.0;
  const auto& bonds = m.bonds[i];
  for (size_t a = 0; a < bonds.size(); ++a) {
    for (size_t b = a + 1; b < bonds.size(); ++b) sum += Angle(m.sites[i].place, bonds[a].place, bonds[b].place);
  }
  return sum;
}

class Connectivity {
 public:
  explicit Connectivity(CifChecker& checker) : c_(checker), m_(checker.model) {
    hydrogens_ = std::ranges::any_of(m_.sites, &CifSite::Hydrogen);
  }
  void Check() {
    std::vector<std::string> calculated;
    for (size_t i = 0; i < m_.sites.size(); ++i) {
      const CifSite& site = m_.sites[i];
      Coincidence(i);
      if (site.Hydrogen()) {
        Hydrogen(i, calculated);
        continue;
      }
      ordered_ = site.Full() && std::ranges::all_of(m_.bonds[i], [&](const Link& l) { return At(l).Full(); });
      metal_ = std::ranges::any_of(m_.bonds[i], [&](const Link& l) { return IsMetal(At(l).row); });
      if (site.row == 6) Carbon(i);
      if (site.row == 7) Nitrogen(i);
      if (site.row == 8) Oxygen(i);
      if (IsMetal(site.row) && m_.bonds[i].size() < 2 && site.Full() && hydrogens_) {
        c_.Found("metal-alone", Printf("%s: %zu bonds.", site.label.c_str(), m_.bonds[i].size()), {site.label},
                 site.at);
      }
    }
    c_.Test("hydrogen-not-refined", static_cast<double>(calculated.size()), Printf("%zu.", calculated.size()),
            calculated);
  }

 private:
  const CifSite& At(const Link& link) const { return m_.sites[static_cast<size_t>(link.site)]; }
  int HydrogensOn(size_t i) const {
    return static_cast<int>(std::ranges::count_if(m_.bonds[i], [&](const Link& l) { return At(l).Hydrogen(); }));
  }
  void Coincidence(size_t i);
  void Hydrogen(size_t i, std::vector<std::string>& calculated);
  void Carbon(size_t i);
  void Nitrogen(size_t i);
  void Oxygen(size_t i);

  CifChecker& c_;
  const CifModel& m_;
  bool hydrogens_ = false;
  bool ordered_ = true;
  bool metal_ = false;
};

void Connectivity::Coincidence(size_t i) {
  const CifSite& a = m_.sites[i];
  for (const Link& link : m_.near[i]) {
    const CifSite& b = At(link);
    const bool pair = static_cast<size_t>(link.site) > i || (static_cast<size_t>(link.site) == i && !link.Identity());
    if (!pair || !a.Full() || !b.Full() || link.distance > 0.6) continue;
    c_.Found("atoms-coincide", Printf("%s and %s: %.3f \xC3\x85.", a.label.c_str(), b.label.c_str(), link.distance),
             {a.label, b.label}, a.at);
  }
}

void Connectivity::Hydrogen(size_t i, std::vector<std::string>& calculated) {
  const CifSite& site = m_.sites[i];
  const auto& bonds = m_.bonds[i];
  if (bonds.empty()) {
    if (site.Full()) c_.Found("hydrogen-alone", site.label + ".", {site.label}, site.at);
    return;
  }
  const int carrier = At(bonds[0]).row;
  if ((carrier == 7 || carrier == 8) && !site.x[0].HasSu() && !site.x[1].HasSu() && !site.x[2].HasSu())
    calculated.push_back(site.label);
  const bool bridge = IsMetal(carrier) || carrier == 5;
  if (site.Full() && !bridge) {
    c_.Test("hydrogen-bridge", static_cast<double>(bonds.size()), Printf("%s: %zu.", site.label.c_str(), bonds.size()),
            {site.label}, site.at);
  }
}

void Connectivity::Carbon(size_t i) {
  const CifSite& site = m_.sites[i];
  const size_t bonds = m_.bonds[i].size();
  if (!ordered_ || !hydrogens_) return;
  if (bonds > 4 && !metal_ && std::ranges::none_of(m_.bonds[i], [&](const Link& l) { return At(l).row == 5; })) {
    c_.Found("carbon-five", Printf("%s: %zu bonds.", site.label.c_str(), bonds), {site.label}, site.at);
  }
  if (bonds != 3 || metal_) return;
  const double sum = SumOfAngles(m_, i);
  const int hydrogens = HydrogensOn(i);
  const std::string text = Printf("%s: angles add up to %.0f\xC2\xB0.", site.label.c_str(), sum);
  if (hydrogens == 0 && sum < 345.0) c_.Found("carbon-sp3", text, {site.label}, site.at);
  if (hydrogens == 1 && sum < 345.0) c_.Found("carbon-angles", text, {site.label}, site.at);
}

void Connectivity::Nitrogen(size_t i) {
  const CifSite& site = m_.sites[i];
  if (ordered_ && !metal_ && m_.bonds[i].size() > 4)
    c_.Found("nitrogen-five", Printf("%s: %zu bonds.", site.label.c_str(), m_.bonds[i].size()), {site.label}, site.at);
}

void Connectivity::Oxygen(size_t i) {
  const CifSite& site = m_.sites[i];
  const auto& bonds = m_.bonds[i];
  if (bonds.empty()) {
    c_.Found(site.Full() ? "water-hydrogen" : "water-hydrogen-disorder", site.label + ".", {site.label}, site.at);
    return;
  }
  if (!ordered_ || metal_) return;
  const int hydrogens = HydrogensOn(i);
  if (bonds.size() == 3 && hydrogens < 3 && std::ranges::none_of(bonds, [&](const Link& l) {
        return At(l).row == 5 || At(l).row == 14 || At(l).row == 15;
      })) {
    c_.Found("oxygen-three", site.label + ".", {site.label}, site.at);
  }
  const auto carbon = std::ranges::find_if(bonds, [&](const Link& l) { return At(l).row == 6; });
  if (carbon == bonds.end()) return;
  const double distance = carbon->distance;
  const std::string text = Printf("%s-%s: %.3f \xC3\x85.", At(*carbon).label.c_str(), site.label.c_str(), distance);
  if (bonds.size() == 1 && hydrogens_)
    c_.Test("terminal-c-o", distance, text, {At(*carbon).label, site.label}, site.at);
  if (bonds.size() == 2 && hydrogens == 1) {
    c_.Test("hydroxyl-length", std::max(1.25 - distance, distance - 1.45), text, {At(*carbon).label, site.label},
            site.at);
  }
}

}  // namespace

void CheckAtoms(CifChecker& c) {
  if (c.model.sites.empty()) {
    c.Found("no-atoms", "");
    return;
  }
  Labels(c);
  Occupancies(c);
  Coordinates(c);
  Connectivity(c).Check();
}

}  // namespace marvik::cif

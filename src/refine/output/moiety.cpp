#include <algorithm>
#include <cmath>
#include <set>

#include "base/numbers.h"
#include "refine/output/cif_sections.h"

namespace marvik {
namespace {

using Contents = std::map<std::string, double>;

// A chemical unit with everything that is bonded to it through the crystal.
struct Unit {
  Contents contents;
  double atoms = 0.0;
  double perCell = 0.0;  // how many there are, by occupancy
  std::optional<double> charge = 0.0;
};

std::array<long, 3> PlaceKey(const Fractional& x) {
  return {std::lround(x.x * 1000.0), std::lround(x.y * 1000.0), std::lround(x.z * 1000.0)};
}

// The unit that a site belongs to; false when it has no end. `known` gets its sites.
bool FollowBonds(const Session& s, size_t start, std::vector<bool>& known, Unit& unit) {
  const auto& sites = s.structure.sites;
  std::vector<SiteImage> open{{static_cast<int>(start), false, {}}};
  std::set<std::pair<int, std::array<long, 3>>> places;
  std::map<int, std::vector<Fractional>> bySite;
  bool alternatives = true;  // every atom is of a part
  double occupancy = 1.0;
  for (size_t i = 0; i < open.size(); ++i) {
    const SiteImage image = open[i];
    const Site& site = sites[static_cast<size_t>(image.site)];
    const Fractional x = image.operation.Apply(site.x);
    if (!places.insert({image.site, PlaceKey(x)}).second) continue;
    for (const Fractional& other : bySite[image.site]) {
      const Fractional d = x - other;
      // The same atom of another cell: a chain.
      const Fractional whole{std::round(d.x), std::round(d.y), std::round(d.z)};
      if (PlaceKey(d) == PlaceKey(whole)) return false;
    }
    bySite[image.site].push_back(x);
    known[static_cast<size_t>(image.site)] = true;
    alternatives = alternatives && site.part != 0;
    for (const Neighbour& n : s.bonds[static_cast<size_t>(image.site)]) {
      SiteImage next = ImageOf(s.structure, n);
      next.operation = image.operation * next.operation;
      open.push_back(next);
    }
  }
  const auto inCell = [&](int site) {  // places by occupancy
    return sites[static_cast<size_t>(site)].occupancy * static_cast<double>(s.structure.group.all.size());
  };
  const auto places0 = static_cast<double>(bySite[static_cast<int>(start)].size());
  // How many units hold an atom of the start, were it fully there.
  double images = 0.0;
  std::set<std::array<long, 3>> wrapped;
  for (const SymmetryOperator& op : s.structure.group.all) {
    Fractional x = op.Apply(sites[start].x);
    for (int k = 0; k < 3; ++k) x[k] -= std::floor(x[k] + 1e-4);
    if (wrapped.insert(PlaceKey(x)).second) images += 1.0;
  }
  const double units = images / places0;
  if (alternatives) occupancy = inCell(static_cast<int>(start)) / images;
  for (const auto& [site, list] : bySite) {
    const Site& at = sites[static_cast<size_t>(site)];
    const std::string& symbol = s.structure.scatterers[static_cast<size_t>(at.scatterer)].symbol;
    const double n = inCell(site) / units / occupancy;
    unit.contents[symbol] += n;
    unit.atoms += n;
    const auto charge = FormalCharge(s, site);
    if (charge && unit.charge) {
      *unit.charge += n * *charge;
    } else {
      unit.charge.reset();
    }
  }
  unit.perCell = units * occupancy;
  return true;
}

// Carbon and hydrogen first, the others by letter; "" when a count is no whole number.
std::string HillFormula(Contents contents) {
  std::string formula;
  const auto add = [&](const std::string& symbol) {
    const auto at = contents.find(symbol);
    if (at == contents.end()) return true;
    const double n = at->second;
    contents.erase(at);
    if (std::fabs(n - std::round(n)) > 0.05 || n < 0.5) return false;
    formula += (formula.empty() ? "" : " ") + symbol;
    if (std::round(n) > 1.0) AppendPrintf(formula, "%.0f", n);
    return true;
  };
  if (contents.count("C") && (!add("C") || !add("H"))) return {};
  while (!contents.empty()) {
    if (!add(std::string(contents.begin()->first))) return {};
  }
  return formula;
}

// All units of a formula.
struct Kind {
  double count = 0.0;  // in the formula unit
  double atoms = 0.0;
  std::optional<double> charge;
};

bool IsWhole(double n) {
  return std::fabs(n - std::round(n)) < 0.05;
}

// The charge of the one kind that has none is what balances the others. False where nothing is charged, or not all is
// sure.
bool BalanceCharges(std::map<std::string, Kind>& kinds) {
  double sum = 0.0;
  Kind* open = nullptr;
  bool charged = false;
  for (auto& [formula, kind] : kinds) {
    if (!kind.charge) {
      if (open) return false;
      open = &kind;
      continue;
    }
    if (!IsWhole(*kind.charge)) return false;
    charged = charged || std::fabs(*kind.charge) > 0.5;
    sum += kind.count * *kind.charge;
  }
  if (open) open->charge = -sum / open->count;
  return charged && (open ? IsWhole(*open->charge) : std::fabs(sum) < 0.02);
}

std::string ChargeText(double charge) {
  return std::fabs(charge) < 0.5 ? "" : Printf(" %.0f%c", std::fabs(charge), charge > 0.0 ? '+' : '-');
}

}  // namespace

std::string MoietyFormula(const Session& s) {
  if (s.bonds.size() != s.structure.sites.size()) return {};
  const Instruction zerr = ParseInstruction(s.document.instructions.zerrLine);
  const double z = zerr.numbers.empty() ? 0.0 : zerr.numbers[0];
  if (!(z > 0.0)) return {};
  std::vector<bool> known(s.structure.sites.size(), false);
  std::map<std::string, Kind> kinds;
  bool lone = false;
  for (size_t i = 0; i < known.size(); ++i) {
    if (known[i]) continue;
    Unit unit;
    if (!FollowBonds(s, i, known, unit)) return {};
    const std::string formula = HillFormula(unit.contents);
    if (formula.empty()) return {};
    lone = lone || unit.atoms < 1.5;
    Kind& kind = kinds[formula];
    // Of isomers one may be charged.
    const bool agrees = kind.count == 0.0 || kind.charge == unit.charge;
    kind.charge = agrees ? unit.charge : std::nullopt;
    kind.count += unit.perCell / z;
    kind.atoms = unit.atoms;
  }
  std::vector<std::pair<double, std::string>> order;
  const bool charged = BalanceCharges(kinds);
  // An atom alone is an ion, whose charge is the user's to say, or lacks its hydrogens.
  if (lone && !charged) return {};
  for (const auto& [formula, kind] : kinds) {
    const std::string number = Shortest(kind.count, 2);
    const std::string whole = formula + (charged ? ChargeText(*kind.charge) : "");
    order.emplace_back(-kind.atoms, number == "1" ? whole : number + "(" + whole + ")");
  }
  std::sort(order.begin(), order.end());
  std::string text;
  for (const auto& [atoms, formula] : order) text += (text.empty() ? "" : ", ") + formula;
  return text;
}

}  // namespace marvik

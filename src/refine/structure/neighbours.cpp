#include "refine/structure/neighbours.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>

#include "chem/bonds/bond_rules.h"
#include "crystal/nearest_images.h"

namespace marvik {
namespace {

constexpr double kSamePlace = 0.01;     // Å
constexpr double kSameDistance = 1e-5;  // Å

// The nearest first; what is equally far by the atom list, whatever the last digit of a distance came to be.
auto OrderOf(const Neighbour& n) {
  return std::tuple(std::llround(n.distance / kSameDistance), n.site, n.operation, n.cell);
}

int SiteOf(const Structure& structure, const AtomRecord* atom) {
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    if (structure.sites[i].atom == atom) return static_cast<int>(i);
  }
  return -1;
}

void RemovePair(NeighbourTable& table, int a, int b) {
  const auto drop = [&](int at, int other) {
    auto& list = table[static_cast<size_t>(at)];
    list.erase(
        std::remove_if(list.begin(), list.end(), [&](const Neighbour& n) { return n.site == other && n.IsIdentity(); }),
        list.end());
  };
  drop(a, b);
  drop(b, a);
}

void AddPair(const Structure& structure, NeighbourTable& table, int a, int b) {
  RemovePair(table, a, b);
  const double d = std::sqrt(structure.metric.DistanceSquared(structure.sites[static_cast<size_t>(a)].x,
                                                              structure.sites[static_cast<size_t>(b)].x));
  table[static_cast<size_t>(a)].push_back({b, 0, {}, d});
  table[static_cast<size_t>(b)].push_back({a, 0, {}, d});
}

// A hydrogen about an axis lies where the axis moves another one: three names, nine images, three places.
void DropHydrogensInPlaceOfOthers(const Structure& structure, std::vector<Neighbour>& list) {
  constexpr double kOnePlace = 0.1;  // Å
  const auto isHydrogen = [&](const Neighbour& n) { return structure.sites[static_cast<size_t>(n.site)].hydrogen; };
  const std::vector<Neighbour> all = list;
  std::erase_if(list, [&](const Neighbour& moved) {
    if (moved.IsIdentity() || !isHydrogen(moved)) return false;
    const Fractional place = ImagePosition(structure, moved);
    return std::ranges::any_of(all, [&](const Neighbour& n) {
      return n.IsIdentity() && isHydrogen(n) &&
             structure.metric.DistanceSquared(place, structure.sites[static_cast<size_t>(n.site)].x) <
                 kOnePlace * kOnePlace;
    });
  });
}

}  // namespace

bool PartsMeet(const Site& a, const Site& b, bool identity) {
  return PartsMayBond(a.part, b.part, identity);
}

Fractional ImagePosition(const Structure& structure, const Neighbour& n) {
  Fractional x =
      structure.group.all[static_cast<size_t>(n.operation)].Apply(structure.sites[static_cast<size_t>(n.site)].x);
  return {x.x + n.cell[0], x.y + n.cell[1], x.z + n.cell[2]};
}

NeighbourTable ImagesWithin(const Structure& structure, double reach) {
  std::vector<Fractional> places;
  for (const Site& site : structure.sites) places.push_back(site.x);
  const ImageSearch search(places, structure.group.all, structure.metric.cell, reach);
  NeighbourTable table(structure.sites.size());
  std::vector<AtomImage> found;
  for (size_t a = 0; a < places.size(); ++a) {
    FindNearOrNearer(search, places[a], reach, found);
    for (const AtomImage& image : found) {
      if (image.distance >= kSamePlace)
        table[a].push_back({static_cast<int>(image.atom), static_cast<int>(image.op), image.t, image.distance});
    }
  }
  for (auto& list : table) {
    std::ranges::sort(list, {}, OrderOf);
    // On a special position several operations give the same image; the identity names it best.
    constexpr int kTaken = -1;
    for (size_t i = 0; i < list.size(); ++i) {
      if (list[i].site == kTaken) continue;
      const Fractional place = ImagePosition(structure, list[i]);
      for (size_t j = i + 1; j < list.size() && list[j].distance - list[i].distance <= 1e-3; ++j) {
        if (list[j].site != list[i].site) continue;
        if (structure.metric.DistanceSquared(place, ImagePosition(structure, list[j])) >= 1e-3) continue;
        if (list[j].IsIdentity()) std::swap(list[i], list[j]);
        list[j].site = kTaken;
      }
    }
    std::erase_if(list, [](const Neighbour& n) { return n.site == kTaken; });
  }
  return table;
}

NeighbourTable MakeBonds(const Structure& structure, const Document& document,
                         const std::vector<Instruction>& commands) {
  const BondRules rules(document, commands);
  std::vector<BondRules::Limit> limits;
  double largest = 0.0;
  for (const Site& site : structure.sites) {
    limits.push_back(rules.LimitOf(site.atom, structure.scatterers[static_cast<size_t>(site.scatterer)].radius));
    largest = std::max(largest, limits.back().radius);
  }
  NeighbourTable table = ImagesWithin(structure, 2.0 * largest + kBondTolerance);
  for (size_t a = 0; a < table.size(); ++a) {
    auto& list = table[a];
    const Site& site = structure.sites[a];
    list.erase(std::remove_if(list.begin(), list.end(),
                              [&](const Neighbour& n) {
                                const auto b = static_cast<size_t>(n.site);
                                const Site& other = structure.sites[b];
                                return n.distance > limits[a].radius + limits[b].radius + kBondTolerance ||
                                       !rules.PartsBond(site.part, other.part, n.IsIdentity()) ||
                                       (site.hydrogen && other.hydrogen);
                              }),
               list.end());
    DropHydrogensInPlaceOfOthers(structure, list);
  }
  // To the nearest ones alone; those farther off do not bond to the atom either.
  std::vector<double> farthest(table.size(), std::numeric_limits<double>::infinity());
  for (size_t a = 0; a < table.size(); ++a) {
    const auto most = static_cast<size_t>(std::max(0, limits[a].most));
    if (table[a].size() <= most) continue;
    table[a].resize(most);
    farthest[a] = most > 0 ? table[a].back().distance + kSameDistance : 0.0;
  }
  for (auto& list : table)
    std::erase_if(list, [&](const Neighbour& n) { return n.distance > farthest[static_cast<size_t>(n.site)]; });
  for (const auto& [a, b] : rules.Bound()) {
    const int i = SiteOf(structure, a);
    const int j = SiteOf(structure, b);
    if (i >= 0 && j >= 0) AddPair(structure, table, i, j);
  }
  for (const auto& [a, b] : rules.Freed()) {
    const int i = SiteOf(structure, a);
    const int j = SiteOf(structure, b);
    if (i >= 0 && j >= 0) RemovePair(table, i, j);
  }
  return table;
}

}  // namespace marvik

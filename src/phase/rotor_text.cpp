#include <algorithm>
#include <cmath>
#include <map>

#include "base/numbers.h"
#include "phase/rotors.h"

namespace marvik::phase {
namespace {

// Mean lengths of ordered groups, Å, between atoms that are bonded and those that share a neighbour.
struct PairLengths {
  int a, b;
  double bonded, across;
};
constexpr PairLengths kLengths[] = {{6, 6, 1.545, 2.53}, {6, 9, 1.335, 2.38}, {9, 9, 0.0, 2.16}};

// 0 for none.
double LengthOf(int a, int b, bool bonded) {
  for (const PairLengths& p : kLengths)
    if (p.a == std::min(a, b) && p.b == std::max(a, b)) return bonded ? p.bonded : p.across;
  return 0.0;
}

// Lines of at most 76 characters, each with the keyword.
std::string Lines(const std::string& keyword, const std::vector<std::string>& words) {
  std::string text, line = keyword;
  for (const std::string& word : words) {
    if (line.size() + word.size() > 75) text += line + "\n", line = keyword;
    line += " " + word;
  }
  return words.empty() ? "" : text + line + "\n";
}

}  // namespace

std::string RotorRestraints(const Structure& s) {
  std::string text;
  std::map<double, std::vector<const Site*>> groups;  // by their code
  for (const Site& site : s.sites)
    if (site.part != 0) groups[site.code[kRawOccupancy]].push_back(&site);
  const auto z = [&](const Site* site) { return s.scatterers[static_cast<size_t>(site->scatterer)].electrons; };
  const auto apart = [&](const Site* a, const Site* b) { return std::sqrt(s.metric.DistanceSquared(a->x, b->x)); };
  for (auto& [code, sites] : groups) {
    std::vector<std::string> names;
    for (const Site* site : sites) names.push_back(site->name);
    // The centre, where both orientations share it, then what holds it.
    const auto bonds = [&apart, &members = sites](const Site& other) {
      return std::ranges::count_if(members, [&](const Site* site) { return apart(site, &other) < 1.95; });
    };
    for (const Site& other : s.sites)
      if (other.part == 0 && bonds(other) > 2) sites.push_back(&other);
    const size_t own = sites.size();
    for (const Site& other : s.sites)
      if (other.part == 0 && bonds(other) > 0 && &other != sites.back()) sites.push_back(&other);
    std::map<double, std::vector<std::string>> lengths[2];
    std::map<std::string, std::vector<std::string>> held;
    for (size_t i = 0; i < own; ++i) {
      for (size_t j = i + 1; j < sites.size(); ++j) {
        const double d = apart(sites[i], sites[j]);
        const bool bonded = d < 1.75;
        const double length = LengthOf(z(sites[i]), z(sites[j]), bonded);
        const std::string pair = sites[i]->name + " " + sites[j]->name;
        if (!bonded && (d < 1.9 || d > 2.65)) continue;
        if (j < own && length > 0.0) lengths[bonded ? 0 : 1][length].push_back(pair);
        if (j >= own && !bonded) held[sites[j]->name + Printf("%d", z(sites[i]))].push_back(pair);
      }
    }
    for (const auto& [length, pairs] : lengths[0]) text += Lines(Printf("DFIX %.3f 0.02", length), pairs);
    for (const auto& [length, pairs] : lengths[1]) text += Lines(Printf("DANG %.3f 0.04", length), pairs);
    for (const auto& [name, pairs] : held)
      if (pairs.size() > 1) text += Lines("SADI 0.04", pairs);
    if (names.size() < 2) continue;
    for (const char* keyword : {"SIMU 0.04 0.08", "RIGU"}) {
      std::string list = keyword;
      for (size_t i = 0, last = 0; i < names.size(); ++i) {
        if (list.size() - last > 68) list += " =\n", last = list.size();
        list += " " + names[i];
      }
      text += list + "\n";
    }
  }
  return text;
}

std::string DescribeRotors(const Structure& s) {
  std::string text;
  for (size_t i = 0; i < s.freeVariables.size(); ++i) {
    const double code = 10.0 * static_cast<double>(i + 2) + 1.0;
    size_t members = 0;
    const Site* first = nullptr;
    for (const Site& site : s.sites) {
      if (site.code[kRawOccupancy] != code) continue;
      ++members;
      if (!first) first = &site;
    }
    if (first)
      text += Printf("%s %s of %zu %.2f", text.empty() ? "" : ",", first->name.c_str(), members, s.freeVariables[i]);
  }
  return text.empty() ? "" : "in two places, by first atom, number of atoms and share of the first:" + text;
}

}  // namespace marvik::phase

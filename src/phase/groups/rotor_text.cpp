#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>

#include "base/numbers.h"
#include "phase/groups/anions.h"
#include "phase/groups/rotors.h"

namespace marvik::phase {
namespace {

// Mean lengths of ordered groups, Å, between atoms that are bonded and those that share a neighbour.
struct PairLengths {
  int a, b;
  double bonded, across;
};
constexpr PairLengths kLengths[] = {{6, 6, 1.545, 2.53}, {6, 9, 1.335, 2.38}, {9, 9, 0.0, 2.16}};

// What stands on a ring of six, by its atomic number: its length and that to the ring atoms beside.
constexpr PairLengths kOnRing[] = {
    {6, 6, 1.506, 2.52}, {6, 9, 1.358, 2.36}, {6, 17, 1.735, 2.71}, {6, 35, 1.897, 2.86}};
constexpr double kStretched = 1.25;  // times a usual distance, that one at first may be
constexpr double kRingBond = 1.387, kRingAcross = 2.402;

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

// One line with all the names, cut where it grows long.
std::string LineOf(const std::string& keyword, const std::vector<std::string>& names) {
  std::string list = keyword;
  for (size_t i = 0, last = 0; i < names.size(); ++i) {
    if (list.size() - last > 68) list += " =\n", last = list.size();
    list += " " + names[i];
  }
  return list + "\n";
}

double Apart(const Structure& s, const Site* a, const Site* b) {
  return std::sqrt(s.metric.DistanceSquared(a->x, b->x));
}

// Those of the members that have two others beside them as in a ring.
std::vector<char> InRing(const Structure& s, const std::vector<const Site*>& members) {
  std::vector<char> inRing;
  for (const Site* site : members) {
    const auto beside = std::ranges::count_if(
        members, [&](const Site* other) { return other != site && Apart(s, site, other) < 1.56; });
    inRing.push_back(beside > 1);
  }
  return inRing;
}

// A flat ring of six and what stands on it.
std::string RingRestraints(const Structure& s, const std::vector<const Site*>& members,
                           const std::vector<char>& inRing) {
  std::map<double, std::vector<std::string>> lengths[2];
  for (size_t i = 0; i < members.size(); ++i) {
    for (size_t j = i + 1; j < members.size(); ++j) {
      const double d = Apart(s, members[i], members[j]);
      const bool bonded = d < 2.0;
      if (d > 3.0 || (!inRing[i] && !inRing[j])) continue;
      double length = bonded ? kRingBond : kRingAcross;
      if (inRing[i] && inRing[j] && d > 2.6) continue;
      if (inRing[i] != inRing[j]) {
        const int z = s.scatterers[static_cast<size_t>(members[inRing[i] ? j : i]->scatterer)].electrons;
        const auto end = std::ranges::find_if(kOnRing, [z](const PairLengths& p) { return p.b == z; });
        if (end == std::end(kOnRing)) continue;
        length = bonded ? end->bonded : end->across;
      }
      lengths[bonded ? 0 : 1][length].push_back(members[i]->name + " " + members[j]->name);
    }
  }
  std::string text;
  for (const auto& [length, pairs] : lengths[0]) text += Lines(Printf("DFIX %.3f 0.02", length), pairs);
  for (const auto& [length, pairs] : lengths[1]) text += Lines(Printf("DANG %.3f 0.04", length), pairs);
  std::vector<std::string> names;
  for (const Site* site : members) names.push_back(site->name);
  return text + LineOf("FLAT 0.02", names) + LineOf("SIMU 0.04 0.08", names);
}

// One orientation of an anion, which may share its middle with the other; "" when it is none.
std::string AnionRestraints(const Structure& s, const std::vector<const Site*>& members) {
  const auto z = [&s](const Site& site) { return s.scatterers[static_cast<size_t>(site.scatterer)].electrons; };
  for (const AnionKind& kind : AnionKinds()) {
    for (const Site& middle : s.sites) {
      if (z(middle) != kind.middle || (middle.part != 0 && middle.part != members[0]->part)) continue;
      std::vector<const Site*> ends;
      for (const Site* site : members)
        if (z(*site) == kind.end && Apart(s, site, &middle) < kStretched * kind.group.length) ends.push_back(site);
      if (ends.size() != kind.group.Ends()) continue;
      const double across = kind.group.length * (ends.size() == 4 ? std::sqrt(8.0 / 3.0) : std::numbers::sqrt2);
      std::vector<std::string> bonds, edges, names;
      for (size_t i = 0; i < ends.size(); ++i) {
        bonds.push_back(middle.name + " " + ends[i]->name);
        for (size_t j = i + 1; j < ends.size(); ++j)
          if (Apart(s, ends[i], ends[j]) < kStretched * across) edges.push_back(ends[i]->name + " " + ends[j]->name);
      }
      for (const Site* site : members) names.push_back(site->name);
      return Lines(Printf("DFIX %.3f 0.02", kind.group.length), bonds) +
             Lines(Printf("DANG %.3f 0.04", across), edges) + LineOf("SIMU 0.04 0.08", names) + LineOf("RIGU", names);
    }
  }
  return "";
}

}  // namespace

std::string RotorRestraints(const Structure& s) {
  std::string text;
  std::map<std::pair<double, int>, std::vector<const Site*>> groups;  // by free variable and part
  for (const Site& site : s.sites)
    if (site.part != 0) groups[{std::trunc(site.code[kRawOccupancy] / 10.0), site.part}].push_back(&site);
  const auto z = [&](const Site* site) { return s.scatterers[static_cast<size_t>(site->scatterer)].electrons; };
  const auto apart = [&s](const Site* a, const Site* b) { return Apart(s, a, b); };
  for (auto& [variable, sites] : groups) {
    if (const std::vector<char> ring = InRing(s, sites); std::ranges::count(ring, 1) >= 6) {
      text += RingRestraints(s, sites, ring);
      continue;
    }
    if (const std::string anion = AnionRestraints(s, sites); !anion.empty()) {
      text += anion;
      continue;
    }
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
    const auto share = [&apart, &members = sites](const Site* a, const Site* b) {
      return std::ranges::any_of(members, [&](const Site* site) {
        return site != a && site != b && apart(site, a) < 1.95 && apart(site, b) < 1.95;
      });
    };
    std::map<double, std::vector<std::string>> lengths[2];
    std::map<std::string, std::vector<std::string>> held;
    for (size_t i = 0; i < own; ++i) {
      for (size_t j = i + 1; j < sites.size(); ++j) {
        const double d = apart(sites[i], sites[j]);
        const bool bonded = d < 1.75;
        const double length = LengthOf(z(sites[i]), z(sites[j]), bonded);
        const std::string pair = sites[i]->name + " " + sites[j]->name;
        if (!bonded && (d < 1.9 || d > 2.65 || !share(sites[i], sites[j]))) continue;
        if (j < own && length > 0.0) lengths[bonded ? 0 : 1][length].push_back(pair);
        if (j >= own && !bonded) held[sites[j]->name + Printf("%d", z(sites[i]))].push_back(pair);
      }
    }
    for (const auto& [length, pairs] : lengths[0]) text += Lines(Printf("DFIX %.3f 0.02", length), pairs);
    for (const auto& [length, pairs] : lengths[1]) text += Lines(Printf("DANG %.3f 0.04", length), pairs);
    for (const auto& [name, pairs] : held)
      if (pairs.size() > 1) text += Lines("SADI 0.04", pairs);
    if (names.size() < 2) continue;
    text += LineOf("SIMU 0.04 0.08", names) + LineOf("RIGU", names);
  }
  return text;
}

std::string DescribeRotors(const Structure& s) {
  std::string text;
  for (size_t i = 0; i < s.freeVariables.size(); ++i) {
    const double code = 10.0 * static_cast<double>(i + 2);
    size_t members = 0;
    const Site* first = nullptr;
    for (const Site& site : s.sites) {
      if (site.code[kRawOccupancy] <= code || site.code[kRawOccupancy] > code + 1.0) continue;
      ++members;
      if (!first) first = &site;
    }
    if (first)
      text += Printf("%s %s of %zu %.2f", text.empty() ? "" : ",", first->name.c_str(), members, s.freeVariables[i]);
  }
  if (!text.empty()) text = "in two places, by first atom, number of atoms and share of the first:" + text;
  std::map<int, std::vector<const Site*>> special;  // by part
  for (const Site& site : s.sites)
    if (site.part < 0) special[site.part].push_back(&site);
  std::string others;
  for (const auto& [part, sites] : special)
    others += Printf("%s %s of %zu", others.empty() ? "" : ",", sites[0]->name.c_str(), sites.size());
  if (others.empty()) return text;
  return text + (text.empty() ? "" : "; ") + "on an element of symmetry and so in two places:" + others;
}

}  // namespace marvik::phase

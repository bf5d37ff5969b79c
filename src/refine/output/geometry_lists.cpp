#include "refine/output/geometry_lists.h"

#include <algorithm>
#include <cmath>

namespace marvik {
namespace {

constexpr double kSmallestAngle = 110.0;  // D-H...A, degrees

const Site& SiteAt(const Session& s, int site) {
  return s.structure.sites[static_cast<size_t>(site)];
}

const std::vector<Neighbour>& BondsAt(const Session& s, int site) {
  return s.bonds[static_cast<size_t>(site)];
}

bool IsHydrogen(const Session& s, int site) {
  return SiteAt(s, site).hydrogen;
}

SiteImage Plain(const Session& s, int site) {
  return ImageOf(s.structure, Neighbour{site, 0, {}, 0.0});
}

// Of an atom bonded to an image.
SiteImage Beyond(const Session& s, const SiteImage& image, const Neighbour& n) {
  SiteImage there = ImageOf(s.structure, n);
  there.operation = image.operation * there.operation;
  there.moved = there.operation != SymmetryOperator{};
  return there;
}

bool IsAcceptor(const Session& s, int site) {
  const int z = s.structure.scatterers[static_cast<size_t>(SiteAt(s, site).scatterer)].electrons;
  return z == 7 || z == 8 || z == 9 || z == 16 || z == 17 || z == 35 || z == 53;
}

// Whether the operation of an image is one of the site's own: its bond is then the one without any, seen again.
bool IsLeftAlone(const Session& s, int site, const Neighbour& n) {
  const Fractional& x = SiteAt(s, site).x;
  return s.structure.metric.DistanceSquared(ImageOf(s.structure, n).operation.Apply(x), x) < 1e-4;
}

// By place, since on a special position several operations are one.
bool IsSame(const Session& s, const SiteImage& a, const SiteImage& b) {
  if (a.site != b.site) return false;
  const Fractional& x = SiteAt(s, a.site).x;
  return s.structure.metric.DistanceSquared(a.operation.Apply(x), b.operation.Apply(x)) < 1e-3;
}

void TorsionsAbout(const Session& s, const Geometry& geometry, int site, const Neighbour& bond, double widest,
                   std::vector<FourAtoms>& found) {
  const SiteImage second = Plain(s, site);
  const SiteImage third = ImageOf(s.structure, bond);
  const auto isOpen = [&](const std::vector<SiteImage>& three) { return geometry.Measure(three).value < widest; };
  std::vector<SiteImage> ends;
  for (const Neighbour& d : BondsAt(s, bond.site)) {
    const SiteImage fourth = Beyond(s, third, d);
    if (!IsHydrogen(s, d.site) && !IsSame(s, fourth, second) && isOpen({second, third, fourth})) ends.push_back(fourth);
  }
  for (const Neighbour& a : BondsAt(s, site)) {
    const SiteImage first = ImageOf(s.structure, a);
    if (IsHydrogen(s, a.site) || IsSame(s, first, third) || !isOpen({first, second, third})) continue;
    for (const SiteImage& fourth : ends) {
      if (!IsSame(s, fourth, first) && PartsMeet(SiteAt(s, first.site), SiteAt(s, fourth.site), true))
        found.push_back({first, second, third, fourth});
    }
  }
}

void SearchHydrogenBonds(const Session& s, const Geometry& geometry, double reach,
                         std::vector<HydrogenBondSites>& found) {
  const NeighbourTable near = ImagesWithin(s.structure, 1.4 + reach);
  for (size_t h = 0; h < near.size(); ++h) {
    const auto& bonded = s.bonds[h];
    if (!IsHydrogen(s, static_cast<int>(h)) || bonded.empty() || !IsAcceptor(s, bonded[0].site)) continue;
    const SiteImage donor = ImageOf(s.structure, bonded[0]);
    const SiteImage hydrogen = Plain(s, static_cast<int>(h));
    for (const Neighbour& n : near[h]) {
      const Site& site = SiteAt(s, n.site);
      const double radius = s.structure.scatterers[static_cast<size_t>(site.scatterer)].radius;
      const bool same = n.site == donor.site && n.operation == bonded[0].operation && n.cell == bonded[0].cell;
      if (same || !IsAcceptor(s, n.site) || n.distance > radius + reach) continue;
      if (!PartsMeet(s.structure.sites[h], site, n.IsIdentity())) continue;
      const SiteImage acceptor = ImageOf(s.structure, n);
      if (geometry.Measure({donor, hydrogen, acceptor}).value < kSmallestAngle) continue;
      found.push_back({donor, hydrogen, acceptor});
    }
  }
}

}  // namespace

bool IsListedBond(const Session& s, int site, const Neighbour& n) {
  return s.job.bondHydrogens || (!IsHydrogen(s, site) && !IsHydrogen(s, n.site));
}

bool IsRepeatedBond(const Session& s, int site, const Neighbour& n) {
  return n.site < site && IsLeftAlone(s, site, n);
}

std::vector<BondAngle> AnglesOf(const Session& s) {
  std::vector<BondAngle> angles;
  for (size_t b = 0; b < s.bonds.size(); ++b) {
    const auto& list = s.bonds[b];
    for (size_t j = 1; j < list.size(); ++j) {
      for (size_t i = 0; i < j; ++i) {
        if (!IsListedBond(s, static_cast<int>(b), list[i]) || !IsListedBond(s, static_cast<int>(b), list[j])) continue;
        const int first = SiteAt(s, list[i].site).part;
        const int second = SiteAt(s, list[j].site).part;
        if (first * second == 0 || first == second) angles.push_back({static_cast<int>(b), list[i], list[j]});
      }
    }
  }
  return angles;
}

std::vector<FourAtoms> TorsionsOf(const Session& s, const Geometry& geometry) {
  std::vector<FourAtoms> found;
  for (const Instruction& command : s.job.commands) {
    if (command.name != "CONF") continue;
    if (!command.words.empty()) {
      for (const int residue : ResiduesOf(s.structure, command)) {
        const auto images = ResolveAtoms(s.structure, command, s.job.commands, command.words, residue).images;
        if (images.size() == 4) found.push_back({images[0], images[1], images[2], images[3]});
      }
      continue;
    }
    const auto& n = command.numbers;
    const double longest = !n.empty() && n[0] > 0.0 ? n[0] : 1.9;
    const double widest = n.size() > 1 ? n[1] : 170.0;
    for (int b = 0; b < static_cast<int>(s.bonds.size()); ++b) {
      if (IsHydrogen(s, b)) continue;
      for (const Neighbour& c : BondsAt(s, b)) {
        if (c.site < b || (c.site == b && c.IsIdentity()) || c.distance > longest || IsHydrogen(s, c.site)) continue;
        if (c.site > b && !c.IsIdentity() && IsLeftAlone(s, b, c)) continue;
        TorsionsAbout(s, geometry, b, c, widest, found);
      }
    }
  }
  return found;
}

std::vector<HydrogenBondSites> HydrogenBondsOf(const Session& s, const Geometry& geometry) {
  std::vector<HydrogenBondSites> found;
  for (const Instruction& command : s.job.commands) {
    if (command.name != "HTAB") continue;
    if (command.words.size() < 2) {
      SearchHydrogenBonds(s, geometry, command.numbers.empty() ? 2.0 : command.numbers[0], found);
      continue;
    }
    const ResolvedNames resolved = ResolveAtoms(s.structure, command, s.job.commands, command.words);
    if (resolved.images.size() < 2) continue;
    const SiteImage& donor = resolved.images[0];
    const SiteImage& acceptor = resolved.images[1];
    double best = kSmallestAngle;
    const Neighbour* widest = nullptr;
    for (const Neighbour& h : BondsAt(s, donor.site)) {
      if (!IsHydrogen(s, h.site)) continue;
      const double angle = geometry.Measure({donor, Beyond(s, donor, h), acceptor}).value;
      if (angle > best) best = angle, widest = &h;
    }
    if (widest) found.push_back({donor, Beyond(s, donor, *widest), acceptor});
  }
  // A search finds what is asked for by name as well.
  std::vector<HydrogenBondSites> once;
  for (const HydrogenBondSites& bond : found) {
    const bool known = std::ranges::any_of(once, [&](const HydrogenBondSites& o) {
      return IsSame(s, o.donor, bond.donor) && IsSame(s, o.hydrogen, bond.hydrogen) &&
             IsSame(s, o.acceptor, bond.acceptor);
    });
    if (!known) once.push_back(bond);
  }
  return once;
}

}  // namespace marvik

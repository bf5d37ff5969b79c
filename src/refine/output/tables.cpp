#include "refine/output/tables.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "base/numbers.h"
#include "crystal/symmetry.h"

namespace marvik {
namespace {

const std::string& LabelOf(const Session& s, int site) {
  return s.structure.sites[static_cast<size_t>(site)].label;
}

std::string OperationLegend(const OperationNames& names) {
  std::string out;
  for (size_t i = 0; i < names.Operations().size(); ++i) {
    AppendPrintf(out, "   $%zu  %s\n", i + 1, OperatorText(names.Operations()[i]).c_str());
  }
  return out;
}

bool IsHydrogen(const Session& s, int site) {
  return s.structure.sites[static_cast<size_t>(site)].hydrogen;
}

std::string HydrogenBondLine(const Session& s, const Geometry& geometry, OperationNames& names, const SiteImage& donor,
                             const SiteImage& hydrogen, const SiteImage& acceptor) {
  const auto text = [&](const std::vector<SiteImage>& images, int digits) {
    return WithSu(geometry.Measure(images), digits);
  };
  return Printf(" %-6s-%-6s...%-10s %10s %10s %10s %10s\n", LabelOf(s, donor.site).c_str(),
                LabelOf(s, hydrogen.site).c_str(), (LabelOf(s, acceptor.site) + names.Suffix(acceptor)).c_str(),
                text({donor, hydrogen}, 2).c_str(), text({hydrogen, acceptor}, 2).c_str(),
                text({donor, acceptor}, 3).c_str(), text({donor, hydrogen, acceptor}, 1).c_str());
}

bool IsAcceptor(const Session& s, int site) {
  const int z =
      s.structure.scatterers[static_cast<size_t>(s.structure.sites[static_cast<size_t>(site)].scatterer)].electrons;
  return z == 7 || z == 8 || z == 9 || z == 16 || z == 17 || z == 35 || z == 53;
}

// Every D-H...A with H...A shorter than the acceptor's radius + 2 Å and an angle above 110°.
void SearchHydrogenBonds(const Session& s, const Geometry& geometry, OperationNames& names, std::string& out) {
  const NeighbourTable near = ImagesWithin(s.structure, 3.4);
  for (size_t h = 0; h < near.size(); ++h) {
    const auto& bonded = s.bonds[h];
    if (!IsHydrogen(s, static_cast<int>(h)) || bonded.empty() || !IsAcceptor(s, bonded[0].site)) continue;
    const SiteImage donor = ImageOf(s.structure, bonded[0]);
    const SiteImage hydrogen = ImageOf(s.structure, Neighbour{static_cast<int>(h), 0, {}, 0.0});
    for (const Neighbour& n : near[h]) {
      const Site& site = s.structure.sites[static_cast<size_t>(n.site)];
      const double radius = s.structure.scatterers[static_cast<size_t>(site.scatterer)].radius;
      const bool same = n.site == donor.site && n.operation == bonded[0].operation && n.cell == bonded[0].cell;
      if (same || !IsAcceptor(s, n.site) || n.distance > radius + 2.0) continue;
      if (!PartsMeet(s.structure.sites[h], site, n.IsIdentity())) continue;
      const SiteImage acceptor = ImageOf(s.structure, n);
      if (geometry.Measure({donor, hydrogen, acceptor}).value < 110.0) continue;
      out += HydrogenBondLine(s, geometry, names, donor, hydrogen, acceptor);
    }
  }
}

}  // namespace

bool IsListedBond(const Session& s, int site, const Neighbour& n) {
  return s.job.bondHydrogens || (!IsHydrogen(s, site) && !IsHydrogen(s, n.site));
}

std::vector<BondAngle> AnglesOf(const Session& s) {
  std::vector<BondAngle> angles;
  for (size_t b = 0; b < s.bonds.size(); ++b) {
    const auto& list = s.bonds[b];
    for (size_t i = 0; i < list.size(); ++i) {
      for (size_t j = i + 1; j < list.size(); ++j) {
        if (!IsListedBond(s, static_cast<int>(b), list[i]) || !IsListedBond(s, static_cast<int>(b), list[j])) continue;
        const Site& first = s.structure.sites[static_cast<size_t>(list[i].site)];
        const Site& second = s.structure.sites[static_cast<size_t>(list[j].site)];
        if (first.part * second.part != 0 && first.part != second.part) continue;
        angles.push_back({static_cast<int>(b), list[i], list[j]});
      }
    }
  }
  return angles;
}

std::string BondTable(const Session& s, const Geometry& geometry) {
  std::string out = "\n Bond lengths (A) and angles (degrees)\n";
  OperationNames names;
  const std::vector<BondAngle> angles = AnglesOf(s);
  size_t next = 0;
  for (size_t a = 0; a < s.bonds.size(); ++a) {
    const SiteImage self = ImageOf(s.structure, Neighbour{static_cast<int>(a), 0, {}, 0.0});
    for (const Neighbour& n : s.bonds[a]) {
      if (!IsListedBond(s, static_cast<int>(a), n)) continue;
      const SiteImage other = ImageOf(s.structure, n);
      AppendPrintf(out, " %-8s - %-12s %12s\n", LabelOf(s, static_cast<int>(a)).c_str(),
                   (LabelOf(s, n.site) + names.Suffix(other)).c_str(),
                   WithSu(geometry.Measure({self, other}), 4).c_str());
    }
    for (; next < angles.size() && angles[next].middle == static_cast<int>(a); ++next) {
      const SiteImage first = ImageOf(s.structure, angles[next].first);
      const SiteImage second = ImageOf(s.structure, angles[next].second);
      AppendPrintf(out, "   %-10s - %-8s - %-10s %12s\n", (LabelOf(s, first.site) + names.Suffix(first)).c_str(),
                   LabelOf(s, static_cast<int>(a)).c_str(), (LabelOf(s, second.site) + names.Suffix(second)).c_str(),
                   WithSu(geometry.Measure({first, self, second}), 2).c_str());
    }
  }
  return out + OperationLegend(names);
}

std::string TorsionTable(const Session& s, const Geometry& geometry) {
  std::string out = "\n Torsion angles (degrees)\n";
  OperationNames names;
  for (size_t b = 0; b < s.bonds.size(); ++b) {
    const SiteImage second = ImageOf(s.structure, Neighbour{static_cast<int>(b), 0, {}, 0.0});
    for (const Neighbour& c : s.bonds[b]) {
      if (!c.IsIdentity() || c.site <= static_cast<int>(b) || IsHydrogen(s, static_cast<int>(b)) ||
          IsHydrogen(s, c.site))
        continue;
      for (const Neighbour& a : s.bonds[b]) {
        for (const Neighbour& d : s.bonds[static_cast<size_t>(c.site)]) {
          if (IsHydrogen(s, a.site) || IsHydrogen(s, d.site)) continue;
          if ((a.site == c.site && a.IsIdentity()) || (d.site == static_cast<int>(b) && d.IsIdentity())) continue;
          if (!PartsMeet(s.structure.sites[static_cast<size_t>(a.site)], s.structure.sites[static_cast<size_t>(d.site)],
                         true))
            continue;
          const SiteImage first = ImageOf(s.structure, a);
          const SiteImage third = ImageOf(s.structure, c);
          const SiteImage fourth = ImageOf(s.structure, d);
          AppendPrintf(out, " %-8s - %-6s - %-6s - %-8s %12s\n", (LabelOf(s, a.site) + names.Suffix(first)).c_str(),
                       LabelOf(s, static_cast<int>(b)).c_str(), LabelOf(s, c.site).c_str(),
                       (LabelOf(s, d.site) + names.Suffix(fourth)).c_str(),
                       WithSu(geometry.Measure({first, second, third, fourth}), 1).c_str());
        }
      }
    }
  }
  return out + OperationLegend(names);
}

std::string HydrogenBondTable(const Session& s, const Geometry& geometry) {
  std::string out = "\n Hydrogen bonds:           D-H, H...A, D...A (A), D-H...A (degrees)\n";
  OperationNames names;
  for (const Command& command : s.job.commands) {
    if (command.name != "HTAB") continue;
    if (command.words.size() < 2) {
      SearchHydrogenBonds(s, geometry, names, out);
      continue;
    }
    const ResolvedNames resolved = ResolveAtoms(s.structure, command, s.job.commands, command.words);
    if (resolved.images.size() < 2) continue;
    const SiteImage& donor = resolved.images[0];
    const SiteImage& acceptor = resolved.images[1];
    double best = 110.0;
    std::string line;
    for (const Neighbour& h : s.bonds[static_cast<size_t>(donor.site)]) {
      if (!IsHydrogen(s, h.site)) continue;
      const SiteImage hydrogen = ImageOf(s.structure, h);
      const double angle = geometry.Measure({donor, hydrogen, acceptor}).value;
      if (angle < best) continue;
      best = angle;
      line = HydrogenBondLine(s, geometry, names, donor, hydrogen, acceptor);
    }
    out += line;
  }
  return out + OperationLegend(names);
}

std::string PlaneTable(const Session& s) {
  std::string out;
  Cartesian last;
  bool haveLast = false;
  for (const Command& command : s.job.commands) {
    if (command.name != "MPLA") continue;
    const ResolvedNames resolved = ResolveAtoms(s.structure, command, s.job.commands, command.words);
    size_t defining = resolved.images.size();
    if (!command.numbers.empty()) defining = std::min(defining, static_cast<size_t>(std::max(0.0, command.numbers[0])));
    if (defining < 3) continue;
    std::vector<Cartesian> places;
    for (const SiteImage& i : resolved.images) {
      const Fractional& x = s.structure.sites[static_cast<size_t>(i.site)].x;
      places.push_back(s.structure.metric.ToCartesian(i.moved ? i.operation.Apply(x) : x));
    }
    Cartesian centre;
    for (size_t i = 0; i < defining; ++i) centre += places[i] / static_cast<double>(defining);
    Mat3 scatter;
    for (size_t n = 0; n < defining; ++n) {
      const Cartesian d = places[n] - centre;
      for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) scatter[i][static_cast<size_t>(j)] += d[i] * d[j];
      }
    }
    const Eigen3 axes = SymmetricEigen(scatter);
    const auto normal = axes.Vector<CartesianSpace>(0);
    AppendPrintf(out, "\n Least-squares plane through %zu atoms: deviations (A), * defining atoms\n", defining);
    for (size_t i = 0; i < places.size(); ++i) {
      AppendPrintf(out, " %s %-8s %8.4f\n", i < defining ? "*" : " ", LabelOf(s, resolved.images[i].site).c_str(),
                   Dot(places[i] - centre, normal));
    }
    AppendPrintf(out, " Root mean square deviation %.4f\n", std::sqrt(axes.values[0] / static_cast<double>(defining)));
    if (haveLast) {
      const double c = std::min(1.0, std::fabs(Dot(normal, last)));
      AppendPrintf(out, " Angle to the previous plane %.2f degrees\n", std::acos(c) * kDegreesPerRadian);
    }
    last = normal;
    haveLast = true;
  }
  return out;
}

std::string RequestedTable(const Session& s, const Geometry& geometry) {
  std::string out;
  for (const Command& command : s.job.commands) {
    if (command.name != "RTAB" || command.all.size() < 3) continue;
    const std::vector<std::string> atoms(command.all.begin() + 1, command.all.end());
    for (const int residue : ResiduesOf(s.structure, command)) {
      const ResolvedNames resolved = ResolveAtoms(s.structure, command, s.job.commands, atoms, residue);
      if (!resolved.missing.empty() || resolved.images.size() < 2 || resolved.images.size() > 4) continue;
      std::string names;
      for (const std::string& atom : atoms) names += (names.empty() ? "" : " - ") + atom;
      AppendPrintf(out, " %-8s %12s  %s\n", command.all[0].c_str(),
                   WithSu(geometry.Measure(resolved.images), 4).c_str(), names.c_str());
    }
  }
  return out.empty() ? out : "\n Requested quantities (A, degrees)\n" + out;
}

std::string FriedelSentence(double factor) {
  return Printf(
      " Friedel opposites are refined against separately but not counted as independent: all uncertainties are"
      "\n multiplied by %.3f, the square root of the number of data for each that is unique in the Laue group",
      std::sqrt(factor));
}

}  // namespace marvik

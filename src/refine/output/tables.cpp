#include "refine/output/tables.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "base/numbers.h"
#include "crystal/symmetry.h"
#include "refine/output/geometry_lists.h"

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

}  // namespace

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
  const auto name = [&](const SiteImage& image) { return LabelOf(s, image.site) + names.Suffix(image); };
  for (const FourAtoms& t : TorsionsOf(s, geometry)) {
    AppendPrintf(out, " %-8s - %-6s - %-6s - %-8s %12s\n", name(t[0]).c_str(), name(t[1]).c_str(), name(t[2]).c_str(),
                 name(t[3]).c_str(), WithSu(geometry.Measure({t[0], t[1], t[2], t[3]}), 1).c_str());
  }
  return out + OperationLegend(names);
}

std::string HydrogenBondTable(const Session& s, const Geometry& geometry) {
  std::string out = "\n Hydrogen bonds:           D-H, H...A, D...A (A), D-H...A (degrees)\n";
  OperationNames names;
  for (const HydrogenBondSites& bond : HydrogenBondsOf(s, geometry)) {
    out += HydrogenBondLine(s, geometry, names, bond.donor, bond.hydrogen, bond.acceptor);
  }
  return out + OperationLegend(names);
}

std::string PlaneTable(const Session& s) {
  std::string out;
  Cartesian last;
  bool haveLast = false;
  for (const Instruction& command : s.job.commands) {
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

std::vector<RequestedQuantity> RequestedQuantities(const Session& s) {
  std::vector<RequestedQuantity> quantities;
  for (const Instruction& command : s.job.commands) {
    if (command.name != "RTAB" || command.all.size() < 3) continue;
    const std::vector<std::string> atoms(command.all.begin() + 1, command.all.end());
    for (const int residue : ResiduesOf(s.structure, command)) {
      ResolvedNames resolved = ResolveAtoms(s.structure, command, s.job.commands, atoms, residue);
      if (!resolved.missing.empty() || resolved.images.size() < 2 || resolved.images.size() > 4) continue;
      std::string names;
      for (const std::string& atom : atoms) names += (names.empty() ? "" : " - ") + atom;
      quantities.push_back({command.all[0], names, std::move(resolved.images)});
    }
  }
  return quantities;
}

std::string RequestedTable(const Session& s, const Geometry& geometry) {
  std::string out;
  for (const RequestedQuantity& one : RequestedQuantities(s))
    AppendPrintf(out, " %-8s %12s  %s\n", one.kind.c_str(), WithSu(geometry.Measure(one.images), 4).c_str(),
                 one.names.c_str());
  return out.empty() ? out : "\n Requested quantities (A, degrees)\n" + out;
}

std::string FriedelSentence(double factor) {
  return Printf(
      " Friedel opposites are refined against separately but not counted as independent: all uncertainties are"
      "\n multiplied by %.3f, the square root of the number of data for each that is unique in the Laue group",
      std::sqrt(factor));
}

}  // namespace marvik

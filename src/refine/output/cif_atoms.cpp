#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>

#include "base/numbers.h"
#include "crystal/site_symmetry.h"
#include "language/tokenizer.h"
#include "refine/output/cif_sections.h"

namespace marvik {
namespace {

constexpr double kSiteTolerance = 0.1;  // Å

// What is restrained of a site.
struct Held {
  bool position = false;
  bool displacement = false;
};

std::vector<Held> RestrainedSites(const Session& s) {
  std::vector<Held> held(s.structure.sites.size());
  std::vector<RestraintEquation> equations;
  for (const auto& restraint : s.restraints) {
    equations.clear();
    restraint->Evaluate(s.structure, equations);
    const std::string keyword = UpperCase(restraint->text.substr(0, 4));
    const bool displacement = keyword == "SIMU" || keyword == "RIGU" || keyword == "DELU" || keyword == "ISOR";
    for (const RestraintEquation& e : equations) {
      for (const int site : e.atoms) {
        Held& h = held[static_cast<size_t>(site)];
        (displacement ? h.displacement : h.position) = true;
      }
    }
  }
  for (const auto& set : s.job.parameters.sameDisplacements) {
    for (const int site : set) held[static_cast<size_t>(site)].displacement = true;
  }
  return held;
}

bool IsInRigidGroup(const Session& s, int site) {
  return std::any_of(s.rigid.begin(), s.rigid.end(), [&](const RigidGroup& g) {
    return std::find(g.members.begin(), g.members.end(), site) != g.members.end();
  });
}

// The letters of the core dictionary: D distances or angles restrained, G rigid group, R riding, S special position;
// T displacement bound by the site, U restrained or tied; P occupancy that is not simply refined as one.
struct Flags {
  std::string position;
  std::string displacement;
  std::string occupancy;
};

Flags FlagsOf(const Session& s, int at, const Held& held, bool special) {
  const Site& site = s.structure.sites[static_cast<size_t>(at)];
  const bool rides = IsRidingCode(site.afix);
  Flags f;
  if (held.position && !rides) f.position += 'D';
  if (!rides && IsInRigidGroup(s, at)) f.position += 'G';
  if (rides) f.position += 'R';
  if (special && site.part >= 0) f.position += 'S';
  if (special && site.part >= 0 && site.anisotropic) f.displacement += 'T';
  const double code = site.code[kRawU];
  const bool tied = !site.anisotropic && (IsRidingU(code) || code >= 5.0);
  if (held.displacement || tied) f.displacement += 'U';
  if (site.code[kRawOccupancy] != 11.0) f.occupancy = "P";
  for (std::string* text : {&f.position, &f.displacement, &f.occupancy}) {
    if (text->empty()) *text = ".";
  }
  return f;
}

int Root(std::vector<int>& parent, int i) {
  while (parent[static_cast<size_t>(i)] != i) i = parent[static_cast<size_t>(i)];
  return i;
}

}  // namespace

std::vector<std::string> AssembliesOf(const Session& s) {
  const auto& sites = s.structure.sites;
  std::vector<int> parent(sites.size());
  std::iota(parent.begin(), parent.end(), 0);
  const auto join = [&](int a, int b) {
    a = Root(parent, a);
    b = Root(parent, b);
    parent[static_cast<size_t>(std::max(a, b))] = std::min(a, b);
  };
  std::map<int, int> byVariable;
  for (size_t i = 0; i < sites.size(); ++i) {
    const int at = static_cast<int>(i);
    if (sites[i].part == 0) continue;
    const int variable = std::abs(SplitCodedValue(sites[i].code[kRawOccupancy]).variable);
    if (variable > 1) join(at, byVariable.emplace(variable, at).first->second);
    for (const Neighbour& n : s.bonds[i]) {
      if (sites[static_cast<size_t>(n.site)].part != 0) join(at, n.site);
    }
  }
  // Parts of one atom that are near each other without a bond.
  const NeighbourTable near = ImagesWithin(s.structure, 1.2);
  for (size_t i = 0; i < sites.size(); ++i) {
    if (sites[i].part == 0) continue;
    for (const Neighbour& n : near[i]) {
      if (sites[static_cast<size_t>(n.site)].part != 0) join(static_cast<int>(i), n.site);
    }
  }
  std::vector<std::string> names(sites.size(), ".");
  std::map<int, std::string> letters;
  for (size_t i = 0; i < sites.size(); ++i) {
    if (sites[i].part == 0) continue;
    const size_t n = letters.size();
    std::string next(1, static_cast<char>('A' + n % 26));
    if (n >= 26) next += std::to_string(n / 26);
    names[i] = letters.emplace(Root(parent, static_cast<int>(i)), next).first->second;
  }
  return names;
}

void WriteAtoms(const Session& s, const Geometry& geometry, CifWriter& cif) {
  cif.Loop({"_atom_site_label", "_atom_site_type_symbol", "_atom_site_fract_x", "_atom_site_fract_y",
            "_atom_site_fract_z", "_atom_site_U_iso_or_equiv", "_atom_site_adp_type", "_atom_site_occupancy",
            "_atom_site_site_symmetry_order", "_atom_site_calc_flag", "_atom_site_refinement_flags_posn",
            "_atom_site_refinement_flags_adp", "_atom_site_refinement_flags_occupancy", "_atom_site_disorder_assembly",
            "_atom_site_disorder_group"});
  const std::vector<Held> held = RestrainedSites(s);
  const std::vector<std::string> assemblies = AssembliesOf(s);
  for (size_t i = 0; i < s.structure.sites.size(); ++i) {
    const Site& site = s.structure.sites[i];
    const int at = static_cast<int>(i);
    const size_t onSite = SiteOperations(s.structure.group.all, s.structure.metric, site.x, kSiteTolerance).size();
    const int order = site.part < 0 ? 1 : static_cast<int>(onSite);
    // The file's factor holds the multiplicity of the site; the one of the CIF does not.
    Measured occupancy = geometry.Raw(at, kRawOccupancy);
    occupancy.value *= order;
    occupancy.su *= order;
    const bool calculated = IsRidingCode(site.afix);
    const Flags flags = FlagsOf(s, at, held[i], order > 1);
    std::vector<std::string> row{site.label, s.structure.scatterers[static_cast<size_t>(site.scatterer)].symbol};
    for (int k = 0; k < 3; ++k) row.push_back(calculated ? Printf("%.6f", site.x[k]) : WithSu(geometry.Raw(at, k), 6));
    const Measured u = geometry.Ueq(at);
    row.push_back(WithSu(u, site.anisotropic ? 5 : 3));
    row.emplace_back(site.anisotropic ? "Uani" : "Uiso");
    row.push_back(occupancy.su > 0.0 ? WithSu(occupancy, 4) : Shortest(occupancy.value, 4));
    row.push_back(Printf("%d", order));
    row.emplace_back(calculated ? "calc" : "d");
    row.insert(row.end(), {flags.position, flags.displacement, flags.occupancy, assemblies[i],
                           site.part == 0 ? "." : Printf("%d", site.part)});
    cif.Row(row);
  }
  cif.Loop({"_atom_site_aniso_label", "_atom_site_aniso_U_11", "_atom_site_aniso_U_22", "_atom_site_aniso_U_33",
            "_atom_site_aniso_U_23", "_atom_site_aniso_U_13", "_atom_site_aniso_U_12"});
  for (size_t i = 0; i < s.structure.sites.size(); ++i) {
    if (!s.structure.sites[i].anisotropic) continue;
    std::vector<std::string> row{s.structure.sites[i].label};
    for (int k = 0; k < 6; ++k) {
      const Measured u = geometry.Raw(static_cast<int>(i), kRawU + k);
      row.push_back(WithSu(u, u.value == 0.0 ? 3 : 5));
    }
    cif.Row(row);
  }
}

}  // namespace marvik

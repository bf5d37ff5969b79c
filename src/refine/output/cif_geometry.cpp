#include <algorithm>
#include <map>

#include "base/numbers.h"
#include "refine/output/cif_sections.h"
#include "refine/output/geometry_lists.h"
#include "refine/output/tables.h"

namespace marvik {
namespace {

// The columns of a loop.
class Rows {
 public:
  Rows(const Session& s, const Geometry& geometry) : s_(s), geometry_(geometry) {
    for (const RequestedQuantity& one : RequestedQuantities(s)) requested_[KeyOf(one.images)] = one.images;
  }

  std::string Label(const SiteImage& image) const { return s_.structure.sites[static_cast<size_t>(image.site)].label; }
  std::string Code(const SiteImage& image) const { return SymmetryCode(s_.structure.group, image); }
  // The geometry of a hydrogen that rides is not refined and has no uncertainty.
  std::string Value(const std::vector<SiteImage>& images, int decimals) const {
    Measured m = geometry_.Measure(images);
    for (const SiteImage& image : images) {
      if (IsRidingCode(s_.structure.sites[static_cast<size_t>(image.site)].afix)) m.su = 0.0;
    }
    return WithSu(m, decimals);
  }
  // "yes" for what an RTAB line asks for, which is then no longer among those that are left.
  std::string Flag(const std::vector<SiteImage>& images) {
    return requested_.erase(KeyOf(images)) + requested_.erase(KeyOf({images.rbegin(), images.rend()})) > 0 ? "yes"
                                                                                                           : "?";
  }
  // What is asked for of so many atoms and has had no row.
  std::vector<std::vector<SiteImage>> Left(size_t atoms) const {
    std::vector<std::vector<SiteImage>> left;
    for (const auto& [key, images] : requested_)
      if (images.size() == atoms) left.push_back(images);
    return left;
  }
  SiteImage Plain(int site) const { return ImageOf(s_.structure, Neighbour{site, 0, {}, 0.0}); }

 private:
  std::string KeyOf(const std::vector<SiteImage>& images) const {
    std::string key;
    for (const SiteImage& image : images) key += Label(image) + " " + Code(image) + " ";
    return key;
  }

  const Session& s_;
  const Geometry& geometry_;
  std::map<std::string, std::vector<SiteImage>> requested_;  // by labels and codes
};

void WriteBonds(const Session& s, Rows& rows, CifWriter& cif) {
  cif.Loop({"_geom_bond_atom_site_label_1", "_geom_bond_atom_site_label_2", "_geom_bond_distance",
            "_geom_bond_site_symmetry_2", "_geom_bond_publ_flag"});
  for (int a = 0; a < static_cast<int>(s.bonds.size()); ++a) {
    for (const Neighbour& n : s.bonds[static_cast<size_t>(a)]) {
      if (!IsListedBond(s, a, n) || IsRepeatedBond(s, a, n)) continue;
      const SiteImage self = rows.Plain(a);
      const SiteImage other = ImageOf(s.structure, n);
      cif.Row({rows.Label(self), rows.Label(other), rows.Value({self, other}, 4), rows.Code(other),
               rows.Flag({self, other})});
    }
  }
}

// Distances that are asked for and are no bonds.
void WriteContacts(const Rows& rows, CifWriter& cif) {
  cif.Loop({"_geom_contact_atom_site_label_1", "_geom_contact_atom_site_label_2", "_geom_contact_distance",
            "_geom_contact_site_symmetry_1", "_geom_contact_site_symmetry_2", "_geom_contact_publ_flag"});
  for (const std::vector<SiteImage>& pair : rows.Left(2))
    cif.Row(
        {rows.Label(pair[0]), rows.Label(pair[1]), rows.Value(pair, 4), rows.Code(pair[0]), rows.Code(pair[1]), "yes"});
}

void WriteAngles(const Session& s, Rows& rows, CifWriter& cif) {
  cif.Loop({"_geom_angle_atom_site_label_1", "_geom_angle_atom_site_label_2", "_geom_angle_atom_site_label_3",
            "_geom_angle", "_geom_angle_site_symmetry_1", "_geom_angle_site_symmetry_3", "_geom_angle_publ_flag"});
  const auto add = [&](const std::vector<SiteImage>& atoms, const std::string& flag) {
    cif.Row({rows.Label(atoms[0]), rows.Label(atoms[1]), rows.Label(atoms[2]), rows.Value(atoms, 1),
             rows.Code(atoms[0]), rows.Code(atoms[2]), flag});
  };
  for (const BondAngle& angle : AnglesOf(s)) {
    const std::vector<SiteImage> atoms{ImageOf(s.structure, angle.first), rows.Plain(angle.middle),
                                       ImageOf(s.structure, angle.second)};
    add(atoms, rows.Flag(atoms));
  }
  // The loop has no place for the symmetry of the middle.
  for (const std::vector<SiteImage>& atoms : rows.Left(3))
    if (!atoms[1].moved) add(atoms, "yes");
}

void WriteTorsions(const std::vector<FourAtoms>& torsions, Rows& rows, CifWriter& cif) {
  cif.Loop({"_geom_torsion_atom_site_label_1", "_geom_torsion_atom_site_label_2", "_geom_torsion_atom_site_label_3",
            "_geom_torsion_atom_site_label_4", "_geom_torsion", "_geom_torsion_site_symmetry_1",
            "_geom_torsion_site_symmetry_2", "_geom_torsion_site_symmetry_3", "_geom_torsion_site_symmetry_4",
            "_geom_torsion_publ_flag"});
  const auto add = [&](const std::vector<SiteImage>& atoms, const std::string& flag) {
    std::vector<std::string> row;
    for (const SiteImage& atom : atoms) row.push_back(rows.Label(atom));
    row.push_back(rows.Value(atoms, 1));
    for (const SiteImage& atom : atoms) row.push_back(rows.Code(atom));
    row.push_back(flag);
    cif.Row(row);
  };
  for (const FourAtoms& t : torsions) add({t.begin(), t.end()}, rows.Flag({t.begin(), t.end()}));
  for (const std::vector<SiteImage>& atoms : rows.Left(4)) add(atoms, "yes");
}

void WriteHydrogenBonds(const std::vector<HydrogenBondSites>& bonds, const Rows& rows, CifWriter& cif) {
  cif.Loop({"_geom_hbond_atom_site_label_D", "_geom_hbond_atom_site_label_H", "_geom_hbond_atom_site_label_A",
            "_geom_hbond_distance_DH", "_geom_hbond_distance_HA", "_geom_hbond_distance_DA", "_geom_hbond_angle_DHA",
            "_geom_hbond_site_symmetry_A", "_geom_hbond_publ_flag"});
  for (const HydrogenBondSites& b : bonds) {
    cif.Row({rows.Label(b.donor), rows.Label(b.hydrogen), rows.Label(b.acceptor), rows.Value({b.donor, b.hydrogen}, 2),
             rows.Value({b.hydrogen, b.acceptor}, 2), rows.Value({b.donor, b.acceptor}, 3),
             rows.Value({b.donor, b.hydrogen, b.acceptor}, 1), rows.Code(b.acceptor), "?"});
  }
}

}  // namespace

std::string SymmetryCode(const SpaceGroup& group, const SiteImage& image) {
  if (!image.moved) return ".";
  const SymmetryOperator& op = image.operation;
  for (size_t i = 0; i < group.all.size(); ++i) {
    if (group.all[i].r != op.r) continue;
    std::array<int, 3> cells{};
    bool whole = true;
    for (size_t k = 0; k < 3; ++k) {
      const int t = op.t[k] - group.all[i].t[k];
      whole = whole && t % kTranslationParts == 0;
      cells[k] = 5 + t / kTranslationParts;
    }
    if (whole) return Printf("%zu_%d%d%d", i + 1, cells[0], cells[1], cells[2]);
  }
  return "?";
}

void WriteGeometry(const Session& s, const Geometry& geometry, CifWriter& cif) {
  Rows rows(s, geometry);
  std::string details =
      " Standard uncertainties of distances, angles and torsion angles come from the\n"
      " full covariance matrix of the refined parameters and from those of the cell;\n"
      " edges and angles of the cell that symmetry makes equal err together.\n";
  if (s.result.blockSigmas)
    details =
        " Standard uncertainties come from the blocks of each atom's parameters alone,\n"
        " without correlations between atoms, and from those of the cell.\n";
  cif.Gap();
  cif.Field("_geom_special_details", details + PlaneTable(s));
  WriteBonds(s, rows, cif);
  WriteContacts(rows, cif);
  WriteAngles(s, rows, cif);
  WriteTorsions(TorsionsOf(s, geometry), rows, cif);
  WriteHydrogenBonds(HydrogenBondsOf(s, geometry), rows, cif);
}

}  // namespace marvik

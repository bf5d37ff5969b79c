#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>

#include "app/open_save.h"
#include "app/uncertainty_files.h"
#include "base/numbers.h"
#include "chem/geometry/uncertainty.h"
#include "crystal/symmetry.h"
#include "files/cif/cif_atoms.h"

#include "bench_fixture.h"

namespace marvik::test {
namespace {

struct Count {
  size_t values = 0, equal = 0;
  size_t sigmas = 0, close = 0;
  size_t torsions = 0, turned = 0;
  Count& operator+=(const Count& o) {
    values += o.values, equal += o.equal, sigmas += o.sigmas, close += o.close, torsions += o.torsions;
    turned += o.turned;
    return *this;
  }
};

// Half a unit of the last digit.
double Rounding(CifValue value) {
  const std::string_view digits = value.substr(0, value.find_first_of(" (eE"));
  const size_t point = digits.find('.');
  return 0.5 * std::pow(10.0, point == std::string_view::npos ? 0.0 : -static_cast<double>(digits.size() - point - 1));
}

// A CIF as it was published beside the document that was made of it.
class Published {
 public:
  Published(const std::string& text, Document& document, const UncertaintySource* source)
      : document_(document),
        uncertainty_(document, source),
        reader_(text, {"_geom_", "_refine_ls_number", "_atom_site", "_cell_", "_symmetry_", "_space_group_"}) {
    while (reader_.Next(block_) && !HasAtoms(block_)) {
    }
    TakeSites();
    TakeOperators();
    for (const char* name : {"_cell_length_a", "_cell_length_b", "_cell_length_c", "_cell_angle_alpha",
                             "_cell_angle_beta", "_cell_angle_gamma"})
      cellRounding_.push_back(Rounding(Column(name)[0]));
  }

  // Rows of "_geom_bond", "_geom_angle" or "_geom_torsion".
  Count Compare(const std::string& prefix, const std::string& value, size_t atoms) {
    Count count;
    const CifColumn values = Column(value);
    std::vector<CifColumn> labels, symmetry;
    for (size_t i = 1; i <= atoms; ++i) {
      labels.push_back(Column(prefix + "_atom_site_label_" + std::to_string(i)));
      symmetry.push_back(Column(prefix + "_site_symmetry_" + std::to_string(i)));
    }
    for (size_t row = 0; row < values.Rows(); ++row) {
      double published = 0.0, su = 0.0;
      std::vector<GeometrySite> sites;
      std::vector<std::array<double, 3>> rounding;
      for (size_t i = 0; i < atoms; ++i) Place(labels[i][row], symmetry[i][row], sites, rounding);
      if (sites.size() < atoms || !ParseMeasuredCifNumber(values[row], published, su)) continue;
      const auto ours = ValueOf(sites, document_.matrix);
      if (!ours) continue;
      const auto apart = [&](double a, double b) {
        return atoms == 4 ? std::fabs(std::remainder(a - b, 360.0)) : std::fabs(a - b);
      };
      ++count.values;
      const double limit = Rounding(values[row]) + Spread(sites, rounding, *ours) + 1e-6;
      if (apart(*ours, published) <= limit) {
        ++count.equal;
      } else if (std::getenv("MARVIK_GEOMETRY_VERBOSE")) {
        std::printf("  %s row %zu: %.4f against %.4f (limit %.4f)\n", prefix.c_str(), row, *ours, published, limit);
      }
      if (atoms == 4 && std::fabs(published) > 2.0 && std::fabs(published) < 178.0) {
        ++count.torsions;
        count.turned += apart(*ours, -published) < apart(*ours, published);
      }
      const auto sigma = uncertainty_.OfGeometry(sites);
      if (!sigma || !(su > 0.0) || !(*sigma > 0.0)) continue;
      // The published one is rounded to its last digit.
      const double half = su >= 2.0 * Rounding(values[row]) ? Rounding(values[row]) : 0.0;
      ++count.sigmas;
      const bool isClose = *sigma > (su - half) / 1.34 && *sigma < (su + half) * 1.34;
      count.close += isClose;
      if (!isClose && std::getenv("MARVIK_GEOMETRY_VERBOSE"))
        std::printf("  %s row %zu %.*s: s.u. %.5f against %.5f\n", prefix.c_str(), row, 8, labels[0][row].data(),
                    *sigma, su);
    }
    return count;
  }

  // Whether the refinement had restraints.
  bool IsTied() const {
    double restraints = 0.0;
    return ParseCifNumber(Column("_refine_ls_number_restraints")[0], restraints) && restraints > 0.0;
  }

 private:
  CifColumn Column(const std::string& name) const { return FindColumn(block_, {name}); }

  std::optional<double> ValueOf(const std::vector<GeometrySite>& sites, const OrthogonalisationMatrix& matrix) const {
    std::vector<Cartesian> places;
    for (const GeometrySite& site : sites) places.push_back(matrix * site.fract);
    return GeometryOf(places);
  }

  void TakeSites() {
    const CifColumn labels = Column("_atom_site_label");
    std::map<std::string, int> uses;
    for (size_t row = 0; row < labels.Rows(); ++row) ++uses[std::string(labels[row])];
    for (size_t row = 0; row < labels.Rows(); ++row) {
      const std::string label(labels[row]);
      Site site;
      bool complete = uses[label] == 1;
      for (size_t k = 0; k < 3; ++k) {
        const CifValue value = Column(std::string("_atom_site_fract_") + "xyz"[k])[row];
        complete = complete && ParseCifNumber(value, site.fract[static_cast<int>(k)]);
        site.rounding[k] = Rounding(value);
      }
      if (!complete) continue;
      double nearest = 3e-5 + site.rounding[0] + site.rounding[1] + site.rounding[2];
      for (const AtomRecord* atom : Atoms(document_.atoms)) {
        const Fractional d = atom->fract - site.fract;
        const double apart = std::fabs(d.x) + std::fabs(d.y) + std::fabs(d.z);
        if (atom->IsPeak() || apart >= nearest) continue;
        nearest = apart;
        site.atom = atom;
      }
      if (site.atom) sites_[label] = site;
    }
  }

  void TakeOperators() {
    CifColumn texts = FindColumn(block_, {"_space_group_symop_operation_xyz", "_symmetry_equiv_pos_as_xyz"});
    const CifColumn ids = FindColumn(block_, {"_space_group_symop_id", "_symmetry_equiv_pos_site_id"});
    for (size_t row = 0; row < texts.Rows(); ++row) {
      const auto op = ParseOperator(texts[row]);
      if (!op) continue;
      double id = static_cast<double>(row + 1);
      if (ids.Rows() == texts.Rows()) ParseCifNumber(ids[row], id);
      operators_[static_cast<int>(id)] = *op;
    }
  }

  // The operator of the document that turns as this one does, for the uncertainty.
  uint32_t IndexOf(const SymmetryOperator& wanted) const {
    for (uint32_t k = 0; k < document_.symmetry.size(); ++k) {
      if (document_.symmetry[k].r == wanted.r) return k;
    }
    return 0;
  }

  void Place(CifValue label, CifValue symmetry, std::vector<GeometrySite>& sites,
             std::vector<std::array<double, 3>>& rounding) const {
    const auto found = sites_.find(std::string(label));
    if (found == sites_.end()) return;
    const Site& from = found->second;
    GeometrySite site{from.atom, 0, from.fract};
    if (!symmetry.empty()) {
      std::string digits;
      for (const char c : symmetry)
        if (c != '_' && c != ' ') digits += c;
      double code = 0.0;
      if (!ParseWholeNumber(digits, code)) return;
      const int whole = static_cast<int>(code);
      const int number = digits.size() < 4 ? whole : whole / 1000;
      const auto op = operators_.find(number);
      if (op == operators_.end() && number != 1) return;
      if (op != operators_.end()) {
        site.op = IndexOf(op->second);
        site.fract = op->second.Apply(site.fract);
      }
      if (digits.size() >= 4) site.fract += Fractional{whole / 100 % 10 - 5.0, whole / 10 % 10 - 5.0, whole % 10 - 5.0};
      site.symmetryCode = 1000;
    }
    sites.push_back(site);
    rounding.push_back(from.rounding);
  }

  // How far the value may move when every coordinate and the cell move by their rounding, all to the worst.
  double Spread(const std::vector<GeometrySite>& sites, const std::vector<std::array<double, 3>>& rounding,
                double value) const {
    double spread = 0.0;
    const auto add = [&](const std::optional<double>& moved) {
      if (moved) spread += std::fabs(sites.size() == 4 ? std::remainder(*moved - value, 360.0) : *moved - value);
    };
    for (size_t i = 0; i < sites.size(); ++i)
      for (int k = 0; k < 3; ++k) {
        // Images of one atom move together; a bound may count them apart.
        auto moved = sites;
        moved[i].fract[k] += rounding[i][static_cast<size_t>(k)];
        add(ValueOf(moved, document_.matrix));
      }
    for (size_t i = 0; i < 6; ++i) {
      CellParameters cell = document_.cell;
      double* const values[] = {&cell.a, &cell.b, &cell.c, &cell.alpha, &cell.beta, &cell.gamma};
      *values[i] += i < 3 || std::fmod(*values[i], 30.0) != 0.0 ? cellRounding_[i] : 0.0;
      OrthogonalisationMatrix matrix;
      if (BuildOrthogonalisation(cell, matrix)) add(ValueOf(sites, matrix));
    }
    return spread;
  }

  struct Site {
    const AtomRecord* atom = nullptr;
    Fractional fract;
    std::array<double, 3> rounding{};
  };
  Document& document_;
  GeometryUncertainty uncertainty_;
  CifReader reader_;
  CifBlock block_;
  std::map<std::string, Site> sites_;
  std::map<int, SymmetryOperator> operators_;
  std::vector<double> cellRounding_;
};

void PrintCount(const char* name, const Count& c) {
  std::printf("%-34s %6zu values, %6zu equal; %6zu s.u., %6zu close; %6zu torsions, %zu turned over\n", name, c.values,
              c.equal, c.sigmas, c.close, c.torsions, c.turned);
}

}  // namespace

using PublishedGeometry = BenchTest;

// Restraints and rigid groups correlate the coordinates of atoms, which a CIF does not tell.
constexpr std::array kRigid{"4060305.cif", "7000165-disorder.cif"};

// Every bond, angle and torsion angle that CIFs list, from their own coordinates.
TEST_F(PublishedGeometry, IsWhatTheCoordinatesGive) {
  const char* data = std::getenv("MARVIK_REAL_DATA");
  if (!data) GTEST_SKIP() << "MARVIK_REAL_DATA names no folder";
  Count all;
  Count free;
  std::vector<std::filesystem::path> files;
  for (const char* sub : {"cif", "pairs"})
    if (std::filesystem::is_directory(std::filesystem::path(data) / sub))
      for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(data) / sub))
        if (entry.path().extension() == ".cif") files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  for (const auto& path : files) {
    const std::string text = ReadWholeFile(path.string()).content;
    bench.modified = false;
    // What was refined is opened as its result, with the reflections and a listing of a run.
    const std::string base = path.string().substr(0, path.string().find(".published"));
    std::string opened = path.filename().string();
    if (base != path.string()) {
      opened = FileNameOf(base) + ".res";
      folder.Put(opened, ReadWholeFile(base + ".res").content);
      folder.Put(FileNameOf(base) + ".hkl", ReadWholeFile(base + ".hkl").content);
      folder.Put(FileNameOf(base) + ".lst", " marvik-refine: full-matrix least squares on F squared\n");
    } else {
      folder.Put(opened, text);
    }
    if (!OpenFile(bench, folder / opened)) continue;
    UncertaintyFile state;
    const auto source = FindUncertainties(bench.document, state);
    Published published(text, bench.document, source.get());
    Count count;
    count += published.Compare("_geom_bond", "_geom_bond_distance", 2);
    count += published.Compare("_geom_angle", "_geom_angle", 3);
    count += published.Compare("_geom_torsion", "_geom_torsion", 4);
    if (count.values > 0) PrintCount(path.filename().c_str(), count);
    all += count;
    if (!published.IsTied() && std::ranges::find(kRigid, path.filename()) == kRigid.end()) free += count;
  }
  PrintCount("all", all);
  PrintCount("without restraints", free);
  EXPECT_GT(all.values, 0u);
  EXPECT_EQ(all.turned, 0u);
  EXPECT_GE(static_cast<double>(all.equal), 0.98 * static_cast<double>(all.values));
  EXPECT_GE(static_cast<double>(all.close), 0.95 * static_cast<double>(all.sigmas));
  EXPECT_GE(static_cast<double>(free.close), 0.95 * static_cast<double>(free.sigmas));
}

}  // namespace marvik::test

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "app/uncertainty_files.h"
#include "base/numbers.h"
#include "check/cif/cif_model.h"
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
double Rounding(const cif::Measured& number) {
  return 0.5 * std::pow(10.0, -number.decimals);
}

std::optional<double> ValueOf(const std::vector<GeometrySite>& sites, const OrthogonalisationMatrix& matrix) {
  std::vector<Cartesian> places;
  for (const GeometrySite& site : sites) places.push_back(matrix * site.fract);
  return GeometryOf(places);
}

// How far apart two values of so many sites are; torsion angles by the shorter way round.
double Apart(size_t sites, double a, double b) {
  return std::fabs(sites == 4 ? std::remainder(a - b, 360.0) : a - b);
}

// A CIF as it was published beside the document that was made of it.
class Published {
 public:
  Published(const cif::CifModel& model, Document& document, const UncertaintySource* source)
      : model_(model), document_(document), uncertainty_(document, source) {
    for (const cif::CifSite& site : model.sites) {
      double nearest = 3e-5 + Rounding(site.x[0]) + Rounding(site.x[1]) + Rounding(site.x[2]);
      const AtomRecord*& at = atoms_.emplace_back();
      for (const AtomRecord* atom : Atoms(document.atoms)) {
        const Fractional d = atom->fract - site.fract;
        const double apart = std::fabs(d.x) + std::fabs(d.y) + std::fabs(d.z);
        if (atom->IsPeak() || apart >= nearest) continue;
        nearest = apart;
        at = atom;
      }
    }
  }

  // Rows of "_geom_bond", "_geom_angle" or "_geom_torsion".
  Count Compare(const std::string& prefix, const std::string& value, size_t atoms) const {
    Count count;
    const CifColumn values = model_.Column(value);
    for (size_t row = 0; row < values.Rows(); ++row) {
      std::vector<GeometrySite> sites;
      std::vector<const cif::CifSite*> from;
      for (size_t i = 1; i <= atoms; ++i)
        Place(model_.Column(prefix + "_atom_site_label_" + std::to_string(i))[row],
              model_.Column(prefix + "_site_symmetry_" + std::to_string(i))[row], sites, from);
      const cif::Measured published = cif::ParseMeasured(values[row]);
      const auto ours = sites.size() < atoms ? std::nullopt : ValueOf(sites, document_.matrix);
      if (!published.Given() || !ours) continue;
      ++count.values;
      const double limit = Rounding(published) + Spread(sites, from, *ours) + 1e-6;
      count.equal += Apart(atoms, *ours, published.value) <= limit;
      if (atoms == 4 && std::fabs(published.value) > 2.0 && std::fabs(published.value) < 178.0) {
        ++count.torsions;
        count.turned += Apart(4, *ours, -published.value) < Apart(4, *ours, published.value);
      }
      const auto sigma = uncertainty_.OfGeometry(sites);
      if (!sigma || !published.HasSu() || !(*sigma > 0.0)) continue;
      // The published one is rounded to its last digit.
      const double half = published.su >= 2.0 * Rounding(published) ? Rounding(published) : 0.0;
      ++count.sigmas;
      count.close += *sigma > (published.su - half) / 1.34 && *sigma < (published.su + half) * 1.34;
    }
    return count;
  }

 private:
  void Place(CifValue label, CifValue symmetry, std::vector<GeometrySite>& sites,
             std::vector<const cif::CifSite*>& from) const {
    const auto found = model_.siteOf.find(std::string(label));
    const bool isNamedOnce = std::ranges::count(model_.sites, label, &cif::CifSite::label) == 1;
    if (!isNamedOnce || !atoms_[static_cast<size_t>(found->second)]) return;
    const cif::CifSite& site = model_.sites[static_cast<size_t>(found->second)];
    GeometrySite image{atoms_[static_cast<size_t>(found->second)], 0, site.fract};
    // "2_655", "2655" or "2".
    std::string digits(symmetry);
    std::erase_if(digits, [](char c) { return c == '_' || c == ' '; });
    double code = 1.0;
    if (!digits.empty() && !ParseWholeNumber(digits, code)) return;
    const int whole = static_cast<int>(code);
    const auto number = static_cast<size_t>(digits.size() < 4 ? whole : whole / 1000);
    const auto op =
        number > model_.operatorTexts.size() ? std::nullopt : ParseOperator(model_.operatorTexts[number - 1]);
    if (!op) return;
    if (!digits.empty()) {
      image.fract = op->Apply(site.fract);
      image.symmetryCode = 1000;
      // The operator of the document that turns as this one does, for the uncertainty.
      const auto same = std::ranges::find(document_.symmetry, op->r, &SymmetryOperator::r);
      if (same != document_.symmetry.end()) image.op = static_cast<uint32_t>(same - document_.symmetry.begin());
    }
    if (digits.size() >= 4) image.fract += Fractional{whole / 100 % 10 - 5.0, whole / 10 % 10 - 5.0, whole % 10 - 5.0};
    sites.push_back(image);
    from.push_back(&site);
  }

  // How far the value may move when every coordinate and the cell move by their rounding, all to the worst.
  double Spread(const std::vector<GeometrySite>& sites, const std::vector<const cif::CifSite*>& from,
                double value) const {
    double spread = 0.0;
    const auto add = [&](const std::optional<double>& moved) {
      if (moved) spread += Apart(sites.size(), *moved, value);
    };
    for (size_t i = 0; i < sites.size(); ++i)
      for (int k = 0; k < 3; ++k) {
        // Images of one atom move together; a bound may count them apart.
        auto moved = sites;
        moved[i].fract[k] += Rounding(from[i]->x[static_cast<size_t>(k)]);
        add(ValueOf(moved, document_.matrix));
      }
    for (size_t i = 0; i < 6; ++i) {
      CellParameters cell = document_.cell;
      double* const values[] = {&cell.a, &cell.b, &cell.c, &cell.alpha, &cell.beta, &cell.gamma};
      if (i < 3 || std::fmod(*values[i], 30.0) != 0.0) *values[i] += Rounding(model_.cell[i]);
      OrthogonalisationMatrix matrix;
      if (BuildOrthogonalisation(cell, matrix)) add(ValueOf(sites, matrix));
    }
    return spread;
  }

  const cif::CifModel& model_;
  Document& document_;
  GeometryUncertainty uncertainty_;
  std::vector<const AtomRecord*> atoms_;  // of each site
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
    CifReader reader(text, {"_"});
    CifBlock block;
    while (reader.Next(block) && !HasAtoms(block)) {
    }
    const cif::CifModel model(text, block);
    const Published published(model, bench.document, source.get());
    Count count;
    count += published.Compare("_geom_bond", "_geom_bond_distance", 2);
    count += published.Compare("_geom_angle", "_geom_angle", 3);
    count += published.Compare("_geom_torsion", "_geom_torsion", 4);
    if (count.values > 0) PrintCount(path.filename().c_str(), count);
    all += count;
    const bool isTied = model.Number("_refine_ls_number_restraints").value > 0.0;
    if (!isTied && std::ranges::find(kRigid, path.filename()) == kRigid.end()) free += count;
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

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "crystal/site_symmetry.h"
#include "language/tokenizer.h"
#include "refine/output/cif_file.h"

namespace marvik {
namespace {

constexpr double kBOfU = 8.0 * 9.869604401089358;  // 8π²

// What an atom's records have in common: columns 7 to 27.
std::string Identity(const Document& document, const Site& site, size_t serial, const std::string& symbol) {
  const Residue* residue =
      site.atom->residue >= 0 ? &document.residues[static_cast<size_t>(site.atom->residue)] : nullptr;
  // The element ends in column 14, but for names of four.
  const std::string name = (symbol.size() > 1 || site.name.size() > 3 ? "" : " ") + site.name;
  const char part = site.part == 0 ? ' ' : static_cast<char>('A' + (std::abs(site.part) - 1) % 26);
  const std::string kind = residue && !residue->className.empty() ? UpperCase(residue->className) : "UNK";
  const std::string chain = residue && !residue->chain.empty() ? residue->chain : "A";
  return Printf("%5zu %-4.4s%c%3.3s %1.1s%4d ", serial % 100000, name.c_str(), part, kind.c_str(), chain.c_str(),
                std::clamp(site.residueNumber, -999, 9999));
}

std::string Displacements(const Metric& metric, const Site& site) {
  const Mat3 u = metric.CartesianU(site.u);
  std::string text;
  for (const auto& [i, j] : {std::pair{0, 0}, {1, 1}, {2, 2}, {0, 1}, {0, 2}, {1, 2}})
    AppendPrintf(text, "%7ld", std::lround(std::clamp(1e4 * u[i][static_cast<size_t>(j)], -99999.0, 999999.0)));
  return text;
}

}  // namespace

std::string ComposeCoordinateFile(const Session& s) {
  const Metric& metric = s.structure.metric;
  const CellParameters& c = metric.cell;
  std::string text = Printf("TITLE     %-70.70s\n", s.document.instructions.title.c_str());
  AppendPrintf(text, "CRYST1%9.3f%9.3f%9.3f%7.2f%7.2f%7.2f %-11.11s%4zu\n", c.a, c.b, c.c, c.alpha, c.beta, c.gamma,
               s.structure.group.symbol.c_str(), s.structure.group.all.size());
  for (int i = 0; i < 3; ++i) {
    const auto& row = metric.fractional[i];
    AppendPrintf(text, "SCALE%d    %10.6f%10.6f%10.6f     %10.5f\n", i + 1, row[0], row[1], row[2], 0.0);
  }
  size_t serial = 0;
  for (const Site& site : s.structure.sites) {
    const std::string symbol = UpperCase(site.atom->element->Symbol());
    const std::string identity = Identity(s.document, site, ++serial, symbol);
    const Cartesian x = metric.ToCartesian(site.x);
    // Of an atom on a special position the file's occupancy holds the multiplicity, here it is the site's own.
    const double images = static_cast<double>(
        SiteOperations(s.structure.group.all, metric, site.x, s.job.parameters.specialTolerance).size());
    AppendPrintf(text, "HETATM%s   %8.3f%8.3f%8.3f%6.2f%6.2f          %2.2s\n", identity.c_str(), x.x, x.y, x.z,
                 site.occupancy * (site.part < 0 ? 1.0 : std::max(1.0, images)),
                 std::min(999.99, kBOfU * s.structure.Ueq(site)), symbol.c_str());
    if (site.anisotropic)
      AppendPrintf(text, "ANISOU%s %s      %2.2s\n", identity.c_str(), Displacements(metric, site).c_str(),
                   symbol.c_str());
  }
  return text + "END\n";
}

}  // namespace marvik

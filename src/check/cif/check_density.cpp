#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "base/user_messages.h"
#include "check/cif/cif_checker.h"
#include "check/data_density.h"
#include "check/data_session.h"
#include "files/res/reader.h"

namespace marvik::cif {

namespace {

constexpr double kMostTerms = 3e9;      // sites times operators times reflections: seconds of work
constexpr double kOtherR1 = 0.02;       // beyond it the files are not those of the CIF
constexpr size_t kPeaks = 20;           // looked at
constexpr double kOnMetal = 0.6;        // Å
constexpr double kOnHydrogen = 0.25;    // Å
constexpr double kBond[] = {0.7, 1.2};  // Å, of hydrogens to N and O
constexpr double kTaken = 0.5;          // Å: nearer to a second atom it is that one's
constexpr size_t kFewBonds = 5;
constexpr double kLeastDensity = 0.03;  // e/Å³

struct EmbeddedFiles {
  std::string instructions;
  std::string reflections;
  std::string mask;
};

EmbeddedFiles FilesOf(const CifModel& m) {
  EmbeddedFiles files;
  for (const std::string_view field : m.block.textFields) {
    if (files.instructions.empty() && IsInstructions(field)) {
      files.instructions = AttachedLines(field);
    } else if (files.reflections.empty() && IsReflections(field)) {
      files.reflections = AttachedLines(field);
    }
  }
  files.mask = AttachedLines(m.Item("_iucr_refine_fab_details"));
  return files;
}

class ResidualDensity {
 public:
  explicit ResidualDensity(CifChecker& checker) : c_(checker), m_(checker.model) {}

  // Why there is no map, "" where there is one.
  std::string Make(const EmbeddedFiles& files) {
    if (!m_.xray) return "The radiation is none of X-rays.";
    // What stands in other files is not there.
    if (files.instructions.starts_with('+') || files.instructions.find("\n+") != std::string::npos)
      return "The instructions take in other files.";
    Document document;
    RecordingMessages messages;
    if (!ReadInstructionText(document, files.instructions, messages)) return "The instructions cannot be read.";
    std::string problem = PrepareFromText(document, "The list", files.reflections, files.mask, session_);
    if (!problem.empty()) return problem;
    const double terms = static_cast<double>(session_.structure.sites.size()) *
                         static_cast<double>(session_.structure.group.all.size()) *
                         static_cast<double>(session_.observations.Size());
    if (terms > kMostTerms) return "The structure is too large.";
    DataPass pass(session_.structure, session_.observations, session_.job.weights);
    MatchScale(session_.structure, pass, calculated_);
    r1_ = MakeResiduals(calculated_, 0).r1;
    return std::isfinite(r1_) ? std::string() : "The model gives no structure factors.";
  }

  std::vector<CalculatedReflection> Reflections() const {
    std::vector<CalculatedReflection> list;
    // Groups of overlapping reflections are no list of single ones.
    if (session_.job.hkl.IsOverlapped()) return list;
    for (size_t i = 0; i < calculated_.fc2.size(); ++i)
      list.push_back(
          {session_.observations.indices[0][i], calculated_.fc2[i], calculated_.fo2[i], calculated_.sigma[i]});
    return list;
  }

  void Check() {
    const Measured given = m_.Number("_refine_ls_r_factor_gt", "_refine_ls_r_factor_obs");
    if (given.Given() && std::fabs(r1_ - given.value) > kOtherR1)
      return c_.Found("map-none", Printf("R1 is %.4f, %.4f given.", r1_, given.value));
    const DensityMap map = MakeMap(session_.structure, session_.observations, calculated_);
    for (const bool holes : {false, true}) {
      const std::vector<DensityPeak> peaks = PeaksOf(session_, map, kPeaks, holes);
      if (peaks.empty()) continue;
      const Measured listed = m_.Number(holes ? "_refine_diff_density_min" : "_refine_diff_density_max");
      if (listed.Given())
        c_.Test(holes ? "map-min" : "map-max", std::fabs(peaks[0].height - listed.value),
                Printf("%.2f e/\xC3\x85\xC2\xB3, %.2f given.", peaks[0].height, listed.value));
      for (const DensityPeak& peak : peaks) Judge(peak, holes);
    }
    Bonds(map);
  }

 private:
  int RowOf(const PeakNeighbour& neighbour) const {
    const auto found = m_.siteOf.find(neighbour.atom);
    return found == m_.siteOf.end() ? kUnknownRow : m_.sites[static_cast<size_t>(found->second)].row;
  }

  void Judge(const DensityPeak& peak, bool hole) {
    const double height = std::fabs(peak.height);
    const PeakNeighbour* nearest = peak.nearest.empty() ? nullptr : &peak.nearest[0];
    std::vector<std::string> atoms;
    std::string text = Printf("%.2f e/\xC3\x85\xC2\xB3", peak.height);
    if (nearest) {
      atoms.push_back(nearest->atom);
      AppendPrintf(text, " %.2f \xC3\x85 from %s", nearest->distance, nearest->atom.c_str());
    }
    text += ".";
    const int row = nearest ? RowOf(*nearest) : kUnknownRow;
    const bool onMetal = nearest && IsMetal(row) && nearest->distance < kOnMetal;
    c_.Test(std::string(hole ? "map-hole" : "map-peak") + (onMetal ? "-metal" : ""), height, text, atoms);
    if (!nearest) return;
    if (hole && IsHydrogenRow(row) && nearest->distance < kOnHydrogen)
      c_.Test("map-hole-hydrogen", height, text, atoms);
    const bool alone = peak.nearest.size() < 2 || peak.nearest[1].distance > nearest->distance + kTaken;
    if ((row == 7 || row == 8) && nearest->distance > kBond[0] && nearest->distance < kBond[1] && alone)
      c_.Test(hole ? "map-hole-donor" : "map-peak-donor", height, text, atoms);
  }

  // Between free atoms that were put in, bonds have density of their own.
  void Bonds(const DensityMap& map) {
    size_t bonds = 0;
    size_t dense = 0;
    for (size_t i = 0; i < m_.sites.size(); ++i) {
      for (const Link& link : m_.bonds[i]) {
        const CifSite& other = m_.sites[static_cast<size_t>(link.site)];
        if (!link.Identity() || static_cast<size_t>(link.site) < i) continue;
        if (m_.sites[i].row != 6 || other.row != 6 || !m_.sites[i].Full() || !other.Full()) continue;
        ++bonds;
        dense += map.Interpolate((m_.sites[i].fract + other.fract) * 0.5) > std::max(map.sigma, kLeastDensity);
      }
    }
    if (bonds >= kFewBonds && dense == 0) c_.Found("map-bonds", Printf("%zu bonds.", bonds));
  }

  CifChecker& c_;
  const CifModel& m_;
  Session session_;
  Calculated calculated_;
  double r1_ = 0.0;
};

}  // namespace

EmbeddedReflections CheckDensity(CifChecker& c) {
  const EmbeddedFiles files = FilesOf(c.model);
  if (files.instructions.empty() || files.reflections.empty()) return std::nullopt;
  ResidualDensity density(c);
  const std::string why = density.Make(files);
  if (!why.empty()) {
    c.Found("map-none", why);
    return std::nullopt;
  }
  density.Check();
  return density.Reflections();
}

}  // namespace marvik::cif

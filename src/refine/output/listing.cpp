#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "chem/geometry/uncertainty.h"
#include "refine/output/linear_study.h"
#include "refine/output/tables.h"

namespace marvik {
namespace {

std::string ModelTable(const Session& s, const Geometry& geometry) {
  std::string out = "\n Atoms: x, y, z, occupancy, Ueq or Uiso (A2), with uncertainties\n";
  for (size_t i = 0; i < s.structure.sites.size(); ++i) {
    const int site = static_cast<int>(i);
    AppendPrintf(out, " %-8s", s.structure.sites[i].label.c_str());
    for (int k = 0; k < 3; ++k) AppendPrintf(out, " %14s", WithSu(geometry.Raw(site, k), 6).c_str());
    AppendPrintf(out, " %12s", WithSu(geometry.Raw(site, kRawOccupancy), 4).c_str());
    AppendPrintf(out, " %12s\n", WithSu(geometry.Ueq(site), 5).c_str());
    if (!s.structure.sites[i].anisotropic) continue;
    out += "         ";
    for (int k = 0; k < 6; ++k) AppendPrintf(out, " %12s", WithSu(geometry.Raw(site, kRawU + k), 5).c_str());
    out += "\n";
  }
  return out;
}

std::string OverallTable(const Session& s) {
  std::string out = "\n Parameters that belong to no atom\n";
  for (size_t p = 0; p < s.parametrisation.Size(); ++p) {
    const Parameter& parameter = s.parametrisation.parameters[p];
    const bool overall = parameter.kind <= ParameterKind::AnisotropicScale;
    if (!overall) continue;
    const double su = p < s.result.sigmas.size() ? s.result.sigmas[p] : 0.0;
    AppendPrintf(out, " %-10s %14s\n", parameter.name.c_str(),
                 WithSu({s.parametrisation.Value(s.structure, p), su}, 5).c_str());
  }
  return out;
}

std::string CorrelationTable(const Session& s) {
  const size_t n = s.parametrisation.Size();
  if (s.result.covariance.Size() != n) return {};
  struct Entry {
    double r;
    size_t i;
    size_t j;
  };
  std::vector<Entry> entries;
  for (size_t i = 0; i < n; ++i) {
    for (size_t j = i + 1; j < n; ++j) {
      const double product = s.result.sigmas[i] * s.result.sigmas[j];
      const double r = product > 0.0 ? s.result.covariance.At(i, j) / product : 0.0;
      if (std::fabs(r) > 0.5) entries.push_back({r, i, j});
    }
  }
  std::sort(entries.begin(), entries.end(),
            [](const Entry& a, const Entry& b) { return std::fabs(a.r) > std::fabs(b.r); });
  std::string out = "\n Largest correlation coefficients (absolute value above 0.5)\n";
  for (size_t i = 0; i < entries.size() && i < 60; ++i) {
    AppendPrintf(out, " %7.3f  %s / %s\n", entries[i].r, s.parametrisation.parameters[entries[i].i].name.c_str(),
                 s.parametrisation.parameters[entries[i].j].name.c_str());
  }
  return out;
}

std::string DisagreeableTable(const Session& s) {
  const Calculated& c = s.result.calculated;
  std::vector<size_t> order(c.fo2.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  const auto error = [&](size_t i) { return std::fabs(c.fo2[i] - c.fc2[i]) * std::sqrt(c.weight[i]); };
  const size_t count = std::min<size_t>(50, order.size());
  std::partial_sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(count), order.end(),
                    [&](size_t a, size_t b) { return error(a) > error(b); });
  double largest = 1e-30;
  for (const double v : c.fc2) largest = std::max(largest, v);
  std::string out =
      "\n Most disagreeable reflections\n    h   k   l          Fo2          Fc2  error/su  Fc/Fc(max)  "
      "resolution(A)\n";
  for (size_t i = 0; i < count; ++i) {
    const size_t at = order[i];
    const Miller& h = s.observations.indices[0][at];
    AppendPrintf(out, " %4d%4d%4d %12.2f %12.2f %9.2f %11.3f %14.2f\n", h[0], h[1], h[2], c.fo2[at], c.fc2[at],
                 error(at), std::sqrt(std::max(0.0, c.fc2[at]) / largest), 0.5 / std::sqrt(std::max(1e-9, c.s2[at])));
  }
  return out;
}

// Goodness of fit in ranges of Fc and of resolution, each with the same number of data.
std::string VarianceTable(const Session& s) {
  const Calculated& c = s.result.calculated;
  std::string out = "\n Analysis of variance (equal numbers of data): upper limit, number, S, R1\n";
  const size_t n = c.fo2.size();
  for (const bool byResolution : {false, true}) {
    std::vector<size_t> order(n);
    for (size_t i = 0; i < n; ++i) order[i] = i;
    const auto& key = byResolution ? c.s2 : c.fc2;
    std::sort(order.begin(), order.end(), [&](size_t a, size_t b) { return key[a] < key[b]; });
    out += byResolution ? " by resolution (A)\n" : " by Fc2\n";
    for (size_t r = 0; r < 10; ++r) {
      const size_t from = r * n / 10;
      const size_t to = (r + 1) * n / 10;
      if (to <= from) continue;
      double chi2 = 0.0;
      double top = 0.0;
      double bottom = 0.0;
      for (size_t i = from; i < to; ++i) {
        const size_t at = order[i];
        chi2 += c.weight[at] * std::pow(c.fo2[at] - c.fc2[at], 2);
        const double fo = std::sqrt(std::max(0.0, c.fo2[at]));
        top += std::fabs(fo - std::sqrt(std::max(0.0, c.fc2[at])));
        bottom += fo;
      }
      const double limit = key[order[to - 1]];
      AppendPrintf(out, " %14.3f %6zu %8.3f %8.4f\n", byResolution ? 0.5 / std::sqrt(std::max(1e-12, limit)) : limit,
                   to - from, std::sqrt(chi2 / static_cast<double>(to - from)), bottom > 0.0 ? top / bottom : 0.0);
    }
  }
  return out;
}

std::string PeakTable(const Session& s) {
  std::string out;
  const char* const map = s.job.map == MapKind::Difference ? "Difference map"
                          : s.job.map == MapKind::Observed ? "Map of Fo"
                                                           : "Map of 2Fo - Fc";
  AppendPrintf(out, "\n Difference map: root mean square %.3f e/A3\n %s: peaks, and the nearest atoms (A)\n",
               s.mapSigma, map);
  const auto line = [&](const char* name, const Peak& p) {
    AppendPrintf(out, " %-4s %8.2f  %8.4f %8.4f %8.4f ", name, p.height, p.x.x, p.x.y, p.x.z);
    std::vector<std::pair<double, size_t>> near;
    for (size_t i = 0; i < s.structure.sites.size(); ++i) {
      near.emplace_back(std::sqrt(s.structure.metric.DistanceSquared(p.x, s.structure.sites[i].x)), i);
    }
    std::sort(near.begin(), near.end());
    for (size_t i = 0; i < near.size() && i < 4; ++i) {
      AppendPrintf(out, "  %.2f %s", near[i].first, s.structure.sites[near[i].second].label.c_str());
    }
    out += "\n";
  };
  for (size_t i = 0; i < s.listed.size(); ++i) line(Printf("Q%zu", i + 1).c_str(), s.listed[i]);
  if (!s.holes.empty()) line("hole", s.holes[0]);
  return out;
}

std::string DataTable(const Session& s) {
  const MergeStatistics& m = s.merging;
  std::string out;
  AppendPrintf(out, "\n Cell %.4f %.4f %.4f A, %.3f %.3f %.3f degrees, volume %.2f A3, wavelength %.5f A\n",
               s.structure.metric.cell.a, s.structure.metric.cell.b, s.structure.metric.cell.c,
               s.structure.metric.cell.alpha, s.structure.metric.cell.beta, s.structure.metric.cell.gamma,
               s.structure.metric.volume, s.structure.wavelength);
  AppendPrintf(out, " Space group %s, %zu operations, %s\n",
               s.structure.group.symbol.empty() ? "(no standard symbol)" : s.structure.group.symbol.c_str(),
               s.structure.group.all.size(),
               s.structure.group.hasInversion ? "centrosymmetric" : "not centrosymmetric");
  AppendPrintf(out,
               " Reflections: %zu read, %zu systematically absent (mean I/su %.2f), %zu outside limits, %zu omitted\n",
               m.read, m.absent, m.absentMeanRatio, m.outside, m.omitted);
  AppendPrintf(
      out, " %zu unique; R(int) = %.4f from %zu equivalents, %zu inconsistent; R(sigma) = %.4f; theta %.2f to %.2f\n",
      m.unique, m.rInt, m.rIntMembers, m.inconsistent.size(), m.rSigma, m.thetaMin, m.thetaMax);
  out += "\n Scattering factors: f' and f\"\n";
  for (const Scatterer& f : s.structure.scatterers)
    AppendPrintf(out, " %-4s %9.4f %9.4f\n", f.symbol.c_str(), f.fPrime, f.fDoublePrime);
  return out;
}

}  // namespace

std::string ComposeListing(const Session& s, const std::string& console) {
  const Geometry geometry(s.structure, s.parametrisation, s.result.covariance,
                          CellSigmas(s.document.instructions.zerrLine));
  std::string out = console + DataTable(s) + OverallTable(s) + ModelTable(s, geometry) + DisplacementTable(s) +
                    PlacedHydrogenTable(s) + BondTable(s, geometry);
  const auto asked = [&](const char* keyword) {
    return std::any_of(s.job.commands.begin(), s.job.commands.end(),
                       [&](const Instruction& c) { return c.name == keyword; });
  };
  if (asked("CONF")) out += TorsionTable(s, geometry);
  if (asked("HTAB")) out += HydrogenBondTable(s, geometry);
  out += PlaneTable(s) + RequestedTable(s, geometry);
  if (s.result.friedelFactor > 1.0) out += "\n" + FriedelSentence(s.result.friedelFactor) + "\n";
  if (s.result.blockSigmas) out += "\n Uncertainties are those of each atom alone: the full matrix was not formed\n";
  out += HandTable(s);
  AppendPrintf(out, "\n Suggested weights: WGHT %.4f %.4f\n", s.suggestedWeights[0], s.suggestedWeights[1]);
  const LinearStudy study = StudyLinearly(s);
  return out + TwinTable(s) + MissedSymmetryTable(s) + StrangeElementTable(s) + RestraintTable(s) +
         RestraintCostTable(s, study) + CompletenessTable(s) + InconsistentTable(s) + VarianceTable(s) +
         CorrelationTable(s) + DisagreeableTable(s) + InfluenceTable(s, study) + PeakTable(s);
}

}  // namespace marvik

#include <cmath>

#include "base/numbers.h"
#include "refine/output/cif_file.h"
#include "refine/output/cif_sections.h"

namespace marvik {
namespace {

// LIST 1: XPLOR's reflections; 2: h k l Fo σ(Fo) phase; 3: h k l Fo σ(Fo) A B; 5: h k l Fo Fc
// phase, these three in fixed columns. Unique reflections with Friedel opposites together.
std::string ComposeAmplitudeList(const Session& s) {
  std::string out;
  const Calculated& c = s.result.calculated;
  const std::map<Miller, MeanAmplitude> means = MeanAmplitudes(s.structure, s.observations, c);
  if (s.job.list == 1) AppendPrintf(out, "NREFlections= %zu\n", means.size());
  for (const auto& [key, mean] : means) {
    const Miller& h = s.observations.indices[0][mean.first];
    const double a = c.a[mean.first];
    const double b = c.b[mean.first];
    double phase = std::atan2(b, a) * kDegreesPerRadian;
    if (phase < 0.0) phase += 360.0;
    AppendPrintf(out, s.job.list == 1 ? "INDEx %d %d %d" : "%4d%4d%4d", h[0], h[1], h[2]);
    if (s.job.list == 1) {
      AppendPrintf(out, " FOBS= %.2f SIGMa= %.2f FCALc= %.2f %.2f\n", mean.fo / mean.count, mean.sigma / mean.count,
                   mean.fc / mean.count, phase);
    } else if (s.job.list == 5) {
      AppendPrintf(out, "%10.2f%10.2f%7.2f\n", mean.fo / mean.count, mean.fc / mean.count, phase);
    } else if (s.job.list == 3) {
      AppendPrintf(out, "%8.2f%8.2f%8.2f%8.2f\n", mean.fo / mean.count, mean.sigma / mean.count, a, b);
    } else {
      AppendPrintf(out, "%8.2f%8.2f%4ld\n", mean.fo / mean.count, mean.sigma / mean.count, std::lround(phase) % 360);
    }
  }
  return out;
}

}  // namespace

std::string ComposeReflectionList(const Session& s) {
  if (s.job.list != 4 && s.job.list < 6) return ComposeAmplitudeList(s);
  CifWriter cif;
  cif.Block(s.name);
  cif.Item("_audit_creation_method", "marvik-refine");
  cif.Item("_audit_block_code", s.name + "_reflections");
  cif.Item("_audit_link_block_code", s.name);
  cif.Item("_audit_link_block_description", "the structure that these reflections belong to");
  WriteSymmetry(s, cif);
  WriteCell(s, cif);
  cif.Item("_diffrn_radiation_wavelength", Shortest(s.structure.wavelength, 6));
  std::string out = cif.Text() + "\nloop_\n_refln_index_h\n_refln_index_k\n_refln_index_l\n";
  const Calculated& c = s.result.calculated;
  const bool phases = s.job.list >= 6;
  out += phases ? "_refln_F_squared_meas\n_refln_F_squared_sigma\n_refln_F_calc\n_refln_phase_calc\n"
                : "_refln_F_squared_calc\n_refln_F_squared_meas\n_refln_F_squared_sigma\n_refln_include_status\n";
  if (s.job.list == 8) out += "_refln_d_spacing\n";
  for (size_t i = 0; i < c.fo2.size(); ++i) {
    const Miller& h = s.observations.indices[0][i];
    AppendPrintf(out, "%4d%4d%4d", h[0], h[1], h[2]);
    if (phases) {
      const double phase = std::atan2(c.b[i], c.a[i]) * kDegreesPerRadian;
      AppendPrintf(out, " %12.2f %10.2f %10.2f %8.1f", c.fo2[i], c.sigma[i], std::hypot(c.a[i], c.b[i]),
                   phase < 0.0 ? phase + 360.0 : phase);
      if (s.job.list == 8) AppendPrintf(out, " %9.5f", 0.5 / std::sqrt(c.s2[i]));
      out += '\n';
    } else {
      AppendPrintf(out, " %12.2f %12.2f %10.2f o\n", c.fc2[i], c.fo2[i], c.sigma[i]);
    }
  }
  return out;
}

}  // namespace marvik

#include "models.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "crystal/symmetry.h"

namespace marvik {
namespace {

constexpr CellParameters kTriclinic{7.1, 8.3, 9.2, 81.0, 95.0, 104.0};
constexpr CellParameters kMonoclinic{8.1, 11.3, 9.7, 90.0, 103.0, 90.0};
constexpr CellParameters kOrthorhombic{7.9, 10.4, 12.6, 90.0, 90.0, 90.0};
constexpr CellParameters kTetragonal{9.4, 9.4, 12.1, 90.0, 90.0, 90.0};
constexpr CellParameters kHexagonal{10.6, 10.6, 13.7, 90.0, 90.0, 120.0};
constexpr CellParameters kCubic{11.2, 11.2, 11.2, 90.0, 90.0, 90.0};

}  // namespace

const std::vector<GroupCase>& GroupCases() {
  static const std::vector<GroupCase> cases = {
      {"P 1", -1, {}, kTriclinic},
      {"P -1", 1, {}, kTriclinic},
      {"P 1 21/c 1", 1, {"-X, 0.5+Y, 0.5-Z"}, kMonoclinic},
      {"C 1 2/c 1", 7, {"-X, Y, 0.5-Z"}, kMonoclinic},
      {"P 21 21 21", -1, {"0.5-X, -Y, 0.5+Z", "-X, 0.5+Y, 0.5-Z", "0.5+X, 0.5-Y, -Z"}, kOrthorhombic},
      {"I 41/a:2", 2, {"1/2-x, -y, 1/2+z", "3/4-y, 1/4+x, 1/4+z", "3/4+y, 3/4-x, 3/4+z"}, kTetragonal},
      {"R -3", 3, {"-y, x-y, z", "-x+y, -x, z"}, kHexagonal},
      {"F d d 2", -4, {"-x, -y, z", "x+1/4, 1/4-y, z+0.25", "1/4-x, y+1/4, z+.25"}, kOrthorhombic},
      {"A b a 2", -5, {"-x, -y, z", "x+1/2, 1/2-y, z", "1/2-x, y+1/2, z"}, kOrthorhombic},
      {"B 1 1 2", -6, {"-x, -y, z"}, {8.1, 9.7, 11.3, 90.0, 90.0, 103.0}},
      {"P 61",
       -1,
       {"x-y, x, z+1/6", "-y, x-y, z+1/3", "-x, -y, z+1/2", "-x+y, -x, z+2/3", "y, -x+y, z+5/6"},
       kHexagonal},
      {"F m -3 m", 4, {"-x, -y, z", "-x, y, -z", "z, x, y", "y, x, -z"}, kCubic},
  };
  return cases;
}

const GroupCase& GroupNamed(std::string_view name) {
  return *std::ranges::find(GroupCases(), name, &GroupCase::name);
}

Structure MakeCrystal(const GroupCase& group, unsigned seed, int atoms) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  Structure s;
  s.metric = MakeMetric(group.cell);
  std::string problem;
  s.group = *MakeSpaceGroup(group.lattice, ListOperators(group.lattice, group.operators), problem);
  const ElementTable table;
  for (const int row : {6, 8, 16, 30}) s.scatterers.push_back(TabulatedScatterer(table[row], s.wavelength));
  s.scale = 0.7;
  for (int i = 0; i < atoms; ++i) {
    Site site;
    site.label = site.name = "X" + std::to_string(i + 1);
    site.scatterer = i % 4;
    site.x = {uniform(random), uniform(random), uniform(random)};
    site.occupancy = 1.0;
    site.code[kRawOccupancy] = 11.0;
    site.anisotropic = i % 3 != 2;
    site.u = {0.02 + 0.03 * uniform(random), 0, 0, 0, 0, 0};
    if (site.anisotropic) {
      for (size_t k = 0; k < 3; ++k) site.u[k] = 0.02 + 0.03 * uniform(random);
      for (size_t k = 3; k < 6; ++k) site.u[k] = 0.012 * (uniform(random) - 0.5);
    }
    s.sites.push_back(site);
  }
  return s;
}

Observations SimulateData(const Structure& structure, double resolution) {
  Observations o;
  o.indices.resize(1);
  o.batch.resize(1);
  std::set<Miller> done;
  const auto limit = [&](size_t i) {
    return static_cast<int>(1.0 / (resolution * structure.metric.reciprocalEdges[i])) + 1;
  };
  // A sphere of indices is wide enough for oblique cells when each limit is doubled.
  for (int h = -2 * limit(0); h <= 2 * limit(0); ++h) {
    for (int k = -2 * limit(1); k <= 2 * limit(1); ++k) {
      for (int l = -2 * limit(2); l <= 2 * limit(2); ++l) {
        const double s2 = structure.metric.SinThetaSquared(h, k, l);
        const Miller m{h, k, l};
        if (s2 == 0.0 || 0.5 / std::sqrt(s2) < resolution || structure.group.IsAbsent(m)) continue;
        if (!done.insert(structure.group.Representative(m, structure.group.hasInversion)).second) continue;
        o.indices[0].push_back(m);
        o.batch[0].push_back(1);
        o.intensity.push_back(1.0);
        o.sigma.push_back(1.0);
      }
    }
  }
  const Calculated c = CalculateAt(structure, o);
  for (size_t i = 0; i < o.Size(); ++i) {
    o.intensity[i] = structure.scale * structure.scale * c.fc2[i];
    o.sigma[i] = 0.02 * o.intensity[i] + 0.2;
  }
  return o;
}

Calculated CalculateAt(const Structure& structure, const Observations& observations) {
  Calculated c;
  DataPass(structure, observations, WeightScheme{}).Run(c);
  return c;
}

Job PlainJob(int cycles) {
  Job job;
  job.cycles = cycles;
  job.weights.p = {0.02, 0, 0, 0, 0, 1.0 / 3.0};
  return job;
}

Refined RefineModel(Structure& model, const Observations& observations, const Job& job, const ParameterOptions& options,
                    std::vector<RigidGroup> rigid) {
  Refined refined;
  std::vector<std::string> notes;
  refined.parametrisation.Build(model, options, {}, rigid, notes);
  refined.result = Refine(job, model, refined.parametrisation, observations, {},
                          [&](const std::string& line) { refined.said += line + "\n"; });
  return refined;
}

}  // namespace marvik

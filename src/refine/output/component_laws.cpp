#include <cmath>
#include <map>

#include "refine/output/tables.h"

namespace marvik {
namespace {

constexpr size_t kLeastPairs = 20;
constexpr double kFits = 0.3;  // root mean square of the indices: beyond, equivalents of one law are mixed

struct Sums {
  size_t pairs = 0;
  Mat3 first, both;  // Σ h hᵀ of the first component, Σ h' hᵀ with the other

  void Add(const Miller& h, const Miller& other) {
    ++pairs;
    for (size_t i = 0; i < 3; ++i)
      for (size_t j = 0; j < 3; ++j) {
        first.m[i][j] += static_cast<double>(h[i]) * h[j];
        both.m[i][j] += static_cast<double>(other[i]) * h[j];
      }
  }
};

template <class Use>
void ForEachPair(const Observations& o, const Use& use) {
  for (size_t i = 0; i < o.Size(); ++i)
    for (size_t first = 0; first < o.Components(); ++first) {
      if (o.batch[first][i] != 1) continue;
      for (size_t c = 0; c < o.Components(); ++c)
        if (o.batch[c][i] > 1) use(o.batch[c][i], o.indices[first][i], o.indices[c][i]);
    }
}

}  // namespace

std::vector<ComponentLaw> ComponentLaws(const Session& s) {
  std::vector<ComponentLaw> laws;
  if (s.job.hkl.code != 5) return laws;
  std::map<int, Sums> sums;
  ForEachPair(s.observations, [&](int batch, const Miller& h, const Miller& other) { sums[batch].Add(h, other); });
  for (const auto& [batch, sum] : sums) {
    ComponentLaw law;
    law.component = batch;
    law.pairs = sum.pairs;
    law.matrix = sum.both * Inverse(sum.first);
    if (sum.pairs < kLeastPairs || !(std::fabs(Determinant(sum.first)) > 1e-6)) continue;
    double misfit = 0.0;
    ForEachPair(s.observations, [&, wanted = batch](int of, const Miller& h, const Miller& other) {
      for (int i = 0; of == wanted && i < 3; ++i) {
        double index = 0.0;
        for (size_t j = 0; j < 3; ++j) index += law.matrix[i][j] * h[j];
        misfit += (index - other[static_cast<size_t>(i)]) * (index - other[static_cast<size_t>(i)]);
      }
    });
    law.rms = std::sqrt(misfit / (3.0 * static_cast<double>(sum.pairs)));
    if (!(law.rms < kFits)) continue;
    // Reciprocal vectors are turned; an inversion besides shows in no intensity.
    const Metric& metric = s.structure.metric;
    Mat3 turn = Transposed(metric.fractional) * law.matrix * Transposed(metric.orthogonal);
    const double sign = Determinant(turn) < 0.0 ? -1.0 : 1.0;
    Mat3 symmetric;
    for (int i = 0; i < 3; ++i)
      for (size_t j = 0; j < 3; ++j) {
        turn[i][j] *= sign;
        symmetric[i][j] += 0.5 * turn[i][j];
        symmetric.m[j][static_cast<size_t>(i)] += 0.5 * turn[i][j];
      }
    law.axis = SymmetricEigen(symmetric).Vector<CartesianSpace>(2);
    const Cartesian sine{turn[2][1] - turn[1][2], turn[0][2] - turn[2][0], turn[1][0] - turn[0][1]};
    law.angle = std::atan2(Length(sine), turn[0][0] + turn[1][1] + turn[2][2] - 1.0) * (180.0 / std::acos(-1.0));
    laws.push_back(law);
  }
  return laws;
}

}  // namespace marvik

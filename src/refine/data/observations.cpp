#include "refine/data/observations.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "refine/job/commands.h"

namespace marvik {
namespace {

using Indices = std::array<double, 3>;

Indices Twinned(const TwinLaw& twin, const Indices& h) {
  Indices out{};
  for (size_t i = 0; i < 3; ++i) {
    for (size_t j = 0; j < 3; ++j) out[i] += twin.matrix[3 * i + j] * h[j];
  }
  return out;
}

// False where an index is so far from a whole number that no reflection of the component falls on the measured one.
bool Round(const Indices& h, Miller& out) {
  constexpr double kOverlap = 0.2;
  bool whole = true;
  for (size_t i = 0; i < 3; ++i) {
    out[i] = WholeNumber(h[i]);
    whole = whole && std::fabs(h[i] - out[i]) < kOverlap;
  }
  return whole;
}

}  // namespace

Observations MakeObservations(const std::vector<Reflection>& merged, const TwinLaw& twin, bool batches) {
  Observations o;
  o.batchScales = batches;
  const int n = twin.present ? std::max(1, std::abs(twin.components)) : 1;
  const bool inverted = twin.present && twin.components < 0;
  const int half = inverted ? std::max(1, n / 2) : n;
  o.indices.resize(static_cast<size_t>(n));
  o.batch.resize(static_cast<size_t>(n));
  for (const Reflection& r : merged) {
    o.intensity.push_back(r.intensity);
    o.sigma.push_back(r.sigma);
    Indices h{static_cast<double>(r.h[0]), static_cast<double>(r.h[1]), static_cast<double>(r.h[2])};
    const Indices opposite{-h[0], -h[1], -h[2]};
    bool overlaps = true;
    for (int c = 0; c < n; ++c) {
      if (c == half) h = opposite;
      Miller whole{};
      const bool there = Round(h, whole);
      overlaps = overlaps && there;
      o.indices[static_cast<size_t>(c)].push_back(whole);
      o.batch[static_cast<size_t>(c)].push_back(!there ? 0 : batches ? r.batch : c + 1);
      h = Twinned(twin, h);
    }
    o.apart += !overlaps;
  }
  return o;
}

Observations MakeOverlappedObservations(const std::vector<Reflection>& raw) {
  size_t most = 1;
  size_t run = 1;
  for (const Reflection& r : raw) {
    most = std::max(most, run);
    run = r.batch < 0 ? run + 1 : 1;
  }
  Observations o;
  o.indices.resize(most);
  o.batch.resize(most);
  std::vector<const Reflection*> group;
  for (const Reflection& r : raw) {
    group.push_back(&r);
    if (r.batch < 0) continue;
    // The line that ends the group stands for it in weights, maps and tables.
    std::swap(group.front(), group.back());
    o.intensity.push_back(r.intensity);
    o.sigma.push_back(r.sigma);
    for (size_t c = 0; c < most; ++c) {
      const bool there = c < group.size();
      o.indices[c].push_back(there ? group[c]->h : r.h);
      o.batch[c].push_back(there ? std::abs(group[c]->batch) : 0);
    }
    group.clear();
  }
  return o;
}

int LargestBatch(const std::vector<Reflection>& raw) {
  int most = 1;
  for (const Reflection& r : raw) most = std::max(most, std::abs(r.batch));
  return most;
}

}  // namespace marvik

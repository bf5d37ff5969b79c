#include "refine/data/observations.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "refine/job/commands.h"

namespace marvik {
namespace {

Miller Twinned(const TwinLaw& twin, const Miller& h) {
  Miller out{};
  for (size_t i = 0; i < 3; ++i) {
    out[i] = WholeNumber(twin.matrix[3 * i] * h[0] + twin.matrix[3 * i + 1] * h[1] + twin.matrix[3 * i + 2] * h[2]);
  }
  return out;
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
    Miller h = r.h;
    for (int c = 0; c < n; ++c) {
      if (c == half) h = {-r.h[0], -r.h[1], -r.h[2]};
      o.indices[static_cast<size_t>(c)].push_back(h);
      o.batch[static_cast<size_t>(c)].push_back(batches ? r.batch : c + 1);
      h = Twinned(twin, h);
    }
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

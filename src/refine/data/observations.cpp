#include "refine/data/observations.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <numbers>

#include "base/numbers.h"
#include "language/instruction.h"
#include "language/tokenizer.h"

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
    o.wavelength.push_back(r.wavelength);
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
  if (std::ranges::none_of(merged, [](const Reflection& r) { return r.wavelength > 0.0; })) o.wavelength.clear();
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

void SetDispersion(const Structure& structure, Observations& observations) {
  observations.dispersion.clear();
  if (observations.wavelength.empty()) return;
  for (const Scatterer& s : structure.scatterers) {
    const std::complex<double> same{s.fPrime, s.fDoublePrime};
    std::vector<std::complex<double>>& list = observations.dispersion.emplace_back(observations.Size(), same);
    if (s.isOwn || same == 0.0) continue;
    std::map<double, std::complex<double>> known;
    for (size_t i = 0; i < observations.Size(); ++i) {
      const double wavelength = observations.wavelength[i];
      const auto [entry, isNew] = known.try_emplace(wavelength);
      if (isNew) entry->second = DispersionOf(s.electrons, wavelength);
      list[i] = {entry->second.real(), s.fDoublePrime != 0.0 ? entry->second.imag() : 0.0};
    }
  }
}

int LargestBatch(const std::vector<Reflection>& raw) {
  int most = 1;
  for (const Reflection& r : raw) most = std::max(most, std::abs(r.batch));
  return most;
}

std::vector<AddedFactor> ParseFabFile(std::string_view content) {
  std::vector<AddedFactor> factors;
  while (!content.empty()) {
    const size_t end = std::min(content.find_first_of("\r\n"), content.size());
    const std::string_view line = content.substr(0, end);
    content.remove_prefix(std::min(end + 1, content.size()));
    std::vector<std::string_view> words;
    if (line.size() > 12) {
      words = {line.substr(0, 4), line.substr(4, 4), line.substr(8, 4)};
      std::vector<std::string_view> rest;
      SplitWords(line.substr(12), rest);
      words.insert(words.end(), rest.begin(), rest.end());
    }
    std::array<double, 5> v{};
    const auto reads = [&] {
      bool good = words.size() >= 5;
      for (size_t i = 0; good && i < 5; ++i) good = ParseWholeNumber(words[i], v[i]) && std::fabs(v[i]) < 1e12;
      return good && v[0] == std::floor(v[0]) && v[1] == std::floor(v[1]) && v[2] == std::floor(v[2]);
    };
    if (!reads()) {
      SplitWords(line, words);
      if (!reads()) continue;
    }
    const Miller h{WholeNumber(v[0]), WholeNumber(v[1]), WholeNumber(v[2])};
    if (h == Miller{} && v[3] == 0.0 && v[4] == 0.0) break;
    factors.push_back({h, {v[3], v[4]}});
  }
  return factors;
}

std::vector<std::string> FabRemarks(std::string_view content) {
  constexpr std::string_view kMark = "\nREM ";
  std::vector<std::string> remarks;
  for (size_t at = content.find(kMark); at != std::string_view::npos; at = content.find(kMark, at)) {
    at += kMark.size();
    const size_t end = std::min(content.find_first_of("\r\n", at), content.size());
    remarks.emplace_back(content.substr(at, end - at));
    at = end;
  }
  return remarks;
}

std::string FabText(const std::vector<AddedFactor>& factors, const std::vector<std::string>& remarks) {
  std::string text;
  for (const AddedFactor& factor : factors)
    AppendPrintf(text, "%4d%4d%4d%14.4f%14.4f\n", factor.h[0], factor.h[1], factor.h[2], factor.f.real(),
                 factor.f.imag());
  AppendPrintf(text, "%4d%4d%4d%14.4f%14.4f\n", 0, 0, 0, 0.0, 0.0);
  for (const std::string& remark : remarks) text += "REM " + remark + "\n";
  return text;
}

size_t AddFactors(const std::vector<AddedFactor>& factors, const Structure& structure, double k, double u,
                  Observations& observations) {
  constexpr double kPi = std::numbers::pi;
  std::map<Miller, std::complex<double>> all;
  for (const AddedFactor& factor : factors) {
    for (const SymmetryOperator& op : structure.group.all) {
      // F(hR) = F(h) exp(-2πi h·t).
      const Miller turned = op.ApplyToIndices(factor.h);
      double phase = 0.0;
      for (size_t i = 0; i < 3; ++i) phase -= 2.0 * kPi * factor.h[i] * op.Translation(i);
      all.emplace(turned, factor.f * std::polar(1.0, phase));
    }
  }
  // Opposites that neither the file nor the group gives.
  const std::map<Miller, std::complex<double>> given = all;
  for (const auto& [h, f] : given) all.emplace(Miller{-h[0], -h[1], -h[2]}, std::conj(f));
  std::vector<bool> lacks(observations.Size());
  observations.added.assign(observations.Components(), std::vector<std::complex<double>>(observations.Size()));
  for (size_t c = 0; c < observations.Components(); ++c) {
    for (size_t i = 0; i < observations.Size(); ++i) {
      const Miller& h = observations.indices[c][i];
      const auto found = all.find(h);
      if (found == all.end()) {
        lacks[i] = lacks[i] || observations.batch[c][i] != 0;
        continue;
      }
      const double s2 = structure.metric.SinThetaSquared(h[0], h[1], h[2]);
      observations.added[c][i] = k * std::exp(-8.0 * kPi * kPi * u * s2) * found->second;
    }
  }
  return static_cast<size_t>(std::count(lacks.begin(), lacks.end(), true));
}

}  // namespace marvik

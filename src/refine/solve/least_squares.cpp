#include "refine/solve/least_squares.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "base/parallel.h"
#include "base/stop.h"
#include "refine/factors/lane_math.h"

namespace marvik {

namespace {
constexpr double kPi = std::numbers::pi;
}

double WeightScheme::Weight(double fo2, double sigma, double fc2, double s2) const {
  const double big = p[5] * std::max(0.0, fo2) + (1.0 - p[5]) * fc2;
  const double q = p[2] == 0.0 ? 1.0 : p[2] > 0.0 ? std::exp(p[2] * s2) : 1.0 - std::exp(p[2] * s2);
  const double variance = sigma * sigma + p[0] * p[0] * big * big + p[1] * big + p[3] + p[4] * std::sqrt(s2);
  return variance > 0.0 ? q / variance : 0.0;
}

Residuals MakeResiduals(const Calculated& c, size_t parameters) {
  Residuals r;
  double sumDelta = 0.0;
  double sumF4 = 0.0;
  double top = 0.0;
  double bottom = 0.0;
  double topStrong = 0.0;
  double bottomStrong = 0.0;
  for (size_t i = 0; i < c.fo2.size(); ++i) {
    if (c.s2[i] > c.mostS2) continue;
    ++r.all;
    const double d = c.fo2[i] - c.fc2[i];
    sumDelta += c.weight[i] * d * d;
    sumF4 += c.weight[i] * c.fo2[i] * c.fo2[i];
    const double fo = std::sqrt(std::max(0.0, c.fo2[i]));
    const double gap = std::fabs(fo - std::sqrt(std::max(0.0, c.fc2[i])));
    top += gap;
    bottom += fo;
    if (IsStrong(c.fo2[i], c.sigma[i])) {
      topStrong += gap;
      bottomStrong += fo;
      ++r.strong;
    }
  }
  r.wR2 = sumF4 > 0.0 ? std::sqrt(sumDelta / sumF4) : 0.0;
  r.r1All = bottom > 0.0 ? top / bottom : 0.0;
  r.r1 = bottomStrong > 0.0 ? topStrong / bottomStrong : 0.0;
  r.goof = r.all > parameters ? std::sqrt(sumDelta / static_cast<double>(r.all - parameters)) : 0.0;
  return r;
}

namespace {

// One component of a block after solvent and extinction: its contribution to Fc² and how that changes.
struct ComponentLanes {
  std::array<int, kBlock> batch{};
  Lanes corrected{};  // |F|² after both corrections
  Lanes slope{};      // its derivative by |F|²
  Lanes byExtinction{};
  Lanes bySolventScale{};
  Lanes bySolventU{};
  std::array<Lanes, 6> byScale{};  // of the anisotropic scale
};

void Correct(const Structure& s, const IndexBlock& indices, const FactorWorkspace& w, ComponentLanes& out) {
  const bool solvent = s.solventScale != 0.0 || s.hasSolvent;
  for (size_t i = 0; i < kBlock; ++i) {
    const double f2 = w.a[i] * w.a[i] + w.b[i] * w.b[i];
    const double decay = solvent ? std::exp(-8.0 * kPi * kPi * s.solventU * indices.s2[i]) : 0.0;
    const double transmitted = 1.0 - s.solventScale * decay;
    const double wavelength = indices.wavelength[i];
    const double sine = std::min(1.0, std::sqrt(indices.s2[i]) * wavelength);
    const double e =
        0.001 * wavelength * wavelength * wavelength / std::max(1e-6, 2.0 * sine * std::sqrt(1.0 - sine * sine));
    const double y = f2 * transmitted;
    const double denominator = 1.0 + e * s.extinction * y;
    const double root = 1.0 / std::sqrt(denominator);
    const double slope = root - 0.5 * e * s.extinction * y * root / denominator;
    out.corrected[i] = y * root;
    out.slope[i] = slope * transmitted;
    out.byExtinction[i] = -0.5 * e * y * y * root / denominator;
    out.bySolventScale[i] = -slope * f2 * decay;
    out.bySolventU[i] = slope * f2 * s.solventScale * decay * 8.0 * kPi * kPi * indices.s2[i];
  }
}

// Free variables and what belongs to an atom move the data by way of the atoms only.
bool HasNoRowOfItsOwn(const Parameter& parameter) {
  return parameter.kind == ParameterKind::FreeVariable || parameter.site >= 0;
}

// Multiplies by the overall anisotropic scale, exp(-4π² Σ U_kl h_k h_l a*_k a*_l).
void ScaleAnisotropically(const Structure& s, const IndexBlock& indices, ComponentLanes& out) {
  const auto& edges = s.metric.reciprocalEdges;
  for (size_t i = 0; i < kBlock; ++i) {
    const double x = indices.h[i] * edges[0], y = indices.k[i] * edges[1], z = indices.l[i] * edges[2];
    const double products[] = {x * x, y * y, z * z, 2.0 * y * z, 2.0 * x * z, 2.0 * x * y};
    double exponent = 0.0;
    for (size_t k = 0; k < 6; ++k) exponent -= 4.0 * kPi * kPi * products[k] * s.anisotropicScale[k];
    const double q = std::exp(std::min(50.0, exponent));
    for (Lanes* lanes : {&out.corrected, &out.slope, &out.byExtinction, &out.bySolventScale, &out.bySolventU})
      (*lanes)[i] *= q;
    for (size_t k = 0; k < 6; ++k) out.byScale[k][i] = -4.0 * kPi * kPi * products[k] * out.corrected[i];
  }
}

const Lanes* OverallSlope(ParameterKind kind, const ComponentLanes& c) {
  return kind == ParameterKind::Extinction     ? &c.byExtinction
         : kind == ParameterKind::SolventScale ? &c.bySolventScale
         : kind == ParameterKind::SolventU     ? &c.bySolventU
                                               : nullptr;
}

}  // namespace

// Everything that one thread writes to, made once.
struct DataPass::Worker {
  std::unique_ptr<FactorWorkspace> workspace;
  IndexBlock indices;
  Lanes factor{};  // √w·∂y/∂|F|² of the component at hand
  Lanes rootWeight{};
  Lanes residual{};
  Lanes fc2{};
  Lanes s2{};  // of the first component, as are a and b
  Lanes a{};
  Lanes b{};
  std::vector<ComponentLanes> components;
  std::vector<double> rows;  // parameters × kBlock; of Multiply those that belong to no atom
  std::vector<double> siteRows = std::vector<double>(static_cast<size_t>(kRawPerSite) * kBlock);
};

DataPass::DataPass(const Structure& structure, const Observations& observations, const WeightScheme& weights,
                   int threads)
    : structure_(structure), observations_(observations), weights_(weights), model_(MakeDirectSum(structure)) {
  const size_t count = std::clamp<size_t>(ThreadCount(threads), 1, std::max<size_t>(1, observations.Blocks()));
  for (size_t i = 0; i < count; ++i) {
    workers_.push_back(std::make_unique<Worker>());
    Worker& w = *workers_.back();
    w.workspace = model_->MakeWorkspace();
    w.components.resize(observations.Components());
  }
}

DataPass::~DataPass() = default;

double DataPass::BatchFactor(int batch) const {
  if (batch == 0) return 0.0;
  if (observations_.multiplicities) return batch;
  const auto& k = structure_.batchFractions;
  if (batch > 1) return static_cast<size_t>(batch - 2) < k.size() ? k[static_cast<size_t>(batch - 2)] : 0.0;
  double rest = 1.0;
  for (const double f : k) rest -= observations_.batchScales ? 0.0 : f;
  return rest;
}

void DataPass::LoadIndices(size_t block, size_t component, IndexBlock& out) const {
  for (size_t i = 0; i < kBlock; ++i) {
    const size_t at = std::min(block * kBlock + i, observations_.Size() - 1);
    const Miller& h = observations_.indices[component][at];
    out.h[i] = h[0];
    out.k[i] = h[1];
    out.l[i] = h[2];
    out.s2[i] = structure_.metric.SinThetaSquared(h[0], h[1], h[2]);
    out.wavelength[i] = observations_.wavelength.empty() ? structure_.wavelength : observations_.wavelength[at];
  }
  const auto& dispersion = observations_.dispersion;
  out.fPrime.resize(dispersion.size());
  out.fDoublePrime.resize(dispersion.size());
  for (size_t n = 0; n < dispersion.size(); ++n) {
    for (size_t i = 0; i < kBlock; ++i) {
      const std::complex<double>& f = dispersion[n][std::min(block * kBlock + i, observations_.Size() - 1)];
      out.fPrime[n][i] = f.real();
      out.fDoublePrime[n][i] = f.imag();
    }
  }
}

void DataPass::AddToFactors(size_t block, size_t component, FactorWorkspace& w) const {
  if (observations_.added.empty()) return;
  const auto& added = observations_.added[component];
  for (size_t i = 0; i < kBlock; ++i) {
    const std::complex<double>& f = added[std::min(block * kBlock + i, observations_.Size() - 1)];
    w.a[i] += f.real();
    w.b[i] += f.imag();
  }
}

// Fc² of a component, with what its derivatives are made of.
void DataPass::LoadComponent(Worker& w, size_t block, size_t component, bool derivatives) const {
  LoadIndices(block, component, w.indices);
  model_->Evaluate(w.indices, derivatives, *w.workspace);
  AddToFactors(block, component, *w.workspace);
  ComponentLanes& lanes = w.components[component];
  Correct(structure_, w.indices, *w.workspace, lanes);
  if (structure_.hasAnisotropicScale) ScaleAnisotropically(structure_, w.indices, lanes);
  for (size_t i = 0; i < kBlock; ++i)
    lanes.batch[i] = observations_.batch[component][std::min(block * kBlock + i, observations_.Size() - 1)];
}

template <class Use>
void DataPass::ForEachRawRow(Worker& w, size_t component, const Parametrisation& parametrisation, bool alone,
                             const Use& use) const {
  const ComponentLanes& c = w.components[component];
  for (size_t i = 0; i < kBlock; ++i) w.factor[i] = w.rootWeight[i] * BatchFactor(c.batch[i]) * c.slope[i];
  for (size_t site = 0; site < structure_.sites.size(); ++site) {
    const Row* rows = &parametrisation.rows[site * kRawPerSite];
    const size_t raws = structure_.sites[site].anisotropic ? kRawPerSite : kRawU + 1;
    bool any = false;
    for (size_t k = 0; k < raws; ++k) any = any || !rows[k].empty();
    if (!any) continue;
    if (alone) {
      model_->ContractAlone(static_cast<int>(site), w.indices, w.factor, *w.workspace, w.siteRows.data());
    } else {
      model_->Contract(static_cast<int>(site), w.factor, *w.workspace, w.siteRows.data());
    }
    for (size_t k = 0; k < raws; ++k)
      if (!rows[k].empty()) use(rows[k], &w.siteRows[k * kBlock]);
  }
}

// Rows of the parameters that belong to no atom; they stand first.
void DataPass::AddOverallRows(Worker& w, const Parametrisation& parametrisation) const {
  for (size_t p = 0; p < parametrisation.parameters.size(); ++p) {
    const Parameter& parameter = parametrisation.parameters[p];
    double* row = &w.rows[p * kBlock];
    if (parameter.kind == ParameterKind::Scale) {
      for (size_t i = 0; i < kBlock; ++i) row[i] = w.rootWeight[i] * 2.0 * w.fc2[i] / structure_.scale;
      continue;
    }
    if (HasNoRowOfItsOwn(parameter)) break;
    for (const ComponentLanes& c : w.components) {
      if (const Lanes* slope = OverallSlope(parameter.kind, c)) {
        for (size_t i = 0; i < kBlock; ++i) row[i] += w.rootWeight[i] * BatchFactor(c.batch[i]) * (*slope)[i];
        continue;
      }
      if (parameter.kind == ParameterKind::AnisotropicScale) {
        for (size_t k = 0; k < 6; ++k) {
          for (const Term& term : parametrisation.scaleRows[k]) {
            if (term.parameter != static_cast<int>(p)) continue;
            for (size_t i = 0; i < kBlock; ++i)
              row[i] += w.rootWeight[i] * BatchFactor(c.batch[i]) * term.factor * c.byScale[k][i];
          }
        }
        continue;
      }
      // A batch fraction takes from the first component what it gives to its own; the scale of a batch does not.
      const double first = observations_.batchScales ? 0.0 : -1.0;
      for (size_t i = 0; i < kBlock; ++i) {
        const double sign = c.batch[i] == parameter.index + 2 ? 1.0 : c.batch[i] == 1 ? first : 0.0;
        row[i] += w.rootWeight[i] * sign * c.corrected[i];
      }
    }
  }
}

// Observed against calculated, weights, and what the caller keeps of a block.
void DataPass::Compare(Worker& w, size_t block, Calculated& out) const {
  const double k2 = structure_.scale * structure_.scale;
  for (size_t i = 0; i < kBlock; ++i) {
    const size_t at = block * kBlock + i;
    if (at >= observations_.Size()) {
      w.rootWeight[i] = 0.0;
      w.residual[i] = 0.0;
      continue;
    }
    const double fo2 = observations_.intensity[at] / k2;
    const double sigma = observations_.sigma[at] / k2;
    const double weight = w.s2[i] > mostS2_ ? 0.0 : weights_.Weight(fo2, sigma, w.fc2[i], w.s2[i]);
    w.rootWeight[i] = std::sqrt(weight);
    w.residual[i] = w.rootWeight[i] * (fo2 - w.fc2[i]);
    out.fo2[at] = fo2;
    out.sigma[at] = sigma;
    out.fc2[at] = w.fc2[i];
    out.weight[at] = weight;
    out.a[at] = w.a[i];
    out.b[at] = w.b[i];
    out.s2[at] = w.s2[i];
  }
}

void DataPass::RunBlock(Worker& w, size_t block, Calculated& out, const Parametrisation* parametrisation,
                        const BlockConsumer& consume, size_t at) const {
  const size_t components = w.components.size();
  w.fc2.fill(0.0);
  for (size_t c = 0; c < components; ++c) {
    LoadComponent(w, block, c, parametrisation && components == 1);
    if (c == 0) w.s2 = w.indices.s2, w.a = w.workspace->a, w.b = w.workspace->b;
    const ComponentLanes& lanes = w.components[c];
    for (size_t i = 0; i < kBlock; ++i) w.fc2[i] += BatchFactor(lanes.batch[i]) * lanes.corrected[i];
  }
  Compare(w, block, out);
  if (!parametrisation) return;
  w.rows.assign(parametrisation->Size() * kBlock, 0.0);
  AddOverallRows(w, *parametrisation);
  for (size_t c = 0; c < components; ++c) {
    if (components > 1) LoadComponent(w, block, c, true);
    ForEachRawRow(w, c, *parametrisation, false, [&](const Row& row, const double* from) {
      for (const Term& term : row) {
        double* to = &w.rows[static_cast<size_t>(term.parameter) * kBlock];
        const double f = term.factor;
        for (size_t i = 0; i < kBlock; ++i) to[i] += f * from[i];
      }
    });
  }
  consume(at, w.rows.data(), w.residual);
}

void DataPass::MultiplyBlock(Worker& w, size_t block, const std::vector<double>& v, const Calculated& calculated,
                             const Parametrisation& parametrisation, std::vector<double>& product) const {
  const size_t components = w.components.size();
  w.fc2.fill(0.0);
  for (size_t c = 0; c < components; ++c) {
    LoadComponent(w, block, c, false);
    const ComponentLanes& lanes = w.components[c];
    for (size_t i = 0; i < kBlock; ++i) w.fc2[i] += BatchFactor(lanes.batch[i]) * lanes.corrected[i];
  }
  for (size_t i = 0; i < kBlock; ++i) {
    const size_t at = block * kBlock + i;
    w.rootWeight[i] = at < observations_.Size() ? std::sqrt(calculated.weight[at]) : 0.0;
  }
  const auto& all = parametrisation.parameters;
  const size_t overall = static_cast<size_t>(std::ranges::find_if(all, HasNoRowOfItsOwn) - all.begin());
  w.rows.assign(overall * kBlock, 0.0);
  AddOverallRows(w, parametrisation);
  Lanes sum{};
  const auto add = [&](double f, const double* row) {
    for (size_t i = 0; i < kBlock; ++i) sum[i] += f * row[i];
  };
  for (size_t p = 0; p < overall; ++p) add(v[p], &w.rows[p * kBlock]);
  const auto forEachRow = [&](const auto& use) {
    for (size_t c = 0; c < components; ++c) {
      if (components > 1) LoadComponent(w, block, c, false);
      ForEachRawRow(w, c, parametrisation, true, use);
    }
  };
  forEachRow([&](const Row& row, const double* lanes) {
    double f = 0.0;
    for (const Term& term : row) f += term.factor * v[static_cast<size_t>(term.parameter)];
    add(f, lanes);
  });
  for (size_t p = 0; p < overall; ++p) product[p] += SumOfProducts<kBlock>(&w.rows[p * kBlock], sum.data());
  forEachRow([&](const Row& row, const double* lanes) {
    const double f = SumOfProducts<kBlock>(lanes, sum.data());
    for (const Term& term : row) product[static_cast<size_t>(term.parameter)] += f * term.factor;
  });
}

void DataPass::Resize(Calculated& calculated) const {
  calculated.mostS2 = mostS2_;
  for (auto* v : {&calculated.fo2, &calculated.sigma, &calculated.fc2, &calculated.weight, &calculated.a, &calculated.b,
                  &calculated.s2}) {
    v->resize(observations_.Size());
  }
}

void DataPass::Run(Calculated& calculated, const Parametrisation* parametrisation, const BlockConsumer& consume) {
  Resize(calculated);
  const size_t blocks = observations_.Blocks();
  const std::stop_token stop = CurrentStop();
  ForEachInParallel(workers_.size(), std::min(kShares, blocks), [&](size_t share, size_t thread) {
    for (size_t block = share; block < blocks && !stop.stop_requested(); block += kShares)
      RunBlock(*workers_[thread], block, calculated, parametrisation, consume, share);
  });
}

void DataPass::RunBlocks(size_t first, size_t last, Calculated& calculated, const Parametrisation& parametrisation,
                         const BlockConsumer& consume) {
  Resize(calculated);
  ForEachInParallel(workers_.size(), last - first, [&](size_t index, size_t thread) {
    RunBlock(*workers_[thread], first + index, calculated, &parametrisation, consume, first + index);
  });
}

std::vector<double> DataPass::Multiply(const std::vector<double>& v, const Calculated& calculated,
                                       const Parametrisation& parametrisation) {
  const size_t blocks = observations_.Blocks();
  const size_t shares = std::min(kShares, blocks);
  std::vector<std::vector<double>> products(shares, std::vector<double>(parametrisation.Size()));
  ForEachInParallel(workers_.size(), shares, [&](size_t share, size_t thread) {
    for (size_t block = share; block < blocks; block += kShares)
      MultiplyBlock(*workers_[thread], block, v, calculated, parametrisation, products[share]);
  });
  std::vector<double> product(parametrisation.Size());
  for (const std::vector<double>& part : products) {
    for (size_t p = 0; p < product.size(); ++p) product[p] += part[p];
  }
  return product;
}

}  // namespace marvik

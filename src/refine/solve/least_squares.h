#pragma once

#include <array>
#include <functional>
#include <memory>
#include <vector>

#include "refine/constraints/parameters.h"
#include "refine/data/observations.h"
#include "refine/factors/normal_matrix.h"
#include "refine/factors/structure_factors.h"

namespace marvik {

// w = q / [σ² + (aP)² + bP + d + e s], P = f max(0, Fo²) + (1 - f) Fc², s = sin θ / λ; q = 1, exp(c s²) or
// 1 - exp(c s²) for c = 0, > 0, < 0. a b c d e f as on WGHT; Fo² and σ on the absolute scale.
struct WeightScheme {
  std::array<double, 6> p{0.1, 0, 0, 0, 0, 1.0 / 3.0};
  double Weight(double fo2, double sigma, double fc2, double s2) const;
};

// What every observation gives at the present model, on the absolute scale.
struct Calculated {
  std::vector<double> fo2;
  std::vector<double> sigma;
  std::vector<double> fc2;  // of all components, extinction and solvent included
  std::vector<double> weight;
  std::vector<double> a;  // F of the first component, without extinction
  std::vector<double> b;
  std::vector<double> s2;
  double mostS2 = 1e30;  // what is beyond counts neither for shifts nor for figures
};

// Fo > 4σ(Fo), that is Fo² not below 2σ(Fo²): published counts take in those that are equal to it, which are many in
// files with few digits.
inline bool IsStrong(double fo2, double sigma) {
  return fo2 >= 2.0 * sigma * (1.0 - 1e-9);
}

struct Residuals {
  double wR2 = 0.0;
  double r1 = 0.0;  // over the strong ones
  double r1All = 0.0;
  double goof = 0.0;
  size_t strong = 0;
  size_t all = 0;
};
Residuals MakeResiduals(const Calculated& calculated, size_t parameters);

// Receives weighted blocks: rows √w·∂Fc²/∂p, one of lanes for each parameter, and √w·(Fo² - Fc²). `at` is the share of
// the data or the number of the block.
using BlockConsumer = std::function<void(size_t at, const double* rows, const Lanes& residual)>;

// Passes over the data, on several threads (0: as many as the machine has).
class DataPass {
 public:
  DataPass(const Structure& structure, const Observations& observations, const WeightScheme& weights, int threads = 0);
  ~DataPass();

  // The data fall into so many shares, each the work of one thread from its first block to its last: what is summed up
  // by shares comes out the same on any number of threads.
  static constexpr size_t kShares = 16;

  // Fills `calculated`; with a parametrisation also hands the derivative rows to `consume`, share by share.
  void Run(Calculated& calculated, const Parametrisation* parametrisation = nullptr,
           const BlockConsumer& consume = nullptr);
  // The same for some blocks, each of which goes to `consume` by its number, in no order.
  void RunBlocks(size_t first, size_t last, Calculated& calculated, const Parametrisation& parametrisation,
                 const BlockConsumer& consume);
  // Jᵀ·J·v, J having the derivative rows, of the model and with the weights of the last Run that filled `calculated`:
  // worked out atom by atom, nothing of the size of J is kept.
  std::vector<double> Multiply(const std::vector<double>& v, const Calculated& calculated,
                               const Parametrisation& parametrisation);
  size_t Threads() const { return workers_.size(); }
  // Leaves out what is beyond a resolution in Å, 0 for nothing.
  void SetResolution(double d) { mostS2_ = d > 0.0 ? 0.25 / (d * d) : 1e30; }

 private:
  struct Worker;
  void RunBlock(Worker& worker, size_t block, Calculated& calculated, const Parametrisation* parametrisation,
                const BlockConsumer& consume, size_t at) const;
  void Resize(Calculated& calculated) const;
  void LoadIndices(size_t block, size_t component, IndexBlock& out) const;
  void AddToFactors(size_t block, size_t component, FactorWorkspace& workspace) const;
  double BatchFactor(int batch) const;
  // Calls use(row of the parametrisation, lanes) for every raw parameter that moves; `alone`: after an Evaluate without
  // derivatives.
  template <class Use>
  void ForEachRawRow(Worker& worker, size_t component, const Parametrisation& parametrisation, bool alone,
                     const Use& use) const;
  void LoadComponent(Worker& worker, size_t block, size_t component, bool derivatives) const;
  void MultiplyBlock(Worker& worker, size_t block, const std::vector<double>& v, const Calculated& calculated,
                     const Parametrisation& parametrisation, std::vector<double>& product) const;
  void AddOverallRows(Worker& worker, const Parametrisation& parametrisation) const;
  void Compare(Worker& worker, size_t block, Calculated& out) const;

  const Structure& structure_;
  const Observations& observations_;
  WeightScheme weights_;
  double mostS2_ = 1e30;
  std::unique_ptr<StructureFactorModel> model_;
  std::vector<std::unique_ptr<Worker>> workers_;
};

}  // namespace marvik

#pragma once

#include <array>
#include <memory>
#include <vector>

#include "refine/structure/structure.h"

namespace marvik {

// Reflections are worked on in blocks of this many, one lane each; unused lanes hold a copy of a used one.
inline constexpr int kBlock = 128;
using Lanes = std::array<double, kBlock>;

struct IndexBlock {
  Lanes h{};
  Lanes k{};
  Lanes l{};
  Lanes s2{};  // (sin θ / λ)², Å⁻²
  Lanes wavelength{};
  // Of each scatterer, where the wavelength differs from reflection to reflection; else empty.
  std::vector<Lanes> fPrime;
  std::vector<Lanes> fDoublePrime;
};

// F of a block and, between Evaluate and Contract, what the derivatives are made of. One per thread, reused.
class FactorWorkspace {
 public:
  virtual ~FactorWorkspace() = default;
  alignas(64) Lanes a{};  // real part of F, electrons per cell
  alignas(64) Lanes b{};  // imaginary part
};

// How structure factors and their derivatives are had. The engine's own is the direct sum over atoms and operations.
class StructureFactorModel {
 public:
  virtual ~StructureFactorModel() = default;
  virtual std::unique_ptr<FactorWorkspace> MakeWorkspace() const = 0;
  // F of every lane; with `derivatives` also what Contract needs.
  virtual void Evaluate(const IndexBlock& block, bool derivatives, FactorWorkspace& workspace) const = 0;
  // factor·∂|F|²/∂(raw parameter) of one site, ten rows of lanes in the order of RawParameter; for an isotropic site
  // rows kRawU + 1 and up are left alone. Needs a preceding Evaluate with derivatives.
  virtual void Contract(int site, const Lanes& factor, FactorWorkspace& workspace, double* rows) const = 0;
  // The same behind an Evaluate without derivatives: what the site needs is worked out now, and not kept.
  virtual void ContractAlone(int site, const IndexBlock& block, const Lanes& factor, FactorWorkspace& workspace,
                             double* rows) const = 0;
};

// F = Σ_j occ_j (f_j + f'_j + i f''_j) Σ_ops T exp 2πi(hRx + ht), T = exp(-2π² Σ U_kl h_k h_l a*_k a*_l)
// (International Tables B, 1.2.4). With a centre at the origin only half of the operations are summed, and centring
// multiplies. The structure must stay alive; it may change between calls.
std::unique_ptr<StructureFactorModel> MakeDirectSum(const Structure& structure);

}  // namespace marvik

#include "crystal/space_group.h"

#include <algorithm>
#include <gemmi/symmetry.hpp>
#include <set>

#include "base/numbers.h"
#include "crystal/symmetry.h"

namespace marvik {

namespace {

constexpr size_t kLargestGroup = 1024;
constexpr int kPartsOfTwentyFourth = kTranslationParts / gemmi::Op::DEN;

using Rotation = decltype(SymmetryOperator::r);

Rotation Negative(Rotation r) {
  for (auto& row : r)
    for (int& element : row) element = -element;
  return r;
}

// Everything that products of the generators give, these themselves first; empty when there is no end of it.
std::vector<SymmetryOperator> Closure(const std::vector<SymmetryOperator>& generators) {
  std::vector<SymmetryOperator> group;
  std::set<SymmetryOperator> known;
  const auto add = [&](const SymmetryOperator& op) {
    const SymmetryOperator wrapped = Wrapped(op);
    if (known.insert(wrapped).second) group.push_back(wrapped);
  };
  add({});
  for (const SymmetryOperator& op : generators) add(op);
  const std::vector<SymmetryOperator> distinct = group;
  for (size_t i = 0; i < group.size() && group.size() <= kLargestGroup; ++i)
    for (const SymmetryOperator& generator : distinct) add(SymmetryOperator(group[i]) * generator);
  if (group.size() > kLargestGroup) group.clear();
  return group;
}

// What the packaged tables call it.
std::string SymbolOf(const SpaceGroup& group) {
  gemmi::GroupOps ops;
  for (const SymmetryOperator& op : group.pointOperators) {
    gemmi::Op& known = ops.sym_ops.emplace_back();
    for (size_t i = 0; i < 3; ++i) {
      if (op.t[i] % kPartsOfTwentyFourth != 0) return {};
      known.tran[i] = op.t[i] / kPartsOfTwentyFourth;
      for (size_t j = 0; j < 3; ++j) known.rot[i][j] = op.r[i][j] * gemmi::Op::DEN;
    }
  }
  for (const auto& c : group.centring) {
    if (std::ranges::any_of(c, [](int t) { return t % kPartsOfTwentyFourth != 0; })) return {};
    ops.cen_ops.push_back({c[0] / kPartsOfTwentyFourth, c[1] / kPartsOfTwentyFourth, c[2] / kPartsOfTwentyFourth});
  }
  const gemmi::SpaceGroup* known = gemmi::find_spacegroup_by_ops(ops);
  return known ? known->xhm() : std::string();
}

SpaceGroup Sorted(const std::vector<SymmetryOperator>& operations) {
  SpaceGroup group;
  const SymmetryOperator identity;
  const Rotation minusOne = Negative(identity.r);
  for (const SymmetryOperator& op : operations) {
    if (op.r == identity.r) group.centring.push_back(op.t);
    group.hasInversion = group.hasInversion || op.r == minusOne;
    group.centric = group.centric || (op.r == minusOne && op.t == identity.t);
    const auto hasRotation = [](const std::vector<SymmetryOperator>& list, const Rotation& r) {
      return std::ranges::find(list, r, &SymmetryOperator::r) != list.end();
    };
    if (!hasRotation(group.pointOperators, op.r)) group.pointOperators.push_back(op);
  }
  for (const SymmetryOperator& op : group.pointOperators) {
    const bool isOpposite = group.centric && std::ranges::find(group.primitive, Negative(op.r), &SymmetryOperator::r) !=
                                                 group.primitive.end();
    if (!isOpposite) group.primitive.push_back(op);
  }
  for (const auto& c : group.centring)
    for (SymmetryOperator op : group.pointOperators) {
      for (size_t i = 0; i < 3; ++i) op.t[i] += c[i];
      group.all.push_back(Wrapped(op));
    }
  group.symbol = SymbolOf(group);
  return group;
}

}  // namespace

bool SpaceGroup::IsAbsent(const Miller& h) const {
  return std::ranges::any_of(all, [&](const SymmetryOperator& op) {
    return op.ApplyToIndices(h) == h && (h[0] * op.t[0] + h[1] * op.t[1] + h[2] * op.t[2]) % kTranslationParts != 0;
  });
}

Miller SpaceGroup::Representative(const Miller& h, bool friedel) const {
  const auto key = [](const Miller& m) { return std::array<int, 3>{m[2], m[1], m[0]}; };
  Miller best = h;
  for (const SymmetryOperator& op : pointOperators) {
    const Miller image = op.ApplyToIndices(h);
    if (key(image) > key(best)) best = image;
    const Miller opposite{-image[0], -image[1], -image[2]};
    if (friedel && key(opposite) > key(best)) best = opposite;
  }
  return best;
}

std::vector<std::array<double, 3>> SpaceGroup::PolarDirections() const {
  // The mean of all rotations projects on the directions that every operation leaves alone.
  std::array<std::array<double, 3>, 3> mean{};
  for (const SymmetryOperator& op : pointOperators) {
    for (size_t i = 0; i < 3; ++i) {
      for (size_t j = 0; j < 3; ++j) mean[i][j] += op.r[i][j] / static_cast<double>(pointOperators.size());
    }
  }
  std::vector<std::array<double, 3>> directions;
  for (size_t j = 0; j < 3; ++j) {
    std::array<double, 3> v{mean[0][j], mean[1][j], mean[2][j]};
    for (const auto& d : directions) {
      const double dd = d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
      const double s = (v[0] * d[0] + v[1] * d[1] + v[2] * d[2]) / dd;
      for (size_t i = 0; i < 3; ++i) v[i] -= s * d[i];
    }
    if (v[0] * v[0] + v[1] * v[1] + v[2] * v[2] > 1e-6) directions.push_back(v);
  }
  return directions;
}

std::optional<SpaceGroup> MakeSpaceGroup(int latticeCode, const SymmetryList& list, std::string& problem) {
  std::vector<SymmetryOperator> generators;
  for (const ListedOperator& op : list) {
    if (op.originFlag != kSymmLineOperator) continue;
    if (op.Determinant() == 0) {
      problem = op.name + " IS NOT A SYMMETRY OPERATOR";
      return std::nullopt;
    }
    generators.push_back(op);
  }
  if (latticeCode < -7 || latticeCode > 7 || latticeCode == 0) {
    problem = Printf("LATT %d IS NOT A LATTICE TYPE", latticeCode);
    return std::nullopt;
  }
  const SymmetryOperator identity;
  if (latticeCode > 0) generators.push_back({Negative(identity.r), {}});
  for (const auto& shift : CentringTranslations(latticeCode)) generators.push_back({identity.r, shift});
  const std::vector<SymmetryOperator> operations = Closure(generators);
  if (operations.empty()) {
    problem = "THE SYMM OPERATORS DO NOT FORM A GROUP";
    return std::nullopt;
  }
  return Sorted(operations);
}

}  // namespace marvik

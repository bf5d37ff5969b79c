#include "crystal/space_group.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <gemmi/symmetry.hpp>
#include <set>
#include <sstream>
#include <utility>

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

// Products of shears and stretches have no end, but their elements grow.
bool IsReasonable(const SymmetryOperator& op) {
  return std::ranges::all_of(op.r, [](const auto& row) {
    return std::ranges::all_of(row, [](int element) { return std::abs(element) < 100; });
  });
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
    for (const SymmetryOperator& generator : distinct) {
      const SymmetryOperator product = SymmetryOperator(group[i]) * generator;
      if (!IsReasonable(product)) return {};
      add(product);
    }
  if (group.size() > kLargestGroup) group.clear();
  return group;
}

SymmetryOperator OwnOperator(const gemmi::Op& op) {
  SymmetryOperator own;
  for (size_t i = 0; i < 3; ++i) {
    own.t[i] = op.tran[i] * kPartsOfTwentyFourth;
    for (size_t j = 0; j < 3; ++j) own.r[i][j] = op.rot[i][j] / gemmi::Op::DEN;
  }
  return own;
}

// Parts with one blank between them; underscores count as blanks.
std::string Tidy(std::string_view text) {
  std::string tidy;
  for (const char c : text) {
    if (c != ' ' && c != '_' && c != '\t') {
      tidy += c;
    } else if (!tidy.empty() && tidy.back() != ' ') {
      tidy += ' ';
    }
  }
  while (tidy.ends_with(' ')) tidy.pop_back();
  return tidy;
}

// Whether a part of a Hall symbol keeps to its grammar: the library's parser trusts it.
bool IsHallPart(std::string_view part, size_t at, int& order) {
  if (part.starts_with('-')) part.remove_prefix(1);
  if (part.empty() || std::string_view("12346").find(part[0]) == std::string_view::npos) return false;
  const int before = std::exchange(order, part[0] - '0');
  const std::string_view rest = part.substr(1);
  if (rest.find_first_not_of("12345abcnuvwdxyz'\"*") != std::string_view::npos) return false;
  const size_t screw = rest.find_first_of("12345");
  if (screw == std::string_view::npos) return true;
  const bool hasAxis = rest.find_first_of("xyz") != std::string_view::npos || at == 0 ||
                       (at == 1 && order == 2 && (before == 2 || before == 4));
  return hasAxis && rest[screw] - '0' < order && rest.find_first_of("'\"*") == std::string_view::npos;
}

// Of a symbol without a change of basis.
std::vector<SymmetryOperator> HallGenerators(const std::string& symbol) {
  std::istringstream parts(symbol);
  std::string part;
  int order = 0;
  parts >> part;
  if (part.size() != (part.starts_with('-') ? 2 : 1)) return {};
  for (size_t at = 0; parts >> part; ++at)
    if (at == 4 || !IsHallPart(part, at, order)) return {};
  if (order == 0) return {};
  try {
    const gemmi::GroupOps known = gemmi::generators_from_hall(symbol.c_str());
    std::vector<SymmetryOperator> generators;
    for (const gemmi::Op& op : known.sym_ops) generators.push_back(OwnOperator(op));
    for (const auto& c : known.cen_ops) generators.push_back(OwnOperator({gemmi::Op::identity().rot, c}));
    return generators;
  } catch (const std::exception&) {
    return {};
  }
}

// "m3m" and "a3" as they were written before 1992.
std::string WithBarredThree(std::string name) {
  const size_t three = name.find('3');
  size_t before = three;
  while (before != std::string::npos && before > 0 && name[before - 1] == ' ') --before;
  const bool isMirror = before != std::string::npos && before > 1 &&
                        std::string_view("abcdmn").find(static_cast<char>(name[before - 1] | 32)) != std::string::npos;
  if (isMirror) name.insert(three, 1, '-');
  return name;
}

// What the packaged tables call it.
void Name(SpaceGroup& group) {
  gemmi::GroupOps ops;
  for (const SymmetryOperator& op : group.pointOperators) {
    gemmi::Op& known = ops.sym_ops.emplace_back();
    for (size_t i = 0; i < 3; ++i) {
      if (op.t[i] % kPartsOfTwentyFourth != 0) return;
      known.tran[i] = op.t[i] / kPartsOfTwentyFourth;
      for (size_t j = 0; j < 3; ++j) known.rot[i][j] = op.r[i][j] * gemmi::Op::DEN;
    }
  }
  for (const auto& c : group.centring) {
    if (std::ranges::any_of(c, [](int t) { return t % kPartsOfTwentyFourth != 0; })) return;
    ops.cen_ops.push_back({c[0] / kPartsOfTwentyFourth, c[1] / kPartsOfTwentyFourth, c[2] / kPartsOfTwentyFourth});
  }
  const gemmi::SpaceGroup* known = gemmi::find_spacegroup_by_ops(ops);
  if (!known) return;
  group.symbol = known->xhm();
  group.hall = known->hall;
  group.system = known->crystal_system_str();
  group.number = known->number;
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
  Name(group);
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

bool FitsCell(const SymmetryOperator& op, const Metric& metric, double tolerance) {
  const Fractional edges[] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  const auto image = [&](size_t i) { return metric.ToCartesian(op.Apply(edges[i]) - op.Apply({})); };
  for (size_t i = 0; i < 3; ++i)
    for (size_t j = i; j < 3; ++j) {
      const auto a = metric.ToCartesian(edges[i]);
      const auto b = metric.ToCartesian(edges[j]);
      if (std::fabs(Dot(image(i), image(j)) - Dot(a, b)) > tolerance * Length(a) * Length(b)) return false;
    }
  return true;
}

std::vector<SymmetryOperator> OperatorsOfHallSymbol(std::string_view symbol) {
  std::string tidy = Tidy(symbol);
  std::array<int, 3> shift{};
  if (const size_t open = tidy.find('('); open != std::string::npos) {
    if (!tidy.ends_with(')')) return {};
    std::string_view numbers = std::string_view(tidy).substr(open + 1, tidy.size() - open - 2);
    for (int& twelfths : shift) {
      double value = 0.0;
      const size_t end = std::min(numbers.find(' '), numbers.size());
      if (!ParseWholeNumber(numbers.substr(0, end), value) || !(std::fabs(value) < kTranslationParts)) return {};
      twelfths = RoundHalfAway(value) * (kTranslationParts / 12);
      numbers.remove_prefix(std::min(end + 1, numbers.size()));
    }
    if (!numbers.empty()) return {};
    tidy.erase(open);
  }
  const std::vector<SymmetryOperator> generators = HallGenerators(tidy);
  if (generators.empty()) return {};
  std::vector<SymmetryOperator> operations = Closure(generators);
  const SymmetryOperator identity;
  const SymmetryOperator back{identity.r, {-shift[0], -shift[1], -shift[2]}};
  for (SymmetryOperator& op : operations) op = Wrapped(SymmetryOperator{identity.r, shift} * (op * back));
  return operations;
}

std::vector<SymmetryOperator> OperatorsOfName(std::string_view hermannMauguin, const CellParameters& cell) {
  constexpr size_t kLongestName = 30;
  std::string name = Tidy(hermannMauguin);
  const bool isLetter = !name.empty() && (name[0] | 32) >= 'a' && (name[0] | 32) <= 'z';
  if (!isLetter || name.size() > kLongestName) return {};
  // Axes and origins as some databases write them.
  for (const auto& [ending, extension] : {std::pair{" H", ":H"}, {" R", ":R"}, {" S", ":1"}, {" Z", ":2"}})
    if (name.ends_with(ending)) name.replace(name.size() - 2, 2, extension);
  const gemmi::SpaceGroup* known = gemmi::find_spacegroup_by_name(name, cell.alpha, cell.gamma);
  if (!known) known = gemmi::find_spacegroup_by_name(WithBarredThree(name), cell.alpha, cell.gamma);
  const bool hasOrigins = known && (known->ext == '1' || known->ext == '2');
  if (!known || (hasOrigins && name.find(':') == std::string::npos)) return {};
  std::vector<SymmetryOperator> operations;
  for (const gemmi::Op& op : known->operations()) operations.push_back(OwnOperator(op));
  return operations;
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

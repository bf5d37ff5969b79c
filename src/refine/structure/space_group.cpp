#include "refine/structure/space_group.h"

#include <algorithm>
#include <cmath>
#include <gemmi/symmetry.hpp>

#include "base/numbers.h"

namespace marvik {
namespace {

// Decimals ("0.5", ".3333") become twenty-fourths, the unit of the triplet parser.
std::string WithFractions(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size();) {
    const char c = text[i];
    const bool number = (c >= '0' && c <= '9') || c == '.';
    if (!number) {
      if (c != ' ' && c != '\t' && c != '\r' && c != '\n') out += c;
      ++i;
      continue;
    }
    size_t end = i;
    while (end < text.size() && ((text[end] >= '0' && text[end] <= '9') || text[end] == '.')) ++end;
    const std::string_view digits = text.substr(i, end - i);
    double value = 0.0;
    if (digits.find('.') != std::string_view::npos && ParseWholeNumber(digits, value)) {
      out += Printf("%d/24", RoundHalfAway(value * 24.0));
    } else {
      out += digits;
    }
    i = end;
  }
  return out;
}

GroupOperator FromOp(const gemmi::Op& op) {
  GroupOperator result;
  for (size_t i = 0; i < 3; ++i) {
    for (size_t j = 0; j < 3; ++j) result.r[i][j] = op.rot[i][j] / gemmi::Op::DEN;
    result.t[i] = static_cast<double>(op.tran[i]) / gemmi::Op::DEN;
  }
  return result;
}

std::vector<gemmi::Op::Tran> CentringOf(int lattice) {
  const int h = gemmi::Op::DEN / 2;
  const int t = gemmi::Op::DEN / 3;
  switch (std::abs(lattice)) {
    case 2:
      return {{0, 0, 0}, {h, h, h}};
    case 3:
      return {{0, 0, 0}, {2 * t, t, t}, {t, 2 * t, 2 * t}};
    case 4:
      return {{0, 0, 0}, {0, h, h}, {h, 0, h}, {h, h, 0}};
    case 5:
      return {{0, 0, 0}, {0, h, h}};
    case 6:
      return {{0, 0, 0}, {h, 0, h}};
    case 7:
      return {{0, 0, 0}, {h, h, 0}};
    default:
      return {{0, 0, 0}};
  }
}

bool IsMinusOne(const GroupOperator& op) {
  for (size_t i = 0; i < 3; ++i) {
    for (size_t j = 0; j < 3; ++j) {
      if (op.r[i][j] != (i == j ? -1 : 0)) return false;
    }
  }
  return true;
}

// Half of the operators such that no two differ by the centre at the origin alone.
std::vector<GroupOperator> WithoutCentre(const std::vector<GroupOperator>& ops) {
  std::vector<GroupOperator> kept;
  for (const GroupOperator& op : ops) {
    const bool opposite = std::any_of(kept.begin(), kept.end(), [&](const GroupOperator& k) {
      for (size_t i = 0; i < 3; ++i) {
        for (size_t j = 0; j < 3; ++j) {
          if (k.r[i][j] != -op.r[i][j]) return false;
        }
      }
      return true;
    });
    if (!opposite) kept.push_back(op);
  }
  return kept;
}

void Fill(SpaceGroup& group, const gemmi::GroupOps& ops) {
  for (const gemmi::Op& op : ops.sym_ops) group.pointOperators.push_back(FromOp(op));
  for (const auto& c : ops.cen_ops) {
    group.centring.push_back({c[0] / 24.0, c[1] / 24.0, c[2] / 24.0});
  }
  for (const GroupOperator& op : group.pointOperators) {
    if (!IsMinusOne(op)) continue;
    group.hasInversion = true;
    for (const auto& c : group.centring) {
      bool zero = true;
      for (size_t i = 0; i < 3; ++i) {
        const double d = op.t[i] + c[i];
        zero = zero && std::fabs(d - std::round(d)) < 1e-6;
      }
      group.centric = group.centric || zero;
    }
  }
  group.primitive = group.centric ? WithoutCentre(group.pointOperators) : group.pointOperators;
  for (const auto& c : group.centring) {
    for (const GroupOperator& op : group.pointOperators) {
      GroupOperator moved = op;
      for (size_t i = 0; i < 3; ++i) moved.t[i] += c[i];
      group.all.push_back(moved);
    }
  }
  if (const gemmi::SpaceGroup* known = gemmi::find_spacegroup_by_ops(ops)) group.symbol = known->xhm();
}

}  // namespace

Fractional GroupOperator::Apply(const Fractional& x) const {
  const auto row = [&](size_t i) { return r[i][0] * x.x + r[i][1] * x.y + r[i][2] * x.z + t[i]; };
  return {row(0), row(1), row(2)};
}

Miller GroupOperator::ApplyToIndices(const Miller& h) const {
  Miller out{};
  for (size_t j = 0; j < 3; ++j) out[j] = h[0] * r[0][j] + h[1] * r[1][j] + h[2] * r[2][j];
  return out;
}

bool GroupOperator::IsIdentityRotation() const {
  for (size_t i = 0; i < 3; ++i) {
    for (size_t j = 0; j < 3; ++j) {
      if (r[i][j] != (i == j ? 1 : 0)) return false;
    }
  }
  return true;
}

bool SpaceGroup::IsAbsent(const Miller& h) const {
  for (const GroupOperator& op : all) {
    if (op.ApplyToIndices(h) != h) continue;
    const double phase = h[0] * op.t[0] + h[1] * op.t[1] + h[2] * op.t[2];
    if (std::fabs(phase - std::round(phase)) > 1e-3) return true;
  }
  return false;
}

Miller SpaceGroup::Representative(const Miller& h, bool friedel) const {
  const auto key = [](const Miller& m) { return std::array<int, 3>{m[2], m[1], m[0]}; };
  Miller best = h;
  for (const GroupOperator& op : pointOperators) {
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
  for (const GroupOperator& op : pointOperators) {
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

std::optional<GroupOperator> ParseOperator(const std::string& text) {
  try {
    return FromOp(gemmi::parse_triplet(WithFractions(text)));
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::optional<SpaceGroup> MakeSpaceGroup(int lattice, const std::vector<std::string>& operators, std::string& problem) {
  std::vector<gemmi::Op> ops{gemmi::Op::identity()};
  for (const std::string& text : operators) {
    try {
      const gemmi::Op op = gemmi::parse_triplet(WithFractions(text)).wrap();
      if (op.det_rot() == 0) throw std::runtime_error("singular");
      if (std::find(ops.begin(), ops.end(), op) == ops.end()) ops.push_back(op);
    } catch (const std::exception&) {
      problem = "SYMM " + text + " IS NOT A SYMMETRY OPERATOR";
      return std::nullopt;
    }
  }
  if (std::abs(lattice) > 7 || lattice == 0) {
    problem = Printf("LATT %d IS NOT A LATTICE TYPE", lattice);
    return std::nullopt;
  }
  try {
    gemmi::GroupOps group;
    group.sym_ops = ops;
    group.cen_ops = CentringOf(lattice);
    if (lattice > 0) {
      gemmi::Op centre = gemmi::Op::identity();
      for (int i = 0; i < 3; ++i) centre.rot[static_cast<size_t>(i)][static_cast<size_t>(i)] = -gemmi::Op::DEN;
      if (std::find(ops.begin(), ops.end(), centre) == ops.end()) {
        const size_t n = group.sym_ops.size();
        for (size_t i = 0; i < n; ++i) group.sym_ops.push_back(group.sym_ops[i].combine(centre).wrap());
      }
    }
    group.add_missing_elements();
    SpaceGroup result;
    Fill(result, group);
    return result;
  } catch (const std::exception&) {
    problem = "THE SYMM OPERATORS DO NOT FORM A GROUP";
    return std::nullopt;
  }
}

std::optional<SpaceGroup> DeriveSpaceGroup(const Document& document, std::string& problem) {
  std::vector<std::string> texts;
  for (const SymmetryOperator& op : document.symmetry) {
    if (op.originFlag != kSymmLineOperator) continue;
    std::string text(op.name.View());
    size_t start = 0;
    while (start < text.size() && text[start] == ' ') ++start;
    text.erase(0, start);
    if (text.size() > 4 && (text[0] == 'S' || text[0] == 's')) text.erase(0, 4);
    texts.push_back(text);
  }
  return MakeSpaceGroup(document.latticeCode, texts, problem);
}

std::string OperatorText(const GroupOperator& op) {
  std::string out;
  for (size_t i = 0; i < 3; ++i) {
    std::string part;
    for (size_t j = 0; j < 3; ++j) {
      if (op.r[i][j] == 0) continue;
      if (op.r[i][j] < 0) part += '-';
      if (op.r[i][j] > 0 && !part.empty()) part += '+';
      part += static_cast<char>('x' + j);
    }
    const int n = RoundHalfAway(op.t[i] * 24.0);
    if (n != 0) {
      int den = 24;
      int num = n;
      for (const int f : {2, 2, 2, 3}) {
        if (num % f == 0 && den % f == 0) num /= f, den /= f;
      }
      part += den == 1 ? Printf("%+d", num) : Printf("%+d/%d", num, den);
    }
    out += (i ? ", " : "") + part;
  }
  return out;
}

}  // namespace marvik

#include "files/cif/cif_space_group.h"

#include <algorithm>
#include <array>
#include <optional>

#include "base/numbers.h"

namespace marvik {

namespace {

constexpr int kTwelve = 12;  // translations are counted in twelfths
constexpr size_t kLargestGroup = 192;

struct Operator {
  std::array<std::array<int, 3>, 3> r{};
  std::array<int, 3> t{};
  friend bool operator==(const Operator&, const Operator&) = default;
};

constexpr Operator kIdentity{{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}, {}};

std::array<int, 3> Turned(const Operator& op, const std::array<int, 3>& v) {
  std::array<int, 3> w{};
  for (size_t i = 0; i < 3; ++i)
    for (size_t j = 0; j < 3; ++j) w[i] += op.r[i][j] * v[j];
  return w;
}

int InCell(int twelfths) {
  return ((twelfths % kTwelve) + kTwelve) % kTwelve;
}

Operator operator*(const Operator& a, const Operator& b) {
  Operator product;
  for (size_t i = 0; i < 3; ++i)
    for (size_t j = 0; j < 3; ++j)
      for (size_t k = 0; k < 3; ++k) product.r[i][j] += a.r[i][k] * b.r[k][j];
  const auto moved = Turned(a, b.t);
  for (size_t i = 0; i < 3; ++i) product.t[i] = InCell(moved[i] + a.t[i]);
  return product;
}

std::vector<std::array<int, 3>> LatticeShifts(char lattice) {
  switch (lattice) {
    case 'P':
      return {{0, 0, 0}};
    case 'A':
      return {{0, 6, 6}};
    case 'B':
      return {{6, 0, 6}};
    case 'C':
      return {{6, 6, 0}};
    case 'I':
      return {{6, 6, 6}};
    case 'R':
      return {{8, 4, 4}, {4, 8, 8}};
    case 'F':
      return {{0, 6, 6}, {6, 0, 6}};
    default:
      return {};
  }
}

// The rotation of an order about z; about x and y it is the same with the axes in turn.
std::optional<Operator> RotationAboutZ(int order) {
  switch (order) {
    case 1:
      return kIdentity;
    case 2:
      return Operator{{{{-1, 0, 0}, {0, -1, 0}, {0, 0, 1}}}, {}};
    case 3:
      return Operator{{{{0, -1, 0}, {1, -1, 0}, {0, 0, 1}}}, {}};
    case 4:
      return Operator{{{{0, -1, 0}, {1, 0, 0}, {0, 0, 1}}}, {}};
    case 6:
      return Operator{{{{1, -1, 0}, {1, 0, 0}, {0, 0, 1}}}, {}};
    default:
      return {};
  }
}

Operator AboutAxis(const Operator& aboutZ, size_t axis) {
  const size_t by = (axis + 1) % 3;
  Operator op;
  for (size_t i = 0; i < 3; ++i)
    for (size_t j = 0; j < 3; ++j) op.r[(i + by) % 3][(j + by) % 3] = aboutZ.r[i][j];
  return op;
}

// One part of the symbol after the other; what comes first sets the axes of what follows.
class HallParser {
 public:
  std::optional<Operator> Next(std::string_view part) {
    const bool isInverse = part.starts_with('-');
    if (isInverse) part.remove_prefix(1);
    if (part.empty()) return {};
    const int order = part[0] - '0';
    part.remove_prefix(1);
    const auto aboutZ = RotationAboutZ(order);
    if (!aboutZ) return {};
    char axis = 0;
    if (!part.empty() && std::string_view("xyz'\"*").find(part[0]) != std::string_view::npos) {
      axis = part[0];
      part.remove_prefix(1);
    } else {
      axis = DefaultAxis(order);
    }
    Operator op = *aboutZ;
    if (axis == '*') {
      op = {{{{0, 0, 1}, {1, 0, 0}, {0, 1, 0}}}, {}};
    } else if (axis == '\'' || axis == '"') {
      const int sign = axis == '"' ? 1 : -1;
      op = AboutAxis({{{{0, sign, 0}, {sign, 0, 0}, {0, 0, -1}}}, {}}, lastAxis_);
    } else {
      lastAxis_ = static_cast<size_t>(axis - 'x');
      op = AboutAxis(*aboutZ, lastAxis_);
    }
    for (const char c : part)
      if (!Translate(c, order, op)) return {};
    if (isInverse)
      for (auto& row : op.r)
        for (int& element : row) element = -element;
    lastOrder_ = order;
    ++count_;
    return op;
  }

 private:
  char DefaultAxis(int order) const {
    if (count_ == 0 || order == 1) return 'z';
    if (order == 3) return '*';
    if (order == 2 && count_ == 1) return lastOrder_ == 2 || lastOrder_ == 4 ? 'x' : '\'';
    return 'z';
  }

  bool Translate(char c, int order, Operator& op) const {
    struct Letter {
      char letter;
      std::array<int, 3> shift;
    };
    constexpr Letter kLetters[] = {{'a', {6, 0, 0}}, {'b', {0, 6, 0}}, {'c', {0, 0, 6}}, {'n', {6, 6, 6}},
                                   {'u', {3, 0, 0}}, {'v', {0, 3, 0}}, {'w', {0, 0, 3}}, {'d', {3, 3, 3}}};
    if (c >= '1' && c <= '5' && c - '0' < order) {
      op.t[lastAxis_] += kTwelve * (c - '0') / order;
      return true;
    }
    const auto at = std::ranges::find(kLetters, c, &Letter::letter);
    if (at == std::end(kLetters)) return false;
    for (size_t i = 0; i < 3; ++i) op.t[i] += at->shift[i];
    return true;
  }

  size_t lastAxis_ = 2;
  int lastOrder_ = 0;
  int count_ = 0;
};

// Everything that products of the generators give; empty when that is no space group.
std::vector<Operator> Closure(const std::vector<Operator>& generators) {
  std::vector<Operator> group{kIdentity};
  for (size_t i = 0; i < group.size(); ++i)
    for (const Operator& generator : generators) {
      const Operator product = group[i] * generator;
      if (std::ranges::find(group, product) != group.end()) continue;
      if (group.size() == kLargestGroup) return {};
      group.push_back(product);
    }
  return group;
}

std::string TextOf(const Operator& op) {
  constexpr const char* kFractions[] = {"",     "+1/12", "+1/6", "+1/4", "+1/3", "+5/12",
                                        "+1/2", "+7/12", "+2/3", "+3/4", "+5/6", "+11/12"};
  std::string text;
  for (size_t i = 0; i < 3; ++i) {
    if (i > 0) text += ',';
    const size_t begin = text.size();
    for (size_t j = 0; j < 3; ++j) {
      if (op.r[i][j] == 0) continue;
      if (op.r[i][j] < 0 || text.size() > begin) text += op.r[i][j] < 0 ? '-' : '+';
      text += "xyz"[j];
    }
    text += kFractions[op.t[i]];
  }
  return text;
}

struct Group {
  const char* name;  // without blanks, lower case; of monoclinic ones, whose axis is b, without the other two
  const char* hall;
};

// Names that leave no choice of origin: the common groups in their standard and usual settings.
// clang-format off
constexpr Group kGroups[] = {
    {"p1", "P 1"}, {"p-1", "-P 1"}, {"p2", "P 2y"}, {"p21", "P 2yb"}, {"c2", "C 2y"}, {"a2", "A 2y"}, {"i2", "I 2y"},
    {"pm", "P -2y"}, {"pc", "P -2yc"}, {"pn", "P -2yac"}, {"pa", "P -2ya"}, {"cm", "C -2y"}, {"im", "I -2y"},
    {"cc", "C -2yc"}, {"ia", "I -2ya"}, {"an", "A -2yab"}, {"p2/m", "-P 2y"}, {"p21/m", "-P 2yb"}, {"c2/m", "-C 2y"},
    {"i2/m", "-I 2y"}, {"p2/c", "-P 2yc"}, {"p2/n", "-P 2yac"}, {"p2/a", "-P 2ya"}, {"p21/c", "-P 2ybc"},
    {"p21/n", "-P 2yn"}, {"p21/a", "-P 2yab"}, {"c2/c", "-C 2yc"}, {"i2/a", "-I 2ya"}, {"i2/c", "-I 2yc"},
    {"a2/n", "-A 2yab"}, {"a2/a", "-A 2ya"}, {"p222", "P 2 2"}, {"p2221", "P 2c 2"}, {"p21212", "P 2 2ab"},
    {"p212121", "P 2ac 2ab"}, {"c2221", "C 2c 2"}, {"c222", "C 2 2"}, {"f222", "F 2 2"}, {"i222", "I 2 2"},
    {"i212121", "I 2b 2c"}, {"pmm2", "P 2 -2"}, {"pmc21", "P 2c -2"}, {"pcc2", "P 2 -2c"}, {"pma2", "P 2 -2a"},
    {"pca21", "P 2c -2ac"}, {"pnc2", "P 2 -2bc"}, {"pmn21", "P 2ac -2"}, {"pba2", "P 2 -2ab"}, {"pna21", "P 2c -2n"},
    {"pnn2", "P 2 -2n"}, {"cmm2", "C 2 -2"}, {"cmc21", "C 2c -2"}, {"ccc2", "C 2 -2c"}, {"amm2", "A 2 -2"},
    {"aba2", "A 2 -2ab"}, {"fmm2", "F 2 -2"}, {"fdd2", "F 2 -2d"}, {"imm2", "I 2 -2"}, {"iba2", "I 2 -2c"},
    {"ima2", "I 2 -2a"}, {"pmmm", "-P 2 2"}, {"pccm", "-P 2 2c"}, {"pmma", "-P 2a 2a"}, {"pnna", "-P 2a 2bc"},
    {"pmna", "-P 2ac 2"}, {"pcca", "-P 2a 2ac"}, {"pbam", "-P 2 2ab"}, {"pccn", "-P 2ab 2ac"}, {"pbcm", "-P 2c 2b"},
    {"pnnm", "-P 2 2n"}, {"pbcn", "-P 2n 2ab"}, {"pbca", "-P 2ac 2ab"}, {"pnma", "-P 2ac 2n"}, {"cmcm", "-C 2c 2"},
    {"cmca", "-C 2bc 2"}, {"cmce", "-C 2bc 2"}, {"cmmm", "-C 2 2"}, {"cccm", "-C 2 2c"}, {"fmmm", "-F 2 2"},
    {"immm", "-I 2 2"}, {"ibam", "-I 2 2c"}, {"ibca", "-I 2b 2c"}, {"imma", "-I 2b 2"}, {"p4", "P 4"}, {"p41", "P 4w"},
    {"p42", "P 4c"}, {"p43", "P 4cw"}, {"i4", "I 4"}, {"i41", "I 4bw"}, {"p-4", "P -4"}, {"i-4", "I -4"},
    {"p4/m", "-P 4"}, {"p42/m", "-P 4c"}, {"i4/m", "-I 4"}, {"p41212", "P 4abw 2nw"}, {"p43212", "P 4nw 2abw"},
    {"p42212", "P 4n 2n"}, {"p4212", "P 4ab 2ab"}, {"p-421m", "P -4 2ab"}, {"p-421c", "P -4 2n"},
    {"i-42d", "I -4 2bw"}, {"p42/mnm", "-P 4n 2n"}, {"p4/mmm", "-P 4 2"}, {"i4/mmm", "-I 4 2"}, {"i4/mcm", "-I 4 2c"},
    {"p3", "P 3"}, {"p31", "P 31"}, {"p32", "P 32"}, {"p-3", "-P 3"}, {"p321", "P 3 2\""}, {"p3121", "P 31 2\""},
    {"p3221", "P 32 2\""}, {"p-3m1", "-P 3 2\""}, {"p-3c1", "-P 3 2\"c"}, {"p-31m", "-P 3 2"}, {"p-31c", "-P 3 2c"},
    {"p3m1", "P 3 -2\""}, {"p3c1", "P 3 -2\"c"}, {"p31m", "P 3 -2"}, {"p31c", "P 3 -2c"}, {"r3", "R 3"},
    {"r-3", "-R 3"}, {"r32", "R 3 2\""}, {"r3m", "R 3 -2\""}, {"r3c", "R 3 -2\"c"}, {"r-3m", "-R 3 2\""},
    {"r-3c", "-R 3 2\"c"}, {"p6", "P 6"}, {"p61", "P 61"}, {"p65", "P 65"}, {"p62", "P 62"}, {"p64", "P 64"},
    {"p63", "P 6c"}, {"p-6", "P -6"}, {"p6/m", "-P 6"}, {"p63/m", "-P 6c"}, {"p622", "P 6 2"},
    {"p6122", "P 61 2 (0 0 -1)"}, {"p6522", "P 65 2 (0 0 1)"}, {"p63mc", "P 6c -2c"}, {"p63/mmc", "-P 6c 2c"},
    {"p6/mmm", "-P 6 2"}, {"p23", "P 2 2 3"}, {"f23", "F 2 2 3"}, {"i23", "I 2 2 3"}, {"p213", "P 2ac 2ab 3"},
    {"i213", "I 2b 2c 3"}, {"pm-3", "-P 2 2 3"}, {"fm-3", "-F 2 2 3"}, {"im-3", "-I 2 2 3"}, {"pa-3", "-P 2ac 2ab 3"},
    {"ia-3", "-I 2b 2c 3"}, {"p-43m", "P -4 2 3"}, {"f-43m", "F -4 2 3"}, {"i-43m", "I -4 2 3"},
    {"p-43n", "P -4n 2 3"}, {"i-43d", "I -4bd 2c 3"}, {"pm-3m", "-P 4 2 3"}, {"pm-3n", "-P 4n 2 3"},
    {"fm-3m", "-F 4 2 3"}, {"im-3m", "-I 4 2 3"}, {"ia-3d", "-I 4bd 2c 3"},
};
// clang-format on

std::vector<std::string_view> Parts(std::string_view text) {
  std::vector<std::string_view> parts;
  for (size_t at = 0; (at = text.find_first_not_of(" _", at)) != std::string_view::npos;) {
    const size_t end = std::min(text.find_first_of(" _", at), text.size());
    parts.push_back(text.substr(at, end - at));
    at = end;
  }
  return parts;
}

}  // namespace

std::vector<std::string> OperatorsOfHallSymbol(std::string_view symbol) {
  std::array<int, 3> origin{};
  if (const size_t open = symbol.find('('); open != std::string_view::npos) {
    const auto numbers = Parts(symbol.substr(open + 1, symbol.find(')') - open - 1));
    if (numbers.size() != 3) return {};
    for (size_t i = 0; i < 3; ++i) {
      double twelfths = 0.0;
      if (!ParseWholeNumber(numbers[i], twelfths)) return {};
      origin[i] = InCell(RoundHalfAway(twelfths) % kTwelve);
    }
    symbol = symbol.substr(0, open);
  }
  std::vector<std::string_view> parts = Parts(symbol);
  if (parts.size() < 2 || parts.size() > 5) return {};
  std::vector<Operator> generators;
  if (parts[0].starts_with('-')) {
    generators.push_back({{{{-1, 0, 0}, {0, -1, 0}, {0, 0, -1}}}, {}});
    parts[0].remove_prefix(1);
  }
  if (parts[0].size() != 1) return {};
  const auto shifts = LatticeShifts(parts[0][0]);
  if (shifts.empty()) return {};
  for (const auto& shift : shifts) generators.push_back({kIdentity.r, shift});
  HallParser parser;
  for (size_t i = 1; i < parts.size(); ++i) {
    auto op = parser.Next(parts[i]);
    if (!op) return {};
    generators.push_back(*op);
  }
  for (Operator& op : generators) {
    const auto turned = Turned(op, origin);
    for (size_t i = 0; i < 3; ++i) op.t[i] = InCell(op.t[i] + origin[i] - turned[i]);
  }
  std::vector<std::string> texts;
  for (const Operator& op : Closure(generators)) texts.push_back(TextOf(op));
  return texts;
}

std::string HallSymbolOf(std::string_view hermannMauguin) {
  auto parts = Parts(hermannMauguin.substr(0, hermannMauguin.find(':')));
  if (parts.size() == 4 && parts[1] == "1" && parts[3] == "1") std::erase(parts, "1");
  std::string name;
  for (const std::string_view part : parts)
    for (const char c : part) name += static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
  const auto group = std::ranges::find(kGroups, name, &Group::name);
  return group == std::end(kGroups) ? "" : group->hall;
}

}  // namespace marvik

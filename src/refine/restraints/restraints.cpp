#include "refine/restraints/restraints.h"

#include <algorithm>
#include <cmath>

#include "language/tokenizer.h"
#include "refine/restraints/restraint_tools.h"

namespace marvik {
namespace {

struct Maker {
  const char* name;
  MakeRestraint make;
  bool everyAtom;  // without names it means every atom but the hydrogens
  bool byResidue;
  bool acrossResidues = false;
};
constexpr Maker kMakers[] = {
    {"DFIX", MakeDfix, false, true},       {"DANG", MakeDfix, false, true}, {"SADI", MakeSadi, false, true, true},
    {"SAME", MakeSame, false, true, true}, {"BUMP", MakeBump, true, false}, {"FLAT", MakeFlat, false, true},
    {"CHIV", MakeChiv, false, true},       {"SUMP", MakeSump, true, false}, {"DELU", MakeDelu, true, true},
    {"RIGU", MakeRigu, true, true},        {"SIMU", MakeSimu, true, true},  {"ISOR", MakeIsor, true, true},
    {"NCSY", MakeNcsy, true, true},
};

std::vector<SiteImage> EveryAtom(const Structure& structure, const Instruction& command, int residue) {
  std::vector<SiteImage> images;
  for (size_t i = 0; i < structure.sites.size(); ++i) {
    const Site& site = structure.sites[i];
    if (site.hydrogen || (!command.residue.empty() && site.residueNumber != residue)) continue;
    images.push_back(PlainImage(static_cast<int>(i)));
  }
  return images;
}

// DEFS sd sf su ss: other default uncertainties. They are put where the instruction gives none of its own.
Instruction WithDefaults(Instruction command, const std::vector<double>& defaults) {
  if (defaults.empty()) return command;
  const auto set = [&](size_t at, size_t which, double factor) {
    if (which < defaults.size() && command.numbers.size() == at) command.numbers.push_back(defaults[which] * factor);
  };
  if (command.name == "DFIX") set(1, 0, 1.0);
  if (command.name == "DANG") set(1, 0, 2.0);
  if (command.name == "SADI") set(0, 0, 1.0);
  if (command.name == "SAME") set(0, 0, 1.0), set(1, 0, 2.0);
  if (command.name == "FLAT") set(0, 1, 1.0);
  if (command.name == "CHIV") set(0, 9, 1.0);
  if (command.name == "DELU") set(0, 2, 1.0), set(1, 2, 1.0);
  if (command.name == "SIMU") set(0, 3, 1.0), set(1, 3, 2.0);
  return command;
}

// "SADI Al1 O1_*" means Al1 with the O1 of every residue that has one, 0 among them: the words once for each.
std::vector<std::string> InEveryResidue(const Structure& structure, const Instruction& command) {
  const auto everywhere = [](const std::string& word) { return word.ends_with("_*"); };
  const auto wild = std::find_if(command.words.begin(), command.words.end(), everywhere);
  if (wild == command.words.end()) return command.words;
  std::vector<std::string> words;
  const std::string sought = UpperCase(wild->substr(0, wild->size() - 2));
  for (const Site& site : structure.sites) {
    if (UpperCase(site.name) != sought) continue;
    for (const std::string& word : command.words)
      words.push_back(everywhere(word) ? word.substr(0, word.size() - 1) + std::to_string(site.residueNumber) : word);
  }
  return words.empty() ? command.words : words;
}

}  // namespace

double NumberAt(const Instruction& command, size_t at, double otherwise) {
  return at < command.numbers.size() ? command.numbers[at] : otherwise;
}

SiteImage PlainImage(int site) {
  SiteImage image;
  image.site = site;
  return image;
}

bool IsAsListed(const Structure& structure, const Neighbour& n) {
  if (n.IsIdentity()) return true;
  constexpr double kSamePlace = 0.1;  // Å
  return structure.metric.DistanceSquared(ImagePosition(structure, n), structure.sites[static_cast<size_t>(n.site)].x) <
         kSamePlace * kSamePlace;
}

Cartesian PlaceOf(const Structure& structure, const SiteImage& image) {
  const Fractional& x = structure.sites[static_cast<size_t>(image.site)].x;
  return structure.metric.ToCartesian(image.moved ? image.operation.Apply(x) : x);
}

void AddPositionSlopes(const Structure& structure, const SiteImage& image, const Cartesian& g,
                       RestraintEquation& equation) {
  // r = M(Rx + t), so that ∂/∂x = Rᵀ Mᵀ g.
  const Cartesian f = Transposed(structure.metric.orthogonal) * g;
  for (int j = 0; j < 3; ++j) {
    double slope = 0.0;
    for (int i = 0; i < 3; ++i) {
      const double r = image.moved ? image.operation.r[static_cast<size_t>(i)][static_cast<size_t>(j)]
                       : i == j    ? 1.0
                                   : 0.0;
      slope += r * f[i];
    }
    if (slope != 0.0) equation.slopes.push_back({image.site, j, slope});
  }
}

double DistanceWithSlopes(const Structure& structure, const SiteImage& a, const SiteImage& b, double factor,
                          RestraintEquation& equation) {
  const Cartesian d = PlaceOf(structure, b) - PlaceOf(structure, a);
  const double length = Length(d);
  if (length < 1e-6) return 0.0;
  AddPositionSlopes(structure, a, d * (-factor / length), equation);
  AddPositionSlopes(structure, b, d * (factor / length), equation);
  return length;
}

double TensorWithSlopes(const Structure& structure, int site, const Mat3& m, double factor,
                        RestraintEquation& equation) {
  const Site& s = structure.sites[static_cast<size_t>(site)];
  if (!s.anisotropic) {
    const double trace = m.m[0][0] + m.m[1][1] + m.m[2][2];
    if (trace != 0.0) equation.slopes.push_back({site, kRawU, factor * trace});
    return trace * s.u[0];
  }
  // U_cart = A U Aᵀ with A = orthogonal·diag(a*): Σ m_ij U_cart_ij = Σ (Aᵀ m A)_kl U_kl.
  const auto& e = structure.metric.reciprocalEdges;
  const Mat3 a = structure.metric.orthogonal * Mat3::Diagonal(e[0], e[1], e[2]);
  const Mat3 w = Transposed(a) * m * a;
  double value = 0.0;
  for (int k = 0; k < 3; ++k) {
    for (int l = k; l < 3; ++l) {
      const double weight =
          k == l ? w[k][static_cast<size_t>(k)] : w[k][static_cast<size_t>(l)] + w[l][static_cast<size_t>(k)];
      const int at = TensorIndex(k, l);
      value += weight * s.u[static_cast<size_t>(at)];
      equation.slopes.push_back({site, kRawU + at, factor * weight});
    }
  }
  return value;
}

RestraintList MakeRestraints(const Structure& structure, const std::vector<Instruction>& commands,
                             const NeighbourTable& bonds, std::vector<std::string>& notes, bool laterRigu) {
  RestraintList list;
  std::vector<double> defaults;
  for (const Instruction& given : commands) {
    if (given.name == "DEFS") defaults = given.numbers;
    const auto maker =
        std::find_if(std::begin(kMakers), std::end(kMakers), [&](const Maker& m) { return given.name == m.name; });
    if (maker == std::end(kMakers)) continue;
    const Instruction command = WithDefaults(given, defaults);
    const std::vector<int> residues = maker->byResidue ? ResiduesOf(structure, command) : std::vector<int>{0};
    if (residues.empty()) {
      notes.push_back(command.name + "_" + command.residue + ": there is no such residue" + command.place);
      continue;
    }
    const size_t before = list.size();
    const bool across = maker->acrossResidues && NamesAClass(command);
    RestraintInput input{structure, command, commands, bonds, {}, 0, laterRigu};
    for (const int residue : residues) {
      ResolvedNames names = ResolveAtoms(structure, command, commands, InEveryResidue(structure, command), residue);
      for (const std::string& missing : names.missing) {
        const std::string note = command.name + ": there is no atom " + missing + command.place;
        if (std::find(notes.begin(), notes.end(), note) == notes.end()) notes.push_back(note);
      }
      if (!names.missing.empty() && !maker->everyAtom) continue;
      if (command.words.empty() && maker->everyAtom) names.images = EveryAtom(structure, command, residue);
      // Residues of one class are the same molecule: SADI and SAME make their distances alike too.
      if (!across) input.images.clear();
      input.images.insert(input.images.end(), names.images.begin(), names.images.end());
      input.residue = residue;
      if (!across) maker->make(input, list);
    }
    if (across) maker->make(input, list);
    for (size_t i = before; i < list.size(); ++i) list[i]->text = command.text;
    if (list.size() == before && command.name != "BUMP")
      notes.push_back(command.text + ": makes no restraint" + command.place);
  }
  MergeSets(list);
  return list;
}

}  // namespace marvik

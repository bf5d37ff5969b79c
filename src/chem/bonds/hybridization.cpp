#include "chem/bonds/hybridization.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "chem/bonds/connectivity.h"

namespace marvik {

namespace {

// Limits of δ in Å; the constants of single precision keep their rounding.
constexpr double kTerminalSp3 = -0.14f;
constexpr double kTerminalSp2 = -0.26f;
constexpr double kBridgeSp3 = -0.05f;
constexpr double kBridgeSp2 = -0.26;
constexpr double kPlanar = 0.1f;
constexpr double kLongBonds = 0.1f;
constexpr double kShortBonds = -0.15f;
constexpr int kHeaviestNeighbour = 47;

struct Class {
  int hybridization;
  int hydrogens;
  int charge = 0;
};

bool IsOneOf(int z, std::initializer_list<int> numbers) {
  return std::find(numbers.begin(), numbers.end(), z) != numbers.end();
}

// How much shorter (negative) or longer a bond is than the sum of the radii, Å.
double Excess(const AtomRecord& atom, const NeighbourImage& b) {
  return b.distance - atom.element->bondRadius - b.atom->element->bondRadius;
}

Class ClassifySecondRow(const AtomRecord& atom, const std::vector<NeighbourImage>& b) {
  // Boron counts as four-valent.
  const int valence = std::min(10 - atom.element->atomicNumber, 4);
  switch (b.size()) {
    case 1: {
      const double delta = Excess(atom, b[0]);
      if (delta >= kTerminalSp3) return {kHybridSp3, 3};
      return delta >= kTerminalSp2 ? Class{kHybridSp2, valence - 2} : Class{kHybridSp1, valence - 3};
    }
    case 2: {
      const double delta = (Excess(atom, b[0]) + Excess(atom, b[1])) / 2;
      if (delta >= kBridgeSp3) return {kHybridSp3, 2};
      return delta >= kBridgeSp2 ? Class{kHybridSp2, valence - 3} : Class{kHybridSp1, 0};
    }
    case 3: {
      const double off = std::fabs(PlaneDeviation(atom.position, b[0].position, b[1].position, b[2].position));
      return off < kPlanar ? Class{kHybridSp2, 0} : Class{kHybridSp3, valence - 3};
    }
    default:
      return {kHybridSp3, 0};
  }
}

Class Classify(const AtomRecord& atom, const std::vector<NeighbourImage>& b) {
  const int z = ChemicalNumber(atom);
  const int n = static_cast<int>(b.size());
  if (z == 1) return {kHybridS, n};
  if (IsOneOf(z, {3, 11, 19, 37, 55, 87})) return {kHybridS, 0, 1};
  if (IsOneOf(z, {4, 12, 20, 38, 56, 88})) return {kHybridS, 0, 2};
  if (IsOneOf(z, {9, 17, 35, 53, 85})) return {kHybridS, 1 - n};
  if (z >= 5 && z <= 8) return ClassifySecondRow(atom, b);
  if (z >= 14 && z <= 16) {
    double sum = 0.0;
    for (const NeighbourImage& neighbour : b) sum += Excess(atom, neighbour);
    return {sum > kLongBonds ? kHybridBlank : sum < kShortBonds ? kHybridSp3 : kHybridOther, 0};
  }
  return {kHybridBlank, 0};
}

}  // namespace

const char* HybridizationName(int hybridization) {
  constexpr const char* kNames[] = {"  s  ", " sp1 ", " sp2 ", " sp3 "};
  return hybridization >= 0 && hybridization < 4 ? kNames[hybridization] : "     ";
}

Cartesian PlaneNormal(const Mat3& scatter) {
  const double trace = scatter[0][0] + scatter[1][1] + scatter[2][2];
  Mat3 inertia;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) inertia[i][j] = (i == j ? trace : 0.0) - scatter[i][j];
  return SymmetricEigen(inertia).Vector<CartesianSpace>(2);
}

double PlaneDeviation(const Cartesian& centre, const Cartesian& b1, const Cartesian& b2, const Cartesian& b3) {
  const Cartesian mean = (b1 + b2 + b3) / 3.0;
  Mat3 scatter;
  for (const Cartesian& p : {b1, b2, b3}) {
    const Cartesian d = p - mean;
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) scatter[i][j] += d[i] * d[j];
  }
  return Dot(PlaneNormal(scatter), centre - mean);
}

int ChemicalNumber(const AtomRecord& atom) {
  const int row = atom.element->atomicNumber;
  return row == kDeuteriumRow ? kHydrogenRow : row;
}

bool HybridizeAll(Document& document, UserMessages& messages, ProgramHydrogens hydrogens) {
  for (const AtomRecord* atom : Atoms(document.atoms))
    if (atom->IsPeak()) {
      messages.Show({MessageIcon::Warning, "Error: Q-Peaks Present",
                     "It is not possible for Marvik to determine hybridization\nwhile Q-Peaks are still present in the "
                     "structure."});
      return false;
    }
  const unsigned without = hydrogens == ProgramHydrogens::Ignored ? static_cast<unsigned>(kProgramHydrogen) : 0u;
  const NeighbourSearch search(document, kBondTolerance, without);
  for (AtomRecord* atom : Atoms(document.atoms, kVisibleOnly | kNoGenerated)) {
    std::vector<NeighbourImage> neighbours = search.FindBonded(*atom);
    std::erase_if(neighbours, [](const NeighbourImage& b) { return ChemicalNumber(*b.atom) > kHeaviestNeighbour; });
    const Class result = Classify(*atom, neighbours);
    atom->SetHybridization(result.hybridization);
    atom->hydrogenCount = static_cast<int8_t>(std::clamp(result.hydrogens, -128, 127));
    atom->charge = static_cast<int8_t>(result.charge);
  }
  return true;
}

}  // namespace marvik

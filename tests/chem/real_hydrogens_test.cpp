#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "base/files.h"
#include "base/numbers.h"
#include "chem/bonds/bond_rules.h"
#include "chem/bonds/crystal_fragments.h"
#include "chem/bonds/hybridization.h"
#include "chem/hydrogens/hfix.h"
#include "chem/hydrogens/hydrogens.h"
#include "files/cif/cif_translation.h"
#include "model/placement.h"

#include "chem_fixture.h"
#include "support/test_files.h"

namespace marvik::test {
namespace {

struct Carrier {
  std::string name;
  uint32_t serial = 0;
  std::vector<Cartesian> hydrogens;  // of the file
  int code = 0;                      // their AFIX number, 0 when they do not ride
};

// What came of all structures together.
struct Tally {
  std::map<int, std::vector<double>> distances;  // Å, by code
  size_t structures = 0;
  std::set<std::string> known;  // places of all hydrogens: two files may hold the same model
  size_t carriers = 0;
  size_t other = 0;  // with another code or count
};

bool IsCarrier(const AtomRecord& atom) {
  const int z = atom.element->atomicNumber;
  return z >= 6 && z <= 8;
}

const AtomRecord* NearestCarrier(const Document& document, const BondRules& rules, const AtomRecord& hydrogen) {
  const AtomRecord* nearest = nullptr;
  double shortest = 1.25;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    const double distance = Distance(hydrogen, *atom);
    if (!IsCarrier(*atom) || rules.AreAlternatives(hydrogen, *atom) || distance > shortest) continue;
    nearest = atom;
    shortest = distance;
  }
  return nearest;
}

// C, N and O atoms with the hydrogens bonded to them; of alternative hydrogens of one carrier the first.
std::vector<Carrier> CarriersOf(const Document& document) {
  const BondRules rules(document);
  std::map<const AtomRecord*, std::vector<const AtomRecord*>> hydrogens;
  for (const AtomRecord* h : Atoms(document.atoms)) {
    if (!h->IsHydrogen()) continue;
    auto& known = hydrogens[NearestCarrier(document, rules, *h)];
    if (std::none_of(known.begin(), known.end(), [&](const AtomRecord* k) { return rules.AreAlternatives(*h, *k); }))
      known.push_back(h);
  }
  std::vector<Carrier> carriers;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (!IsCarrier(*atom)) continue;
    Carrier carrier{atom->name, atom->serial, {}, 0};
    for (const AtomRecord* h : hydrogens[atom]) {
      carrier.hydrogens.push_back(h->position);
      carrier.code = std::max<int>(carrier.code, h->afix);
    }
    carriers.push_back(carrier);
  }
  return carriers;
}

// The hydrogen positions belong together whatever their order: the best of all assignments.
std::vector<double> BestDistances(const std::vector<Cartesian>& a, std::vector<Cartesian> b) {
  std::vector<size_t> order(b.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::vector<double> best;
  double bestSum = 1e9;
  do {
    std::vector<double> distances;
    double sum = 0.0;
    for (size_t i = 0; i < a.size(); ++i) {
      distances.push_back(Distance(a[i], b[order[i]]));
      sum += distances.back();
    }
    if (sum < bestSum) bestSum = sum, best = distances;
  } while (std::next_permutation(order.begin(), order.end()));
  return best;
}

// 3 and 1 are positions that ride as they were refined; 33 and 83 are the groups of 137 and 147 with another freedom.
int GroupOf(int afix) {
  switch (afix) {
    case 33:
    case 137:
      return 137;
    case 83:
    case 147:
      return 147;
    default:
      return FindHfixGroup(afix / 10) ? afix : 0;
  }
}

void Compare(Document& document, const std::vector<Carrier>& carriers, Tally& tally) {
  for (const Carrier& carrier : carriers) {
    const AtomRecord* atom = document.atoms.FindSerial(carrier.serial);
    std::vector<Cartesian> placed;
    int code = 0;
    for (const AtomRecord* h : Atoms(document.atoms))
      if (h->parent == atom && h->IsHydrogen()) placed.push_back(h->position), code = h->afix;
    if (placed.empty() && carrier.hydrogens.empty()) continue;
    const bool fixedCount = atom->Hybridization() == kHybridSp3 && atom->element->atomicNumber != 6;
    const int wanted = GroupOf(carrier.code);
    const bool same = placed.size() == carrier.hydrogens.size() && (wanted == 0 || wanted == GroupOf(code));
    if (!fixedCount) {
      ++tally.carriers;
      if (!same) ++tally.other;
    }
    if (placed.size() != carrier.hydrogens.size()) continue;
    for (const double d : BestDistances(carrier.hydrogens, placed)) tally.distances[code].push_back(d);
  }
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values.empty() ? 0.0 : values[values.size() / 2];
}

void TakeFile(const std::string& file, Tally& tally) {
  Document document;
  RecordingMessages messages;
  if (file.ends_with(".cif")) {
    const auto translation = TranslateCif(ReadWholeFile(file).content);
    if (!translation || !ReadInstructionText(document, translation->text, messages)) return;
  } else if (!ReadInstructionFile(document, file, messages)) {
    return;
  }
  std::vector<AtomRecord*> gone;
  for (AtomRecord* atom : Atoms(document.atoms))
    if (atom->IsPeak() || IsGenerated(*atom)) gone.push_back(atom);
  document.atoms.DestroyAtoms(gone);
  const std::vector<Carrier> carriers = CarriersOf(document);
  gone.clear();
  for (AtomRecord* atom : Atoms(document.atoms))
    if (atom->IsHydrogen()) gone.push_back(atom);
  const bool isMolecule = gone.size() >= 4 && document.atoms.LiveCount() < 2000;
  if (!isMolecule) return;
  std::string model;
  for (const Carrier& carrier : carriers)
    for (const Cartesian& h : carrier.hydrogens) model += Printf("%.2f %.2f %.2f ", h.x, h.y, h.z);
  if (!tally.known.insert(model).second) return;
  document.atoms.DestroyAtoms(gone);
  Connect(document, messages);
  ASSERT_TRUE(CalculateHydrogens(document, messages)) << file;
  EXPECT_EQ(FaultsOf(document.atoms), "");
  Compare(document, carriers, tally);
  ++tally.structures;
}

}  // namespace

TEST(RealHydrogens, PlacedHydrogensLieWhereTheFilesHaveThem) {
  const std::string folder = RealDataFolder();
  if (folder.empty()) GTEST_SKIP() << "MARVIK_REAL_DATA is not set";
  Tally tally, cifs;  // a CIF does not say how its hydrogens ride
  for (const std::string& file : FilesBelow(folder, {"res", "ins"})) TakeFile(file, tally);
  for (const std::string& file : FilesBelow(folder + "cif", {"cif"})) TakeFile(file, cifs);
  EXPECT_GE(tally.structures, 10u);
  for (const int code : {13, 23, 43, 93}) {
    EXPECT_FALSE(tally.distances[code].empty()) << code;
    EXPECT_LT(Median(tally.distances[code]), 0.1) << code;
  }
  EXPECT_LE(tally.other * 20, tally.carriers);
}

}  // namespace marvik::test

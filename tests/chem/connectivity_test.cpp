#include "chem/bonds/connectivity.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "chem/bonds/crowding.h"
#include "crystal/cell_metric.h"
#include "crystal/image_search.h"

#include "support/structures.h"

namespace marvik {
namespace {

using test::AddAtomAt;
using test::BondsOf;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Bonds as the double loop over the atom list makes them, the later partner first in each list.
std::string PlainBonds(const Document& document) {
  const AtomList& list = document.atoms;
  std::string bonds;
  for (const AtomRecord* a : Atoms(list)) {
    std::string own;
    for (const AtomRecord* b = a->next; b; b = b->next) {
      if (list.IsPartHidden(a->part) || list.IsPartHidden(b->part)) continue;
      if (!IsFinite(a->position) || !IsFinite(b->position)) continue;
      const Cartesian d = b->position - a->position;
      const double limit = a->element->bondRadius + b->element->bondRadius + 0.5;
      const bool near = std::sqrt(d.x * d.x + d.y * d.y + d.z * d.z) <= limit;
      const bool parts = a->part == 0 || b->part == 0 || a->part == b->part;
      if (list.freePairs.IndexOf(a, b) >= 0) continue;
      if (list.bindPairs.IndexOf(a, b) >= 0 || (near && parts)) own = " " + a->name + "-" + b->name + own;
    }
    bonds += own;
  }
  return bonds.empty() ? bonds : bonds.substr(1);
}

struct Recipe {
  int atoms = 0;
  double box = 0.0;  // Å, side of the cube they are put in
  bool awkward = false;
};

// Elements from hydrogen to caesium, PARTs -1 to 2, BIND and FREE pairs; an awkward one has coincident, enormous and
// non-finite positions as well.
void FillAtRandom(Document& document, const Recipe& recipe, unsigned seed) {
  std::mt19937 random(seed);
  const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  std::uniform_real_distribution<double> place(0.0, recipe.box);
  const char* symbols[] = {"H", "C", "C", "N", "O", "Cs", "Q", "Cl"};
  const int parts[] = {0, 0, 0, 1, 2, -1};
  std::vector<AtomRecord*> atoms;
  for (int i = 0; i < recipe.atoms; ++i) {
    Cartesian position{place(random), place(random), place(random)};
    if (recipe.awkward && i > 0 && below(8) == 0) {
      const double odd[] = {kNaN, kInfinity, -kInfinity, 1e308, -1e308, 1e6, -3e9, 1e18, 1e-300};
      position[below(3)] = odd[below(9)];
    }
    if (recipe.awkward && i > 0 && below(8) == 0) position = atoms[static_cast<size_t>(below(i))]->position;
    AtomRecord* atom = AddAtomAt(document, test::Numbered(symbols[below(8)], i), position);
    atom->part = static_cast<int16_t>(parts[below(6)]);
    atoms.push_back(atom);
  }
  for (int i = 0; i < recipe.atoms / 4; ++i) {
    AtomRecord* a = atoms[static_cast<size_t>(below(recipe.atoms))];
    AtomRecord* b = atoms[static_cast<size_t>(below(recipe.atoms))];
    (below(2) ? document.atoms.bindPairs : document.atoms.freePairs).Append(a, b);
  }
  if (below(3) == 0) document.atoms.hiddenParts = {2, 7};
}

TEST(Connect, MakesTheBondsOfThePlainLoopInItsOrder) {
  size_t bonded = 0;
  for (unsigned seed = 0; seed < 300; ++seed) {
    Document document;
    RecordingMessages messages;
    FillAtRandom(document, {static_cast<int>(seed % 97) + 1, seed % 3 == 0 ? 3.0 : 12.0, seed % 2 == 1}, seed);
    Connect(document, messages);
    const std::string bonds = BondsOf(document.atoms);
    ASSERT_EQ(bonds, PlainBonds(document)) << "seed " << seed;
    ASSERT_EQ(test::FaultsOf(document.atoms), "") << "seed " << seed;
    bonded += bonds.empty() ? 0 : 1;
    ASSERT_TRUE(messages.shown.empty());
  }
  EXPECT_GT(bonded, 250u);
}

TEST(Connect, BondsUpToTheLimitAndNoFarther) {
  Document document;
  RecordingMessages messages;
  AddAtomAt(document, "C1", {0, 0, 0});
  AtomRecord* b = AddAtomAt(document, "C2", {0.77 + 0.77 + 0.5, 0, 0});
  Connect(document, messages);
  EXPECT_EQ(BondsOf(document.atoms), "C1-C2");
  b->position.x = std::nextafter(b->position.x, 3.0);
  Connect(document, messages);
  EXPECT_EQ(BondsOf(document.atoms), "");
}

TEST(Connect, CountsHiddenPartsForTheCentreOnly) {
  Document document;
  RecordingMessages messages;
  Connect(document, messages);
  EXPECT_EQ(document.MoleculeCentre, Cartesian{});
  AddAtomAt(document, "C1", {0, 0, 0});
  AtomRecord* hidden = AddAtomAt(document, "C2", {1.5, 0, 3});
  AddAtomAt(document, "C3", {kNaN, 0, 0});
  hidden->part = 2;
  hidden->flags |= kHidden;
  document.atoms.hiddenParts = {2};
  Connect(document, messages);
  EXPECT_TRUE(hidden->Has(kHiddenPart));
  EXPECT_EQ(BondsOf(document.atoms), "");
  EXPECT_EQ(document.MoleculeCentre, (Cartesian{0.75, 0, 1.5}));
  // An atom hidden by the user still bonds: only its PART keeps one from it.
  document.atoms.hiddenParts = {1, 3};
  hidden->position.z = 0;
  Connect(document, messages);
  EXPECT_FALSE(hidden->Has(kHiddenPart));
  EXPECT_EQ(BondsOf(document.atoms), "C1-C2");

  Document far;
  for (int i = 0; i < 4; ++i) AddAtomAt(far, "C", {1e308, -1e308, 0});
  Connect(far, messages);
  EXPECT_NEAR(far.MoleculeCentre.x / 1e308, 1.0, 1e-12);
}

TEST(Connect, SurvivesAbsurdRadii) {
  Document document;
  RecordingMessages messages;
  for (int i = 0; i < 60; ++i) AddAtomAt(document, test::Numbered("Fe", i), {50.0 * i, 0, i == 7 ? 1e300 : 0.0});
  for (const double radius : {1000.0, 1e308, kInfinity, kNaN, -5.0}) {
    document.elements[26].bondRadius = radius;
    Connect(document, messages);
    EXPECT_EQ(BondsOf(document.atoms), PlainBonds(document)) << radius;
  }
  // Every one of 3,000 atoms to every other is more than can be meant: it ends with the message.
  for (int i = 60; i < 3000; ++i) AddAtomAt(document, "Fe", {0.01 * i, 0, 0});
  document.elements[26].bondRadius = 1e9;
  Connect(document, messages);
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.shown[0].text,
            "More than 4000000 pairs of atoms stand within bonding distance: no bonds are drawn.");
  EXPECT_FALSE(messages.quitRequested) << "a limit is no lack of memory";
}

TEST(Connect, StopsAtTheFirstBondWithoutMemory) {
  Document document;
  RecordingMessages messages;
  for (int i = 0; i < 10; ++i) AddAtomAt(document, "C", {1.5 * i, 0, 0});
  document.atoms.LimitRecords(100, 4);
  Connect(document, messages);
  EXPECT_EQ(messages.shown.size(), 1u);
  EXPECT_TRUE(messages.quitRequested);
  EXPECT_EQ(test::FaultsOf(document.atoms), "");
}

TEST(BindAtoms, RecordsOnlyExceptionsToTheDistanceRule) {
  Document document;
  RecordingMessages messages;
  AtomList& list = document.atoms;
  AtomRecord* c1 = AddAtomAt(document, "C1", {0, 0, 0});
  AtomRecord* c2 = AddAtomAt(document, "C2", {1.5, 0, 0});
  AtomRecord* c3 = AddAtomAt(document, "C3", {9, 0, 0});

  EXPECT_TRUE(BindAtoms(document, BindMode::Pair, c1, c3, messages));
  EXPECT_TRUE(BindAtoms(document, BindMode::Pair, c3, c1, messages));
  EXPECT_EQ(list.bindPairs.pairs.size(), 1u);
  EXPECT_EQ(BondsOf(list), "C1-C3 C1-C2");
  EXPECT_FALSE(FreeAtoms(document, c3, c1, messages));  // a long bond only loses its BIND
  EXPECT_TRUE(list.bindPairs.pairs.empty());
  EXPECT_TRUE(list.freePairs.pairs.empty());

  EXPECT_TRUE(FreeAtoms(document, c2, c1, messages));
  EXPECT_EQ(BondsOf(list), "");
  EXPECT_TRUE(BindAtoms(document, BindMode::Pair, c1, c2, messages));
  EXPECT_TRUE(list.freePairs.pairs.empty());
  EXPECT_TRUE(list.bindPairs.pairs.empty());
  EXPECT_EQ(BondsOf(list), "C1-C2");

  // Two alternatives do not bond by themselves however near they are, so the wish has to be kept.
  c1->part = 1;
  c2->part = 2;
  EXPECT_TRUE(BindAtoms(document, BindMode::Pair, c1, c2, messages));
  EXPECT_EQ(BondsOf(list), "C1-C2");
  EXPECT_FALSE(FreeAtoms(document, c1, c2, messages));
  EXPECT_EQ(BondsOf(list), "");
  EXPECT_TRUE(list.freePairs.pairs.empty());
}

TEST(BindAtoms, BindsTheSelectionToATarget) {
  Document document;
  RecordingMessages messages;
  AtomList& list = document.atoms;
  AtomRecord* target = AddAtomAt(document, "Li1", {0, 0, 0});
  AtomRecord* o1 = AddAtomAt(document, "O1", {5, 0, 0});
  AddAtomAt(document, "O2", {0, 5, 0});
  EXPECT_FALSE(BindAtoms(document, BindMode::SelectionToTarget, nullptr, target, messages));
  for (AtomRecord* atom : Atoms(list)) list.selection.Append(atom);
  EXPECT_FALSE(BindAtoms(document, BindMode::SelectionToTarget, nullptr, nullptr, messages));
  EXPECT_TRUE(BindAtoms(document, BindMode::SelectionToTarget, nullptr, target, messages));
  EXPECT_EQ(BondsOf(list), "Li1-O2 Li1-O1");
  EXPECT_FALSE(BindAtoms(document, BindMode::Pair, nullptr, o1, messages));
  EXPECT_FALSE(FreeAtoms(document, nullptr, o1, messages));
}

TEST(FindCrowded, CountsWhatStandsWithinBondingDistance) {
  Document document;
  document.cell = {20, 20, 20, 90, 90, 90};
  ASSERT_TRUE(BuildOrthogonalisation(document.cell, document.matrix));
  EXPECT_EQ(FindCrowded(document), nullptr);
  for (size_t i = 0; i < kMostBondingImages; ++i) test::AddAtom(document, "C1", {0.5, 0.5, 0.5});
  EXPECT_EQ(FindCrowded(document), nullptr) << "as many as can be";
  AtomRecord* last = test::AddAtom(document, "C9", {});
  const double reach = 2.0 * last->element->bondRadius + kBondTolerance;
  for (const double turn : {0.0, -1.0, 2.0}) {
    last->fract = {0.5 + turn + (reach - 0.01) / 20, 0.5, 0.5};
    EXPECT_EQ(FindCrowded(document), document.atoms.head) << turn;
    last->fract.x += 0.02 / 20;
    EXPECT_EQ(FindCrowded(document), nullptr);
  }
}

}  // namespace
}  // namespace marvik

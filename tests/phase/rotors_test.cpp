#include "phase/groups/rotors.h"

#include <gtest/gtest.h>
#include <sstream>

#include "base/numbers.h"
#include "phase/group_fixture.h"

namespace marvik::phase {
namespace {

class Rotors : public GroupFixture {
 protected:
  bool Fit() { return FitRotors(problem_, observations_, model_, shares_, fractions_); }
};

// Three atoms about the end of a bond, so far from the plane of `away`.
std::vector<Cartesian> Around(const Cartesian& centre, const Cartesian& axis, const Cartesian& away, double length,
                              double turn) {
  const Cartesian x = Normalised(away - Dot(away, axis) * axis), y = Cross(axis, x);
  std::vector<Cartesian> places;
  for (int k = 0; k < 3; ++k) {
    const double t = (turn + 120.0 * k) * kRadiansPerDegree;
    places.push_back(centre + 0.36 * length * axis + 0.933 * length * (std::cos(t) * x + std::sin(t) * y));
  }
  return places;
}

// A group that an atom at `from` holds by a carbon atom at `to`.
std::vector<Atom> Group(bool branched, const Cartesian& from, const Cartesian& to, double turn, double share) {
  std::vector<Atom> atoms{{kCarbon, to, share}};
  const Cartesian axis = Normalised(to - from);
  for (const Cartesian& end : Around(to, axis, {0.3, 1, 0.2}, branched ? 1.54 : 1.33, turn)) {
    atoms.push_back({branched ? kCarbon : kFluorine, end, share});
    if (!branched) continue;
    for (const Cartesian& f : Around(end, Normalised(end - to), axis, 1.33, 10.0))
      atoms.push_back({kFluorine, f, share});
  }
  return atoms;
}

// Every second atom of the weaker orientation as well, all as carbon.
std::vector<Atom> Guess(const std::vector<Atom>& first, const std::vector<Atom>& second) {
  std::vector<Atom> guess = Rest();
  for (const Atom& a : first) guess.push_back({kCarbon, a.place, 0.95});
  for (size_t i = 2; i < second.size(); i += 2) guess.push_back({kCarbon, second[i].place, 0.65});
  return guess;
}

TEST_F(Rotors, TwoOrientationsComeFromTheDensity) {
  for (const bool branched : {true, false}) {
    const auto first = Group(branched, kHolder, kCentre, 0, 0.6), second = Group(branched, kHolder, kCentre, 52, 0.4);
    Start(Joined(Joined(Rest(), first), second), Guess(first, second));
    model_.freeVariables.clear();
    ASSERT_TRUE(Fit());
    EXPECT_EQ(Found(Rest()), Rest().size());
    // Both orientations share their centre.
    const auto ends = [](const std::vector<Atom>& all) { return std::vector<Atom>(all.begin() + 1, all.end()); };
    EXPECT_EQ(Found(ends(first)), first.size() - 1) << branched;
    EXPECT_EQ(Found(ends(second)), second.size() - 1) << branched;
    EXPECT_EQ(Found({{kCarbon, kCentre}}), 1u);
    EXPECT_EQ(model_.sites.size(), Rest().size() + first.size() + second.size() - 1);
    ASSERT_EQ(model_.freeVariables.size(), 1u);
    EXPECT_NEAR(model_.freeVariables[0], 0.6, 0.11);
    EXPECT_EQ(shares_.size(), model_.sites.size());
    EXPECT_EQ(fractions_.size(), model_.sites.size());

    for (size_t i = 0; i < model_.sites.size(); ++i)
      model_.sites[i].name = Printf("%c%zu", "XABC"[model_.sites[i].part], i);
    std::istringstream lines(RotorRestraints(model_));
    size_t bonds = 0, across = 0;
    for (std::string line; std::getline(lines, line);) {
      EXPECT_LE(line.size(), 80u);
      // Nothing holds one orientation to the other.
      EXPECT_FALSE(line.find(" A") != std::string::npos && line.find(" B") != std::string::npos) << line;
      std::istringstream words(line);
      std::string word;
      size_t names = 0;
      while (words >> word) names += std::string("XAB").find(word[0]) != std::string::npos;
      if (line.compare(0, 5, "DFIX ") == 0) bonds += names / 2;
      if (line.compare(0, 5, "DANG ") == 0) across += names / 2;
    }
    EXPECT_EQ(bonds, branched ? 24u : 6u);
    // What bonds to one atom, not what merely stands as near.
    EXPECT_EQ(across, branched ? 42u : 6u);
  }
}

TEST_F(Rotors, NothingIsPutWhereTheFormulaOrTheDensitySpeaksAgainst) {
  const auto first = Group(true, kHolder, kCentre, 0, 0.6), second = Group(true, kHolder, kCentre, 52, 0.4);
  Start(Joined(Joined(Rest(), first), second), Guess(first, second));
  problem_.formula[2].count = 2.0;
  EXPECT_FALSE(Fit());
  EXPECT_EQ(model_.sites.size(), Guess(first, second).size());
  // tert-Butyl groups in two orientations have the same shape.
  problem_.formula[2].count = 18.0;
  std::vector<Atom> methyl[2];
  for (size_t k = 0; k < 2; ++k) {
    methyl[k] = {{kCarbon, kCentre, k == 0 ? 0.6 : 0.4}};
    for (const Cartesian& end :
         Around(kCentre, Normalised(kCentre - kHolder), {1, 0, 0}, 1.54, 60.0 * static_cast<double>(k)))
      methyl[k].push_back({kCarbon, end, k == 0 ? 0.6 : 0.4});
  }
  const auto all = Joined(Joined(Rest(), methyl[0]), {methyl[1].begin() + 1, methyl[1].end()});
  Start(all, all);
  EXPECT_FALSE(Fit());
}

TEST_F(Rotors, TwoEndsTooNearToEachOtherAreOneAtom) {
  const Cartesian chain{2.4, 4.6, 4.3}, one{1.5, 5.5, 3.7}, other{2.6, 5.9, 4.9};
  std::vector<Atom> atoms = Rest();
  atoms.push_back({kCarbon, kCentre});
  atoms.push_back({kCarbon, chain});
  const size_t first = atoms.size();
  atoms.push_back({kCarbon, one, 0.6});
  atoms.push_back({kCarbon, other, 0.8});
  Set(atoms);
  ASSERT_TRUE(SplitEnds(problem_, model_, shares_, fractions_));
  const Site &weak = model_.sites[first], &strong = model_.sites[first + 1];
  EXPECT_EQ(weak.scatterer, kOxygen);
  EXPECT_EQ(strong.scatterer, kOxygen);
  EXPECT_EQ(strong.part, 1);
  EXPECT_EQ(weak.part, 2);
  EXPECT_NEAR(weak.occupancy + strong.occupancy, 1.0, 1e-9);
  EXPECT_EQ(model_.freeVariables, std::vector<double>{strong.occupancy});
  EXPECT_FALSE(SplitEnds(problem_, model_, shares_, fractions_));

  // Whole atoms, what goes on as a chain, and ends far enough apart stay.
  atoms[first].share = atoms[first + 1].share = 1.0;
  Set(atoms);
  EXPECT_FALSE(SplitEnds(problem_, model_, shares_, fractions_));
  atoms[first].share = 0.6;
  atoms.push_back({kCarbon, one + Cartesian{-0.9, 0.9, -0.8}});
  Set(atoms);
  EXPECT_FALSE(SplitEnds(problem_, model_, shares_, fractions_));
  atoms.pop_back();
  atoms[first].place = {1.3, 4.9, 3.4};
  Set(atoms);
  EXPECT_FALSE(SplitEnds(problem_, model_, shares_, fractions_));
}

}  // namespace
}  // namespace marvik::phase

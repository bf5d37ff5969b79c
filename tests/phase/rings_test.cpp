#include "phase/groups/rings.h"

#include <sstream>

#include "base/numbers.h"
#include "phase/group_fixture.h"
#include "phase/groups/rotors.h"

namespace marvik::phase {
namespace {

const Cartesian kDown{0.2, -0.3, 1.0};

class Rings : public GroupFixture {
 protected:
  Cartesian Middle() const { return model_.metric.ToCartesian({0.5, 0.5, 0.5}); }

  // Six carbon atoms in a plane, turned in it, and fluorine on the first.
  std::vector<Atom> Ring(const Cartesian& middle, const Cartesian& normal, double turn, double share) const {
    const Cartesian z = Normalised(normal), x = Normalised(Cross(z, {0.1, 1.0, 0.3})), y = Cross(z, x);
    std::vector<Atom> atoms;
    for (int k = 0; k < 6; ++k) {
      const double t = (turn + 60.0 * k) * kRadiansPerDegree;
      const Cartesian out = std::cos(t) * x + std::sin(t) * y;
      atoms.push_back({kCarbon, middle + 1.387 * out, share});
      if (k == 0) atoms.push_back({kFluorine, middle + 2.745 * out, share});
    }
    return atoms;
  }

  // The highest points of the density that the rings give together.
  std::vector<Atom> Loose(const std::vector<Atom>& ring, double share) const {
    return {{kCarbon, ring[0].place, share}, {kCarbon, ring[3].place, share}, {kCarbon, ring[5].place, share}};
  }

  bool Fit() { return FitRings(problem_, observations_, model_, shares_, fractions_); }

  // How many of the atoms or of their images through the middle have a site of their element near.
  size_t Near(const std::vector<Atom>& atoms) const {
    size_t found = 0;
    for (const Atom& a : atoms) {
      found += std::any_of(model_.sites.begin(), model_.sites.end(), [&](const Site& s) {
        const Cartesian x = model_.metric.ToCartesian(s.x);
        const Cartesian image = 2.0 * Middle() - x;
        return s.part < 0 && s.scatterer == a.kind && std::min(Length(x - a.place), Length(image - a.place)) < 0.35;
      });
    }
    return found;
  }
};

TEST_F(Rings, OneAboutACentreOfSymmetryComesInNegativeParts) {
  for (const bool two : {false, true}) {
    const auto first = Ring(Middle(), kDown, 0.0, two ? 0.32 : 0.5);
    const auto second = Ring(Middle(), {0.9, 0.5, 0.4}, 25.0, two ? 0.18 : 0.0);
    Start(Joined(Joined(Rest(), first), second), Joined(Rest(), Loose(first, 0.7)));
    model_.freeVariables.clear();
    ASSERT_TRUE(Fit()) << two;
    EXPECT_EQ(Near(first), first.size()) << two;
    EXPECT_EQ(model_.freeVariables.size(), two ? 1u : 0u);
    EXPECT_GE(Near(second), two ? 6u : 0u);
    for (const Site& site : model_.sites) {
      if (site.part == 0) continue;
      const double code = std::fabs(site.code[kRawOccupancy]);
      EXPECT_EQ(std::floor(code / 10.0), two ? 2.0 : 1.0);
      EXPECT_LE(code - 10.0 * std::floor(code / 10.0), 0.5 + 1e-9);
      EXPECT_LE(site.occupancy, 0.5 + 1e-9);
    }
    EXPECT_EQ(shares_.size(), model_.sites.size());

    for (size_t i = 0; i < model_.sites.size(); ++i)
      model_.sites[i].name = Printf("%c%zu", model_.sites[i].part == 0 ? 'X' : 'A' - 1 - model_.sites[i].part, i);
    const std::string text = RotorRestraints(model_);
    EXPECT_NE(text.find("DFIX 1.387 0.02"), std::string::npos) << text;
    EXPECT_NE(text.find("DFIX 1.358 0.02"), std::string::npos);
    EXPECT_NE(text.find("FLAT"), std::string::npos);
    EXPECT_NE(DescribeRotors(model_).find("on an element of symmetry"), std::string::npos);
  }
}

TEST_F(Rings, OneAnywhereLiesAmidItsHighestPoints) {
  const auto first = Ring({1.9, 8.0, 7.5}, kDown, 0.0, 0.62),
             second = Ring({1.9, 8.0, 7.5}, {0.9, 0.5, 0.4}, 25.0, 0.38);
  std::vector<Atom> peaks = Ring({1.9, 8.0, 7.5}, {0.5, 0.1, 0.7}, 12.0, 0.7);
  peaks.erase(peaks.begin() + 1);  // fluorine
  Start(Joined(Joined(Rest(), first), second), Joined(Rest(), peaks));
  ASSERT_TRUE(Fit());
  EXPECT_EQ(Found(Joined(first, second)), 14u);
}

TEST_F(Rings, NothingIsPutInThePlaceOfWhatFitsOrIsNoRing) {
  const auto ring = Ring({1.9, 8.0, 7.5}, kDown, 0.0, 1.0);
  Start(Joined(Rest(), ring), Joined(Rest(), ring));
  EXPECT_FALSE(Fit());
  // Three atoms in a row that are there in part.
  std::vector<Atom> chain;
  for (const double at : {-1.4, 0.0, 1.4}) chain.push_back({kOxygen, {1.9 + at, 8.0, 7.5}, 0.6});
  Start(Joined(Rest(), chain), Joined(Rest(), chain));
  EXPECT_FALSE(Fit());
  problem_.scatterers[0] = problem_.scatterers[1];
  EXPECT_FALSE(Fit());
  EXPECT_EQ(model_.sites.size(), Rest().size() + 3);
}

}  // namespace
}  // namespace marvik::phase

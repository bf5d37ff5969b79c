#include "phase/groups/anions.h"

#include <sstream>

#include "phase/group_fixture.h"
#include "phase/groups/rotors.h"

namespace marvik::phase {
namespace {

constexpr Kind kMiddle = static_cast<Kind>(4);

class Anions : public GroupFixture {
 protected:
  // The middle's element is one of those of the formula from now on.
  void Use(const AnionKind& kind) {
    static const ElementTable table;
    problem_.scatterers.resize(4), problem_.formula.resize(4);
    problem_.scatterers.push_back(TabulatedScatterer(table[kind.middle], 0.71073));
    problem_.formula.push_back({"", 2.0});
    model_.scatterers = problem_.scatterers;
    model_.freeVariables.clear();
  }

  // One orientation, without its middle.
  std::vector<Atom> Ends(const AnionKind& kind, double turn, double share) const {
    const Pose pose{
        kPlace, {Cartesian{std::cos(turn), std::sin(turn), 0}, {-std::sin(turn), std::cos(turn), 0}, {0, 0, 1}}, {}};
    std::vector<Atom> atoms;
    for (const Cartesian& place : PlacesOf(kind.group, pose))
      atoms.push_back({kind.end == 9 ? kFluorine : kOxygen, place, share});
    return atoms;
  }

  bool Fit() { return FitAnions(problem_, observations_, model_, shares_, fractions_); }

  const Cartesian kPlace{3.4, 8.2, 7.1};
};

TEST_F(Anions, TwoOrientationsShareTheirMiddle) {
  for (const AnionKind& kind : AnionKinds()) {
    if (kind.end > 10) continue;
    Use(kind);
    const std::vector<Atom> rest = Joined(Rest(), {{kMiddle, kPlace}});
    const auto first = Ends(kind, 0.2, 0.6), second = Ends(kind, 0.95, 0.4);
    // What a model of whole atoms has: the stronger ends, with some of the weaker ones or none.
    std::vector<Atom> guess = rest;
    for (const Atom& a : first) guess.push_back({a.kind, a.place, 0.8});
    Start(Joined(Joined(rest, first), second), guess);
    EXPECT_TRUE(Fit()) << kind.middle;
    model_.freeVariables.clear();
    guess.push_back({kOxygen, second[0].place, 0.6});
    Start(Joined(Joined(rest, first), second), guess);
    ASSERT_TRUE(Fit()) << kind.middle;
    EXPECT_EQ(Found(rest), rest.size()) << kind.middle;
    EXPECT_EQ(Found(first), first.size()) << kind.middle;
    EXPECT_EQ(Found(second), second.size()) << kind.middle;
    EXPECT_EQ(model_.sites.size(), rest.size() + first.size() + second.size());
    ASSERT_EQ(model_.freeVariables.size(), 1u);
    EXPECT_NEAR(model_.freeVariables[0], 0.6, 0.11);

    for (size_t i = 0; i < model_.sites.size(); ++i)
      model_.sites[i].name = std::string(1, "XAB"[model_.sites[i].part]) + std::to_string(i);
    std::istringstream lines(RotorRestraints(model_));
    size_t names = 0;
    for (std::string line; std::getline(lines, line);) {
      EXPECT_FALSE(line.find(" A") != std::string::npos && line.find(" B") != std::string::npos) << line;
      if (line.compare(0, 4, "DFIX") == 0) names += static_cast<size_t>(std::count(line.begin(), line.end(), 'X'));
    }
    // Every end is held by the middle; the keyword has an X as well.
    EXPECT_EQ(names, 2 * kind.group.Ends() + 2);
  }
}

TEST_F(Anions, OrderedOnesAndPartsOfMoleculesStay) {
  const AnionKind& sulfate =
      *std::find_if(AnionKinds().begin(), AnionKinds().end(), [](const AnionKind& kind) { return kind.middle == 16; });
  Use(sulfate);
  std::vector<Atom> ordered = Joined(Joined(Rest(), {{kMiddle, kPlace}}), Ends(sulfate, 0.2, 1.0));
  Start(ordered, ordered);
  EXPECT_FALSE(Fit());
  // One end goes on as a chain.
  const Cartesian on = kPlace + 1.95 * (ordered.back().place - kPlace);
  const std::vector<Atom> both = Joined(
      Joined(Joined(Rest(), {{kMiddle, kPlace}, {kCarbon, on}}), Ends(sulfate, 0.2, 0.6)), Ends(sulfate, 0.95, 0.4));
  Start(both, both);
  EXPECT_FALSE(Fit());
  EXPECT_EQ(model_.sites.size(), both.size());
}

}  // namespace
}  // namespace marvik::phase

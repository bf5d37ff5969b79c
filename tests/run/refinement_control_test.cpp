#include "run/refinement_control.h"

#include <gtest/gtest.h>

namespace marvik {
namespace {

class Control : public testing::Test {
 protected:
  Control() {
    settings.RefinementType = "L.S.";
    settings.Cycles = 4;
    settings.WeightCount = 2;
    settings.Weights = {0.05, 0.4, 7, 8, 9, 10};
  }
  bool Confirm(const ControlState& state) { return ConfirmControl(state, settings, messages); }
  // Opens, changes what `change` says, and presses OK.
  template <class Change>
  bool Edit(Change change) {
    ControlState state = OpenControl(settings);
    change(state);
    return Confirm(state);
  }

  RefinementSettings settings;
  RecordingMessages messages;
};

TEST_F(Control, ConfirmedUntouchedChangesNothing) {
  settings.BondLine = "BOND 0.5";
  settings.ListLine = "LIST 2";
  settings.WeightCount = 6;
  settings.Weights[0] = 0.05123456789;
  settings.SuggestedWeightCount = 2;
  settings.SuggestedWeights = {0.2, 0.3, 0, 0, 0, 0};
  settings.OmitOn = settings.ExtinctionOn = true;
  settings.OmitSigmas = -1.0 / 3;
  settings.OmitTwoTheta = -2.5;
  settings.Extinction = 1e-9;
  const RefinementSettings before = settings;
  ASSERT_TRUE(Edit([](ControlState&) {}));
  EXPECT_EQ(settings, before);
}

TEST_F(Control, KeepsWhatItCannotShow) {
  settings.ListLine = "LIST 6";
  settings.FourierCode = -2;
  settings.PlanPeaks = -30;
  settings.Cycles = 1500;
  ASSERT_TRUE(Edit([](ControlState& state) {
    EXPECT_EQ(state.otherList, "LIST 6");
    EXPECT_EQ(state.planPeaks, 0);
    EXPECT_EQ(state.cycles, 999);
  }));
  EXPECT_EQ(settings.ListLine, "LIST 6");
  EXPECT_EQ(settings.FourierCode, -2);
  EXPECT_EQ(settings.PlanPeaks, -30);
  EXPECT_EQ(settings.Cycles, 1500);
  ASSERT_TRUE(Edit([](ControlState& state) {
    state.list = 0;
    state.planPeaks = 5;
    state.cycles = 10;
  }));
  EXPECT_EQ(settings.ListLine, "");
  EXPECT_EQ(settings.PlanPeaks, 5);
  EXPECT_EQ(settings.Cycles, 10);
}

TEST_F(Control, TheTypeIsSetAtTheClick) {
  ControlState state = OpenControl(settings);
  ChooseRefinementType(state, settings, true);
  EXPECT_EQ(settings.RefinementType, "CGLS") << "and so survives Cancel";
  settings.RefinementType.clear();
  ASSERT_TRUE(Edit([](ControlState&) {}));
  EXPECT_EQ(settings.RefinementType, "L.S.");
}

TEST_F(Control, TheHighestCheckedWeightIsTheCount) {
  ASSERT_TRUE(Edit([](ControlState& state) {
    for (WeightRow& row : state.weights) row.previous = false;
    state.weights[0] = {false, true, "", " 0.07 "};
    state.weights[2] = {true, false, "0.3", "0.9"};
  }));
  EXPECT_EQ(settings.WeightCount, 3);
  EXPECT_EQ(settings.Weights, (std::array<double, 6>{0.07, 0.4, 0.3, 8, 9, 10}));
  EXPECT_EQ(settings.PreviousWeightCount, 2);
  EXPECT_EQ(settings.PreviousWeights[0], 0.05);
  ASSERT_TRUE(Edit([](ControlState& state) {
    for (WeightRow& row : state.weights) row.suggested = row.previous = false;
  }));
  EXPECT_EQ(settings.WeightCount, 3) << "with no box checked the count stays";
}

TEST_F(Control, WeightBoxesExcludeEachOtherAndReload) {
  settings.SuggestedWeightCount = 2;
  settings.SuggestedWeights = {0.0345, 1.25, 0, 0, 0, 0};
  ControlState state = OpenControl(settings);
  EXPECT_EQ(state.weights[1].suggestedText, "1.250000") << "what the last refinement suggests";
  state.weights[1].previous = true;
  state.weights[1].previousText = "typed";
  ClickPreviousWeight(state, settings, 1);
  EXPECT_FALSE(state.weights[1].suggested);
  EXPECT_EQ(state.weights[1].previousText, "0.400000");
  state.weights[1].suggested = true;
  state.weights[1].suggestedText.clear();
  ClickSuggestedWeight(state, settings, 1);
  EXPECT_FALSE(state.weights[1].previous);
  EXPECT_EQ(state.weights[1].suggestedText, "1.250000");
  ASSERT_TRUE(Confirm(state));
  EXPECT_EQ(settings.Weights[0], 0.05) << "still in force";
  EXPECT_EQ(settings.Weights[1], 1.25);
  EXPECT_EQ(settings.PreviousWeights[1], 0.4);
}

TEST_F(Control, RefusesTheSecondOmitParameterAlone) {
  settings.BondLine = "BOND $H";
  EXPECT_FALSE(Edit([](ControlState& state) {
    state.omitSecond = true;
    state.omitTwoTheta = "50";
    state.acta = true;
    state.bond = false;
    state.planPeaks = 3;
    state.weights[0].suggestedText = "0.9";
  }));
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.shown[0].caption, "First Omit Parameter Unchecked:");
  EXPECT_EQ(messages.shown[0].text,
            "You may not specify a second OMIT parameter without confirming\n"
            "(by clicking on the check box) the use of the first OMIT parameter.");
  EXPECT_EQ(settings.Weights[0], 0.05);
  EXPECT_EQ(settings.BondLine, "BOND $H");
  EXPECT_EQ(settings.PlanPeaks, 20);
  EXPECT_FALSE(settings.OmitOn || settings.Acta);
}

TEST_F(Control, RefusesWhatIsNoNumberWhereOneIsInUse) {
  const RefinementSettings before = settings;
  const auto refused = [&](auto change) {
    const bool stays = !Edit(change) && settings == before;
    return stays && !messages.shown.empty() ? messages.shown.back().text : "taken";
  };
  EXPECT_EQ(refused([](ControlState& state) { state.weights[1].previousText = "0.4x"; }),
            "Weight b: a number is wanted, not \"0.4x\".");
  EXPECT_EQ(refused([](ControlState& state) { state.extinction = "none"; }),
            "Extinction: a number is wanted, not \"none\".");
  EXPECT_EQ(refused([](ControlState& state) { state.omit = true; }), "OMIT, nSigmas: a number is wanted, not \"\".");
  EXPECT_EQ(refused([](ControlState& state) {
              state.omit = state.omitSecond = true;
              state.omitSigmas = "-2";
              state.omitTwoTheta = "200";
            }),
            "OMIT, 2theta: more than 1 and at most 180 degrees are wanted.");
  EXPECT_TRUE(Edit([](ControlState& state) { state.weights[2].suggestedText = state.omitSigmas = "not in use"; }));
}

TEST_F(Control, ReadsTheOtherControls) {
  ASSERT_TRUE(Edit([](ControlState& state) {
    state.omit = state.omitSecond = state.bond = state.invert = state.aniso = true;
    state.omitSigmas = "  4";
    state.omitTwoTheta = "51.5";
    state.extinction = "0.01";
    state.list = 5;
    state.fourier = 2;
    state.priority = kRealtimePriority;
  }));
  EXPECT_TRUE(settings.OmitOn && settings.Invert && settings.Aniso && !settings.Acta);
  EXPECT_EQ(settings.OmitSigmas, 4);
  EXPECT_EQ(settings.OmitTwoTheta, 51.5);
  EXPECT_TRUE(settings.ExtinctionOn);
  EXPECT_EQ(settings.Extinction, 0.01);
  EXPECT_EQ(settings.ListLine, "LIST 5");
  EXPECT_EQ(settings.FourierCode, 4);
  EXPECT_EQ(settings.BondLine, "BOND");
  EXPECT_EQ(settings.PriorityClass, 256u);
  ASSERT_TRUE(Edit([](ControlState& state) { state.omitSecond = false; }));
  EXPECT_EQ(settings.OmitTwoTheta, 0) << "its box is off";
  ASSERT_TRUE(Edit([](ControlState& state) {
    state.omit = state.omitSecond = false;
    state.extinction.clear();
    state.fourier = -1;
  }));
  EXPECT_FALSE(settings.OmitOn || settings.ExtinctionOn);
  EXPECT_EQ(settings.FourierCode, 4);
}

}  // namespace
}  // namespace marvik

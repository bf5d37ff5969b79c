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

TEST_F(Control, OpensOnTheSettings) {
  settings.ListLine = "LIST 4";
  settings.FourierCode = 3;
  settings.PlanPeaks = 25;
  settings.OmitOn = true;
  settings.OmitSigmas = -2.5;
  settings.OmitTwoTheta = 52;
  settings.ExtinctionOn = true;
  settings.Extinction = 0.0125;
  settings.BondLine = "BOND $H";
  settings.PreviousWeightCount = 1;
  settings.PreviousWeights[0] = 0.1;
  settings.PriorityClass = kHighPriority;
  const ControlState state = OpenControl(settings);
  EXPECT_EQ(state.list, 4);
  EXPECT_EQ(state.fourier, 1);
  EXPECT_EQ(state.planPeaks, 25);
  EXPECT_EQ(state.cycles, 4);
  EXPECT_TRUE(state.omit && state.omitSecond && state.bond && !state.cgls && !state.acta);
  EXPECT_EQ(state.omitSigmas, "-2.500000");
  EXPECT_EQ(state.omitTwoTheta, "52.000000");
  EXPECT_EQ(state.extinction, "0.012500");
  EXPECT_EQ(state.weights[1].suggestedText, "0.400000");
  EXPECT_EQ(state.weights[2].suggestedText, "");
  EXPECT_TRUE(state.weights[1].suggested && !state.weights[2].suggested);
  EXPECT_EQ(state.weights[0].previousText, "0.100000");
  EXPECT_FALSE(state.weights[0].previous);
  EXPECT_EQ(settings.PriorityClass, kNormalPriority) << "a priority lasts for one run";
  EXPECT_EQ(state.priority, kNormalPriority);
  const auto enabled = EditsEnabled(state);
  EXPECT_TRUE(!enabled[0] && enabled[5] && enabled[6] && !enabled[7] && enabled[10] && enabled[11]);
}

TEST_F(Control, ConfirmedUnchangedChangesOnlyThePreviousWeights) {
  settings.BondLine = "BOND 0.5";
  settings.ListLine = "LIST 2";
  RefinementSettings before = settings;
  ASSERT_TRUE(Edit([](ControlState&) {}));
  before.PreviousWeightCount = 2;
  before.PreviousWeights = before.Weights;
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
    for (WeightRow& row : state.weights) row.suggested = false;
    state.weights[0] = {false, true, "", "0.07abc"};
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
  settings.PreviousWeightCount = 2;
  settings.PreviousWeights = {0.01, 0.02, 0, 0, 0, 0};
  settings.SuggestedWeightCount = 2;
  settings.SuggestedWeights = {0.0345, 1.25, 0, 0, 0, 0};
  ControlState state = OpenControl(settings);
  EXPECT_EQ(state.weights[1].suggestedText, "1.250000") << "what the last refinement suggests";
  state.weights[1].previous = true;
  state.weights[1].previousText = "typed";
  ClickPreviousWeight(state, settings, 1);
  EXPECT_FALSE(state.weights[1].suggested);
  EXPECT_EQ(state.weights[1].previousText, "0.020000");
  state.weights[1].suggested = true;
  state.weights[1].suggestedText.clear();
  ClickSuggestedWeight(state, settings, 1);
  EXPECT_FALSE(state.weights[1].previous);
  EXPECT_EQ(state.weights[1].suggestedText, "1.250000");
  ASSERT_TRUE(Confirm(state));
  EXPECT_EQ(settings.Weights[0], 0.0345);
  EXPECT_EQ(settings.PreviousWeights[0], 0.05) << "the weights that were in force";
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
  EXPECT_EQ(settings.Weights[0], 0.05) << "put back";
  EXPECT_TRUE(settings.Acta) << "not put back";
  EXPECT_EQ(settings.BondLine, "");
  EXPECT_EQ(settings.PlanPeaks, 20) << "not reached";
  EXPECT_FALSE(settings.OmitOn);
}

TEST_F(Control, ReadsTheOtherControls) {
  ASSERT_TRUE(Edit([](ControlState& state) {
    state.omit = state.omitSecond = state.bond = state.invert = state.aniso = true;
    state.omitSigmas = "  4";
    state.omitTwoTheta = std::string(79, ' ') + "51.5";  // beyond the 80 characters that are read
    state.extinction = "none";
    state.list = 5;
    state.fourier = 2;
    state.priority = kRealtimePriority;
  }));
  EXPECT_TRUE(settings.OmitOn && settings.Invert && settings.Aniso && !settings.Acta);
  EXPECT_EQ(settings.OmitSigmas, 4);
  EXPECT_EQ(settings.OmitTwoTheta, 5);
  EXPECT_TRUE(settings.ExtinctionOn);
  EXPECT_EQ(settings.Extinction, 0) << "text that is no number";
  EXPECT_EQ(settings.ListLine, "LIST 5");
  EXPECT_EQ(settings.FourierCode, 4);
  EXPECT_EQ(settings.BondLine, "BOND");
  EXPECT_EQ(settings.PriorityClass, 256u);
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

#include "run/refinement_control.h"

#include <algorithm>

#include "base/numbers.h"

namespace marvik {
namespace {

constexpr double kSmallestSecondOmit = 1.0;  // below it the parameter counts as absent
constexpr double kLargestTwoTheta = 180.0;

std::string Shown(double value) {
  return Printf("%f", value);
}

// Puts what an edit holds where it belongs; a value whose text was left alone keeps the digits that it does not show.
// False, after a message, for what is no number.
bool TakeNumber(const std::string& text, const char* what, double& value, UserMessages& messages) {
  const size_t start = text.find_first_not_of(" \t");
  const size_t end = text.find_last_not_of(" \t");
  const std::string number = start == std::string::npos ? "" : text.substr(start, end - start + 1);
  if (number == Shown(value)) return true;
  if (ParseWholeNumber(number, value)) return true;
  messages.Show(
      {MessageIcon::Warning, "Not a Number:", std::string(what) + ": a number is wanted, not \"" + number + "\"."});
  return false;
}

int ListCode(const std::string& line) {
  const size_t blank = line.find(' ');
  double code = 0.0;
  if (blank == std::string::npos || !ParseNumber(std::string_view(line).substr(blank + 1), code)) return 0;
  return RoundHalfAway(code);
}

int InSpinRange(int value) {
  return std::clamp(value, 0, kLargestCount);
}

// A value beyond what the spin box can show stays as it is until the box is moved.
void TakeSpin(int shown, int32_t& value) {
  if (shown != InSpinRange(value)) value = shown;
}

bool TakeWeights(const ControlState& state, RefinementSettings& settings, UserMessages& messages) {
  const auto before = settings.Weights;
  const int32_t countBefore = settings.WeightCount;
  for (size_t i = 0; i < kWeightRows; ++i) {
    const WeightRow& row = state.weights[i];
    if (!row.suggested && !row.previous) continue;
    const char name[] = {'W', 'e', 'i', 'g', 'h', 't', ' ', static_cast<char>('a' + static_cast<int>(i)), '\0'};
    double value = row.suggested ? settings.SuggestedWeights[i] : settings.Weights[i];
    if (!TakeNumber(row.suggested ? row.suggestedText : row.previousText, name, value, messages)) return false;
    settings.Weights[i] = value;
    settings.WeightCount = static_cast<int32_t>(i) + 1;
  }
  // The last of six has no row.
  if (countBefore > static_cast<int32_t>(kWeightRows) && settings.WeightCount == kWeightRows)
    settings.WeightCount = countBefore;
  if (settings.Weights != before || settings.WeightCount != countBefore) {
    settings.PreviousWeightCount = countBefore;
    settings.PreviousWeights = before;
  }
  return true;
}

bool TakeOmit(const ControlState& state, RefinementSettings& settings, UserMessages& messages) {
  if (!state.omit && state.omitSecond) {
    messages.Show({MessageIcon::Warning, "First Omit Parameter Unchecked:",
                   "You may not specify a second OMIT parameter without confirming\n"
                   "(by clicking on the check box) the use of the first OMIT parameter."});
    return false;
  }
  settings.OmitOn = state.omit;
  if (!state.omit) return true;
  if (!TakeNumber(state.omitSigmas, "OMIT, nSigmas", settings.OmitSigmas, messages)) return false;
  if (!state.omitSecond) {
    // A negative one is a lower limit, which has no box.
    if (settings.OmitTwoTheta > kSmallestSecondOmit) settings.OmitTwoTheta = 0.0;
    return true;
  }
  if (!TakeNumber(state.omitTwoTheta, "OMIT, 2theta", settings.OmitTwoTheta, messages)) return false;
  if (settings.OmitTwoTheta > kSmallestSecondOmit && settings.OmitTwoTheta <= kLargestTwoTheta) return true;
  messages.Show(
      {MessageIcon::Warning, "Not an Angle:", "OMIT, 2theta: more than 1 and at most 180 degrees are wanted."});
  return false;
}

}  // namespace

ControlState OpenControl(RefinementSettings& settings) {
  ControlState state;
  state.fourier = settings.FourierCode - 2;
  if (state.fourier < 0 || state.fourier >= static_cast<int>(kFourierItems.size())) state.fourier = -1;
  if (!settings.ListLine.empty()) state.list = ListCode(settings.ListLine);
  if (state.list < 0 || state.list >= static_cast<int>(kListItems.size())) {
    state.list = static_cast<int>(kListItems.size());
    state.otherList = settings.ListLine;
  }
  state.cgls = settings.RefinementType.find("CGLS") != std::string::npos;
  settings.PriorityClass = kNormalPriority;
  state.bond = !settings.BondLine.empty();
  state.invert = settings.Invert;
  state.aniso = settings.Aniso;
  state.acta = settings.Acta;
  state.cycles = InSpinRange(settings.Cycles);
  state.planPeaks = InSpinRange(settings.PlanPeaks);
  state.omit = settings.OmitOn;
  if (settings.OmitOn) state.omitSigmas = Shown(settings.OmitSigmas);
  state.omitSecond = settings.OmitOn && settings.OmitTwoTheta > kSmallestSecondOmit;
  if (state.omitSecond) state.omitTwoTheta = Shown(settings.OmitTwoTheta);
  if (settings.ExtinctionOn) state.extinction = Shown(settings.Extinction);
  for (size_t i = 0; i < kWeightRows; ++i) {
    WeightRow& row = state.weights[i];
    row.previous = static_cast<int>(i) < settings.WeightCount;
    if (row.previous) row.previousText = Shown(settings.Weights[i]);
    if (static_cast<int>(i) < settings.SuggestedWeightCount) row.suggestedText = Shown(settings.SuggestedWeights[i]);
  }
  return state;
}

void ChooseRefinementType(ControlState& state, RefinementSettings& settings, bool cgls) {
  state.cgls = cgls;
  settings.RefinementType = cgls ? "CGLS" : "L.S.";
}

void ClickPreviousWeight(ControlState& state, const RefinementSettings& settings, size_t row) {
  state.weights[row].suggested = false;
  state.weights[row].previousText = Shown(settings.Weights[row]);
}

void ClickSuggestedWeight(ControlState& state, const RefinementSettings& settings, size_t row) {
  state.weights[row].previous = false;
  state.weights[row].suggestedText = Shown(settings.SuggestedWeights[row]);
}

std::array<bool, 2 * kWeightRows + 2> EditsEnabled(const ControlState& state) {
  std::array<bool, 2 * kWeightRows + 2> enabled{};
  for (size_t i = 0; i < kWeightRows; ++i) {
    enabled[i] = state.weights[i].previous;
    enabled[kWeightRows + i] = state.weights[i].suggested;
  }
  enabled[2 * kWeightRows] = state.omit;
  enabled[2 * kWeightRows + 1] = state.omitSecond;
  return enabled;
}

bool ConfirmControl(const ControlState& state, RefinementSettings& given, UserMessages& messages) {
  RefinementSettings settings = given;
  if (!TakeWeights(state, settings, messages) || !TakeOmit(state, settings, messages)) return false;
  settings.ExtinctionOn = !state.extinction.empty();
  if (settings.ExtinctionOn && !TakeNumber(state.extinction, "Extinction", settings.Extinction, messages)) return false;
  settings.Invert = state.invert;
  settings.Aniso = state.aniso;
  settings.Acta = state.acta;
  settings.PriorityClass = state.priority;
  if (!state.bond) {
    settings.BondLine.clear();
  } else if (settings.BondLine.size() < 4) {
    settings.BondLine = "BOND";
  }
  TakeSpin(state.planPeaks, settings.PlanPeaks);
  TakeSpin(state.cycles, settings.Cycles);
  // A file without the instruction says nothing about the type: then what the dialog showed holds.
  if (settings.RefinementType.empty()) settings.RefinementType = state.cgls ? "CGLS" : "L.S.";
  if (state.list <= 0) {
    settings.ListLine.clear();
  } else if (state.list < static_cast<int>(kListItems.size())) {
    settings.ListLine = "LIST " + std::to_string(state.list);
  }
  if (state.fourier >= 0) settings.FourierCode = state.fourier + 2;
  given = settings;
  return true;
}

}  // namespace marvik

#include "run/refinement_control.h"

#include <algorithm>

#include "base/numbers.h"

namespace marvik {
namespace {

constexpr size_t kLongWeight = 255;  // characters of an edit that are read
constexpr size_t kLongOmit = 80;
constexpr double kSmallestSecondOmit = 1.0;  // below it the parameter counts as absent

std::string Shown(double value) {
  return Printf("%f", value);
}

double ReadNumber(const std::string& text, size_t longest) {
  double value = 0.0;
  const size_t start = text.find_first_not_of(" \t");
  if (start == std::string::npos || start >= longest) return 0.0;
  return ParseNumber(std::string_view(text).substr(start, longest - start), value) ? value : 0.0;
}

const std::array<double, 6>& SuggestedColumn(const RefinementSettings& settings) {
  return settings.SuggestedWeightCount > 0 ? settings.SuggestedWeights : settings.Weights;
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

void TakeWeights(const ControlState& state, RefinementSettings& settings) {
  for (size_t i = 0; i < kWeightRows; ++i) {
    const WeightRow& row = state.weights[i];
    if (!row.suggested && !row.previous) continue;
    settings.Weights[i] = ReadNumber(row.suggested ? row.suggestedText : row.previousText, kLongWeight);
    settings.WeightCount = static_cast<int32_t>(i) + 1;
  }
}

bool TakeOmit(const ControlState& state, RefinementSettings& settings, UserMessages& messages) {
  if (!state.omit && state.omitSecond) {
    messages.Show({MessageIcon::Warning, "First Omit Parameter Unchecked:",
                   "You may not specify a second OMIT parameter without confirming\n"
                   "(by clicking on the check box) the use of the first OMIT parameter."});
    settings.Weights = settings.PreviousWeights;
    return false;
  }
  settings.OmitOn = state.omit;
  if (state.omit) settings.OmitSigmas = ReadNumber(state.omitSigmas, kLongOmit);
  if (state.omit && state.omitSecond) settings.OmitTwoTheta = ReadNumber(state.omitTwoTheta, kLongOmit);
  return true;
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
  const int suggested = settings.SuggestedWeightCount > 0 ? settings.SuggestedWeightCount : settings.WeightCount;
  for (size_t i = 0; i < kWeightRows; ++i) {
    WeightRow& row = state.weights[i];
    row.suggested = static_cast<int>(i) < suggested;
    if (row.suggested) row.suggestedText = Shown(SuggestedColumn(settings)[i]);
    if (static_cast<int>(i) < settings.PreviousWeightCount) row.previousText = Shown(settings.PreviousWeights[i]);
  }
  return state;
}

void ChooseRefinementType(ControlState& state, RefinementSettings& settings, bool cgls) {
  state.cgls = cgls;
  settings.RefinementType = cgls ? "CGLS" : "L.S.";
}

void ClickPreviousWeight(ControlState& state, const RefinementSettings& settings, size_t row) {
  state.weights[row].suggested = false;
  state.weights[row].previousText = Shown(settings.PreviousWeights[row]);
}

void ClickSuggestedWeight(ControlState& state, const RefinementSettings& settings, size_t row) {
  state.weights[row].previous = false;
  state.weights[row].suggestedText = Shown(SuggestedColumn(settings)[row]);
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

bool ConfirmControl(const ControlState& state, RefinementSettings& settings, UserMessages& messages) {
  settings.PreviousWeightCount = settings.WeightCount;
  settings.PreviousWeights = settings.Weights;
  TakeWeights(state, settings);
  settings.Invert = state.invert;
  settings.Aniso = state.aniso;
  settings.Acta = state.acta;
  settings.PriorityClass = state.priority;
  if (!state.bond) {
    settings.BondLine.clear();
  } else if (settings.BondLine.size() < 4) {
    settings.BondLine = "BOND";
  }
  if (!TakeOmit(state, settings, messages)) return false;
  settings.ExtinctionOn = !state.extinction.empty();
  if (settings.ExtinctionOn) settings.Extinction = ReadNumber(state.extinction, kLongOmit);
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
  return true;
}

}  // namespace marvik

#pragma once

#include <array>
#include <string>
#include <vector>

#include "base/user_messages.h"
#include "model/refinement_settings.h"

namespace marvik {

// One parameter of the weighting scheme: at most one of the two boxes is checked. Previous is what is in force, the
// weights of the last refinement, and ticked where the file has one; Suggested waits to be ticked.
struct WeightRow {
  bool previous = false;
  bool suggested = false;
  std::string previousText;
  std::string suggestedText;
};
inline constexpr size_t kWeightRows = 5;

// Process priorities, by the values that the settings hold.
enum PriorityValue : uint32_t {
  kIdlePriority = 64,
  kNormalPriority = 32,
  kHighPriority = 128,
  kRealtimePriority = 256
};

inline constexpr std::array kListItems = {"None", "XPLOR", "Phase", "A+iB", "CIF", "Export"};
inline constexpr std::array kFourierItems = {"Difference Map", "Electron Map", "Sharp Electron Map"};
inline constexpr int kLargestCount = 999;  // of both spin boxes

// What the Refinement Control dialog shows. Its rules are functions of this and the settings, so that the dialog itself
// only moves values between here and its controls.
struct ControlState {
  bool cgls = false;      // else L.S.
  int cycles = 0;         // 0..999
  int list = 0;           // index into kListItems; one past its end stands for otherList
  std::string otherList;  // a LIST line whose code has no item, such as "LIST 6"; else ""
  int fourier = 0;        // index into kFourierItems, -1 for none
  int planPeaks = 0;      // 0..999
  std::string extinction;
  bool omit = false;
  bool omitSecond = false;
  std::string omitSigmas;
  std::string omitTwoTheta;
  std::array<WeightRow, kWeightRows> weights;
  bool bond = false;
  bool invert = false;
  bool aniso = false;
  bool acta = false;
  uint32_t priority = kNormalPriority;
};

// What opening the dialog shows. Sets the priority back to normal: a choice lasts for one run. The Suggested column is
// what the last refinement suggests (WGHT behind END).
ControlState OpenControl(RefinementSettings& settings);

// The clicks with rules of their own. The type is set at once, whatever becomes of the dialog. A weight box has been
// toggled already when its rule runs: the other box of the row goes off and the clicked column shows its value anew.
void ChooseRefinementType(ControlState& state, RefinementSettings& settings, bool cgls);
void ClickPreviousWeight(ControlState& state, const RefinementSettings& settings, size_t row);
void ClickSuggestedWeight(ControlState& state, const RefinementSettings& settings, size_t row);

// How the edits look: those of the Previous column, the Suggested column, and the two of OMIT, each as its box is.
std::array<bool, 2 * kWeightRows + 2> EditsEnabled(const ControlState& state);

// OK. False, after the message and with nothing changed, for text that is no number where one is in use, and when only
// the second OMIT parameter is confirmed: the dialog stays open. What was not touched stays as it is, to the last
// digit.
bool ConfirmControl(const ControlState& state, RefinementSettings& settings, UserMessages& messages);

}  // namespace marvik

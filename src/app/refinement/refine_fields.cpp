#include "app/refinement/refine_fields.h"

#include <algorithm>
#include <array>

#include "base/numbers.h"
#include "run/refinement_control.h"

namespace marvik {
namespace {

constexpr double kLargestWeight = 1e6;
constexpr double kSmallestSecondOmit = 1.0;  // degrees; below it the parameter counts as absent

constexpr FieldRange kFields[] = {
    WordField("type", "Type of least squares", "L.S.|CGLS"),
    {"cycles", "Cycles", 0, kLargestCount},
    {"plan", "Peaks (PLAN)", 0, kLargestCount},
    {"fmap", "Fourier map (FMAP)", 2, 4},
    {"list", "Reflection list (LIST); 0: none", 0, 5},
    WordField("weights", "Weighting scheme (WGHT)", "A,B,...|previous|suggested"),
    {"exti", "Extinction (EXTI)", -kLargestWeight, kLargestWeight, "off"},
    {"omit", "OMIT below so many sigmas", -kLargestWeight, kLargestWeight, "off"},
    {"twotheta", "OMIT beyond 2theta, degrees", kSmallestSecondOmit, 180, "off"},
    WordField("bond", "BOND", "on|off"),
    WordField("invert", "Inversion (MOVE)", "on|off"),
    WordField("aniso", "ANIS", "on|off"),
    WordField("acta", "ACTA", "on|off"),
    WordField("priority", "Priority of the program", "idle|normal|high|realtime"),
};

struct PriorityWord {
  std::string_view word;
  uint32_t value;
};
constexpr PriorityWord kPriorities[] = {
    {"idle", kIdlePriority}, {"normal", kNormalPriority}, {"high", kHighPriority}, {"realtime", kRealtimePriority}};

class Setter {
 public:
  explicit Setter(const EditArguments& arguments) : arguments_(arguments) {}

  EditFault Set(RefinementSettings& settings) {
    fault_ = UnknownFieldFault(arguments_, kFields);
    if (!fault_ && !arguments_.atoms.empty())
      fault_ = {"", arguments_.atoms + ": only fields such as cycles=8 are taken."};
    if (const std::string* type = Word("type")) settings.RefinementType = *type;
    Whole("cycles", settings.Cycles);
    Whole("plan", settings.PlanPeaks);
    Whole("fmap", settings.FourierCode);
    int32_t list = -1;
    Whole("list", list);
    if (list >= 0) settings.ListLine = list ? "LIST " + std::to_string(list) : "";
    if (const std::string* weights = arguments_.Find("weights")) SetWeights(*weights, settings);
    NumberOrOff("exti", settings.ExtinctionOn, settings.Extinction);
    NumberOrOff("omit", settings.OmitOn, settings.OmitSigmas);
    bool second = settings.OmitTwoTheta > kSmallestSecondOmit;
    NumberOrOff("twotheta", second, settings.OmitTwoTheta);
    if (!second) settings.OmitTwoTheta = 0.0;
    if (!fault_ && arguments_.Find("twotheta") && second && !settings.OmitOn)
      fault_ = {"twotheta", "twotheta: a second OMIT parameter needs the first one, omit=."};
    bool bond = !settings.BondLine.empty();
    OnOff("bond", bond);
    if (bond == settings.BondLine.empty()) settings.BondLine = bond ? "BOND" : "";
    OnOff("invert", settings.Invert);
    OnOff("aniso", settings.Aniso);
    OnOff("acta", settings.Acta);
    if (const std::string* word = Word("priority"))
      settings.PriorityClass = std::ranges::find(kPriorities, *word, &PriorityWord::word)->value;
    return fault_;
  }

 private:
  // One of the words of a field; nothing, after a fault, for any other.
  const std::string* Word(const char* key) {
    const std::string* text = fault_ ? nullptr : arguments_.Find(key);
    if (!text) return nullptr;
    const FieldRange& field = *FindField(kFields, key);
    const std::string words = "|" + std::string(field.words) + "|";
    if (words.find("|" + *text + "|") != std::string::npos) return text;
    fault_ = {key, std::string(field.caption) + ": one of " + field.words + " is wanted, not \"" + *text + "\"."};
    return nullptr;
  }
  void OnOff(const char* key, bool& flag) {
    if (const std::string* word = Word(key)) flag = *word == "on";
  }
  void Whole(const char* key, int32_t& value) {
    const std::string* text = fault_ ? nullptr : arguments_.Find(key);
    if (text) value = ReadFieldInteger(*FindField(kFields, key), *text, fault_).value_or(value);
  }
  void NumberOrOff(const char* key, bool& on, double& value) {
    const std::string* text = fault_ ? nullptr : arguments_.Find(key);
    if (!text) return;
    on = *text != "off";
    if (on) value = ReadFieldNumber(*FindField(kFields, key), *text, fault_).value_or(value);
  }

  void SetWeights(const std::string& text, RefinementSettings& settings) {
    if (fault_) return;
    const RefinementSettings before = settings;
    settings.PreviousWeightCount = before.WeightCount;
    settings.PreviousWeights = before.Weights;
    if (text == "previous") return Take(before.PreviousWeightCount, before.PreviousWeights, text, settings);
    if (text == "suggested") return Take(before.SuggestedWeightCount, before.SuggestedWeights, text, settings);
    constexpr FieldRange kWeight{"weights", "Weighting scheme (WGHT)", -kLargestWeight, kLargestWeight};
    std::string_view rest = text;
    int count = 0;
    for (bool more = true; more && !fault_; ++count) {
      const size_t comma = std::min(rest.find(','), rest.size());
      if (count == static_cast<int>(settings.Weights.size())) {
        fault_ = {"weights", "Weighting scheme (WGHT): at most six numbers."};
      } else if (const auto value = ReadFieldNumber(kWeight, rest.substr(0, comma), fault_)) {
        settings.Weights[static_cast<size_t>(count)] = *value;
      }
      more = comma < rest.size();
      rest.remove_prefix(std::min(comma + 1, rest.size()));
    }
    settings.WeightCount = count;
  }
  void Take(int32_t count, const std::array<double, 6>& weights, const std::string& word,
            RefinementSettings& settings) {
    if (count <= 0) {
      fault_ = {"weights", "Weighting scheme (WGHT): there are no " + word + " weights."};
      return;
    }
    settings.WeightCount = count;
    settings.Weights = weights;
  }

  const EditArguments& arguments_;
  EditFault fault_;
};

}  // namespace

std::span<const FieldRange> RefinementFields() {
  return kFields;
}

EditFault ApplyRefinementFields(const EditArguments& arguments, RefinementSettings& settings) {
  RefinementSettings changed = settings;
  EditFault fault = Setter(arguments).Set(changed);
  if (!fault) settings = changed;
  return fault;
}

}  // namespace marvik

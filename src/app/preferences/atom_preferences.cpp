#include "app/preferences/atom_preferences.h"

#include <algorithm>
#include <memory>

#include "base/numbers.h"
#include "edit/edit_elements.h"

namespace marvik {
namespace {

constexpr int kRadiusDecimals = 6;  // as "sfac.tab" has them
constexpr std::array<FieldRange, 9> kFields{{{"atom", "Atom Radius", 0.01, 5.0},
                                             {"bond", "Bond Radius", 0.0, 5.0},
                                             {"texture", "Texture", 0, kTextures - 1},
                                             {"red", "Red", 0, 255},
                                             {"green", "Green", 0, 255},
                                             {"blue", "Blue", 0, 255},
                                             WordField("element", "Element", "SYMBOL"),
                                             {"probability", "Probability", 0.001, 1.0},
                                             WordField("defaults", "Built-in values", "single|all")}};
constexpr const FieldRange& kAtomRadius = kFields[0];
constexpr const FieldRange& kBondRadius = kFields[1];
constexpr const FieldRange& kTexture = kFields[2];
constexpr std::span<const FieldRange, 3> kColours(&kFields[3], 3);

PreferenceFault NotAccepted(const EditFault& fault) {
  if (!fault) return {};
  return {fault.field, {MessageIcon::Warning, "Error: Field Not Accepted", fault.text}, ""};
}

PreferenceFault SetProbability(const std::string& text, double& probability) {
  double value = 0.0;
  if (ParseWholeNumber(text, value) && value >= 0.001 && value <= 1.0) {
    probability = value;
    return {};
  }
  return {"probability",
          {MessageIcon::Warning, "Error: Out of Range",
           "The Thermal Ellipsoid Probability Level variable is out of range.\n\t     Valid Range: 0.001 <--> 1.0"},
          ""};
}

bool SameLooks(const ElementInfo& a, const ElementInfo& b) {
  return a.drawRadius == b.drawRadius && a.bondRadius == b.bondRadius && a.texture == b.texture && a.colour == b.colour;
}

// Sets fields one after another on a table.
class Setter {
 public:
  explicit Setter(AtomPreferences& preferences) : preferences_(preferences) {}

  PreferenceFault Set(const EditArguments::Field& field) {
    if (field.key == "probability") return SetProbability(field.value, preferences_.probability);
    if (field.key == "element") return SetElement(field.value);
    if (field.key == "defaults") return SetDefaults(field.value);
    if (row_ == 0) return NotAccepted({field.key, field.key + ": element=SYMBOL has to come first."});
    ElementInfo& element = preferences_.elements[row_];
    if (field.key == kAtomRadius.key) return SetRadius(kAtomRadius, field.value, element.drawRadius);
    if (field.key == kBondRadius.key) return SetRadius(kBondRadius, field.value, element.bondRadius);
    return SetLook(field, element);
  }

 private:
  PreferenceFault SetElement(const std::string& symbol) {
    const auto row = RowOfElementOrPeak(symbol);
    if (!row) return NotAccepted({"element", "Element: there is no element \"" + symbol + "\"."});
    row_ = *row;
    return {};
  }

  PreferenceFault SetDefaults(const std::string& which) {
    if (which == "single" && row_ != 0) {
      RestoreLooks(preferences_.elements, row_);
    } else if (which == "all") {
      for (int row = 0; row < kElementRows; ++row) RestoreLooks(preferences_.elements, row);
    } else {
      return NotAccepted({"defaults", "defaults: \"all\", or \"single\" behind element=SYMBOL."});
    }
    return {};
  }

  static PreferenceFault SetRadius(const FieldRange& range, const std::string& text, double& radius) {
    if (text.size() > kLongestRadiusText) {
      return NotAccepted({range.key, Printf("%s: at most %zu characters.", range.caption, kLongestRadiusText)});
    }
    EditFault fault;
    const auto value = ReadFieldNumber(range, text, fault);
    if (value) radius = *value;
    return NotAccepted(fault);
  }

  static PreferenceFault SetLook(const EditArguments::Field& field, ElementInfo& element) {
    EditFault fault;
    if (field.key == kTexture.key) {
      const auto code = ReadFieldInteger(kTexture, field.value, fault);
      if (code) element.texture = static_cast<uint8_t>(*code);
      return NotAccepted(fault);
    }
    std::array<int, 3> parts{RedOf(element.colour), GreenOf(element.colour), BlueOf(element.colour)};
    const auto range = std::ranges::find(kColours, field.key, &FieldRange::key);
    if (range == kColours.end()) return NotAccepted({field.key, field.key + ": there is no such field."});
    const auto part = ReadFieldInteger(*range, field.value, fault);
    if (part) parts[static_cast<size_t>(range - kColours.begin())] = *part;
    element.colour = PackColour(parts[0], parts[1], parts[2]);
    return NotAccepted(fault);
  }

  AtomPreferences& preferences_;
  int row_ = 0;
};

}  // namespace

std::span<const FieldRange> AtomPreferenceRanges() {
  return kFields;
}

std::optional<int> RowOfElementOrPeak(std::string_view symbol) {
  if (symbol == "Q" || symbol == "q") return kUnknownRow;
  const int row = RowOfSymbol(symbol);
  return row > 0 ? std::optional(row) : std::nullopt;
}

EditArguments AtomPreferenceFields(const AtomPreferences& preferences, int row) {
  const ElementInfo& element = preferences.elements[row];
  EditArguments fields;
  fields.fields = {{"element", std::string(element.Symbol())},
                   {kAtomRadius.key, FieldText(element.drawRadius, kRadiusDecimals)},
                   {kBondRadius.key, FieldText(element.bondRadius, kRadiusDecimals)},
                   {kTexture.key, std::to_string(element.texture)},
                   {kColours[0].key, std::to_string(RedOf(element.colour))},
                   {kColours[1].key, std::to_string(GreenOf(element.colour))},
                   {kColours[2].key, std::to_string(BlueOf(element.colour))},
                   {"probability", FieldText(preferences.probability, kRadiusDecimals)}};
  return fields;
}

PreferenceFault ApplyAtomPreferences(const EditArguments& arguments, AtomPreferences& preferences) {
  if (!arguments.atoms.empty()) {
    return NotAccepted({"", arguments.atoms + ": only fields such as element=C atom=0.2 are taken."});
  }
  const auto changed = std::make_unique<AtomPreferences>(preferences);
  Setter setter(*changed);
  for (const EditArguments::Field& field : arguments.fields) {
    if (PreferenceFault fault = setter.Set(field)) return fault;
  }
  preferences = *changed;
  return {};
}

void RestoreLooks(ElementTable& elements, int row) {
  const ElementTable builtIn;
  const ElementInfo& from = builtIn[row];
  ElementInfo& to = elements[row];
  to.drawRadius = from.drawRadius;
  to.bondRadius = from.bondRadius;
  to.searchRadius = from.searchRadius;
  to.texture = from.texture;
  to.colour = from.colour;
}

std::string AtomPreferenceChanges(const AtomPreferences& before, const AtomPreferences& after) {
  EditArguments changes;
  for (int row = 1; row < kElementRows; ++row) {
    if (SameLooks(before.elements[row], after.elements[row])) continue;
    for (const auto& field : AtomPreferenceFields(after, row).fields) {
      if (field.key != "probability") changes.fields.push_back(field);
    }
  }
  if (before.probability != after.probability) {
    changes.fields.push_back({"probability", FieldText(after.probability, kRadiusDecimals)});
  }
  return JoinEditArguments(changes);
}

}  // namespace marvik

#include "app/preferences/opengl_preferences.h"

#include <algorithm>
#include <array>
#include <optional>

namespace marvik {
namespace {

constexpr std::array<const char*, 3> kColours{"red", "green", "blue"};
constexpr FieldRange kFields[] = {WordField("font", "Font of labels", "FILE"),
                                  {"cut", "Cut Section", 0, 1},
                                  {"layers", "Layers of anti-aliasing", 1, kMostLayers},
                                  {"red", "Background, red", 0, 255},
                                  {"green", "Background, green", 0, 255},
                                  {"blue", "Background, blue", 0, 255},
                                  WordField("defaults", "Built-in values", "all")};
constexpr double kColourStep = 1.0 / 255.0;
// The file has six digits: 3/255 comes back as 2.9999985/255 and is to stay 3.
constexpr double kFileError = 1e-3;

std::optional<unsigned> UnsignedNumber(const std::string& text) {
  constexpr size_t kMostDigits = 9;
  const bool digits = std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
  if (text.empty() || !digits || text.size() > kMostDigits) return std::nullopt;
  return static_cast<unsigned>(std::stoul(text));
}

PreferenceFault NotAccepted(const std::string& field, const std::string& sentence) {
  return {field, {MessageIcon::Warning, "Error: Field Not Accepted", field + ": " + sentence}, ""};
}

PreferenceFault SetFont(const std::string& path, OpenGlSettings& settings) {
  if (std::ranges::any_of(path, [](char c) { return static_cast<unsigned char>(c) < 0x20; })) {
    return NotAccepted("font", "the path holds a character that is no letter.");
  }
  if (path.find_first_not_of(' ') != std::string::npos) settings.fontPath = path.substr(0, kLongestFontPath);
  return {};
}

PreferenceFault SetField(const EditArguments::Field& field, OpenGlSettings& settings) {
  if (field.key == "font") return SetFont(field.value, settings);
  const auto number = UnsignedNumber(field.value);
  const auto colour = std::ranges::find(kColours, field.key);
  if (colour != kColours.end()) {
    if (number)
      settings.background[static_cast<size_t>(colour - kColours.begin())] = std::min(*number, 255u) * kColourStep;
  } else if (field.key == "cut") {
    if (number) settings.cutSection = *number != 0;
  } else if (field.key == "layers") {
    if (number) settings.layerCount = std::clamp(static_cast<int>(*number), 1, kMostLayers);
  } else if (field.key == "defaults" && field.value == "all") {
    settings = DefaultOpenGlSettings();
  } else {
    return NotAccepted(field.key, "there is no such field.");
  }
  return {};
}

}  // namespace

std::span<const FieldRange> OpenGlPreferenceRanges() {
  return kFields;
}

EditArguments OpenGlPreferenceFields(const OpenGlSettings& settings) {
  EditArguments fields;
  fields.fields = {{"font", settings.fontPath},
                   {"cut", settings.cutSection ? "1" : "0"},
                   {"layers", std::to_string(settings.layerCount)}};
  for (size_t i = 0; i < kColours.size(); ++i) {
    fields.fields.push_back(
        {kColours[i], std::to_string(static_cast<int>(settings.background[i] * 255.0 + kFileError))});
  }
  return fields;
}

PreferenceFault ApplyOpenGlPreferences(const EditArguments& arguments, OpenGlSettings& settings) {
  if (!arguments.atoms.empty()) return NotAccepted(arguments.atoms, "only fields such as layers=12 are taken.");
  OpenGlSettings changed = settings;
  for (const EditArguments::Field& field : arguments.fields) {
    if (PreferenceFault fault = SetField(field, changed)) return fault;
  }
  settings = changed;
  return {};
}

}  // namespace marvik

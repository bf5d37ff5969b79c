#include "picture/picture_options.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/numbers.h"

namespace marvik {
namespace {

constexpr std::array<std::string_view, 4> kBackgrounds{"usual", "black", "white", "transparent"};
constexpr std::array<std::string_view, 8> kKeys{"size",    "resolution",   "background", "renderer",
                                                "journal", "label-report", "trim",       "frames"};
constexpr std::string_view kNoJournal = "none";
constexpr std::string_view kBlanks = " \t\r\n";

}  // namespace

std::optional<PictureBackground> BackgroundNamed(std::string_view name) {
  const auto found = std::ranges::find(kBackgrounds, name);
  if (found == kBackgrounds.end()) return {};
  return static_cast<PictureBackground>(found - kBackgrounds.begin());
}

std::string_view NameOf(PictureBackground background) {
  return kBackgrounds[static_cast<size_t>(background)];
}

std::optional<PictureFrames> FramesNamed(std::string_view name) {
  const auto* found = std::ranges::find(kPictureFrames, name);
  if (found == std::end(kPictureFrames)) return {};
  return static_cast<PictureFrames>(found - kPictureFrames);
}

int PictureOptions::Rows(int side) const {
  return std::clamp(static_cast<int>(std::ceil(kept * side)), 1, side - FirstRow(side));
}

const JournalPreset* JournalPresetNamed(std::string_view name) {
  const auto* found = std::ranges::find(kJournalPresets, name, &JournalPreset::name);
  return found == std::end(kJournalPresets) ? nullptr : found;
}

void ApplyJournal(const JournalPreset& preset, double resolution, PictureOptions& options) {
  constexpr double kMillimetresPerInch = 25.4;
  options.resolution = resolution > 0.0 ? resolution : preset.resolution;
  options.size = std::clamp(RoundHalfAway(preset.width / kMillimetresPerInch * options.resolution), kSmallestPicture,
                            kLargestPicture);
  options.background = PictureBackground::White;
  options.trim = true;
  options.journal = &preset;
}

std::string PictureSizeRule() {
  return "A picture has from " + std::to_string(kSmallestPicture) + " to " + std::to_string(kLargestPicture) +
         " pixels a side.";
}

std::optional<PictureRequest> ParsePictureRequest(std::string_view text, const PictureOptions& usual,
                                                  std::string& wrong) {
  PictureRequest request{usual, ""};
  while (true) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
    const size_t equals = word.find('=');
    const std::string_view key = word.substr(0, equals);
    if (equals == std::string_view::npos || std::ranges::find(kKeys, key) == kKeys.end()) break;
    const std::string_view value = word.substr(equals + 1);
    double number = 0.0;
    if (key == "background") {
      const auto background = BackgroundNamed(value);
      if (!background) wrong = "The background is black, white or transparent.";
      request.options.background = background.value_or(usual.background);
    } else if (key == "label-report") {
      request.options.labelReport = value;
    } else if (key == "journal") {
      const JournalPreset* preset = JournalPresetNamed(value);
      request.options.journal = nullptr;
      if (!preset && value != kNoJournal) wrong = "The journal is single-column or double-column.";
      if (preset) ApplyJournal(*preset, 0.0, request.options);
    } else if (key == "frames") {
      const auto frames = FramesNamed(value);
      if (!frames) wrong = "The frames are one, stereo, axes or turn.";
      request.options.frames = frames.value_or(usual.frames);
    } else if (key == "trim") {
      if (value != "on" && value != "off") wrong = "The trim is on or off.";
      request.options.trim = value == "on";
    } else if (key == "renderer") {
      if (value != "interactive" && value != "opengl") wrong = "The renderer is interactive or opengl.";
      request.options.openGl = value == "opengl";
    } else if (!ParseWholeNumber(value, number)) {
      wrong = std::string(word) + " is not a number.";
    } else if (key == "size") {
      const bool whole = number >= kSmallestPicture && number <= kLargestPicture && number == RoundHalfAway(number);
      if (!whole) wrong = PictureSizeRule();
      request.options.size = whole ? RoundHalfAway(number) : usual.size;
    } else {
      if (!(number >= 0.0 && number <= kLargestResolution)) wrong = "The resolution is 0 to 10000 dots per inch.";
      request.options.resolution = number;
    }
    if (!wrong.empty()) return {};
    text.remove_prefix(word.size());
  }
  const size_t last = text.find_last_not_of(kBlanks);
  if (last == std::string_view::npos) {
    wrong = "The name of the file to write is missing.";
    return {};
  }
  request.path = text.substr(0, last + 1);
  return request;
}

std::string PictureArgument(const PictureRequest& request) {
  const PictureOptions& o = request.options;
  return "journal=" + std::string(o.journal ? o.journal->name : kNoJournal) + " " +
         Printf("size=%d resolution=%.9g background=", o.size, o.resolution) + std::string(NameOf(o.background)) +
         (o.trim ? " trim=on" : " trim=off") + " frames=" + std::string(kPictureFrames[static_cast<size_t>(o.frames)]) +
         (o.openGl ? " renderer=opengl " : " renderer=interactive ") + request.path;
}

}  // namespace marvik

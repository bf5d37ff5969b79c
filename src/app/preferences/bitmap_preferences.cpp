#include "app/preferences/bitmap_preferences.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>

#include "base/files.h"
#include "gl/gl_picture.h"

namespace marvik {
namespace {

constexpr int kIncrement = 100;
constexpr int kLargestPointSize = 1000;
constexpr FieldRange kFields[] = {{"size", "Pixels a side, in hundreds", 100, kLargestBitmap},
                                  {"points", "Point size of labels", 1, kLargestPointSize},
                                  WordField("file", "File", "JPG"),
                                  WordField("antialias", "Anti-aliasing", "0|1")};
constexpr char kDimensions[] = "Error: Incorrect Dimensions";

// Digits and blanks around them, as a number field has it; what is too long for an int is the largest.
std::optional<int> UnsignedNumber(const std::string& text) {
  constexpr size_t kMostDigits = 9;
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return std::nullopt;
  const std::string digits = text.substr(first, text.find_last_not_of(" \t") - first + 1);
  if (!std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; })) return std::nullopt;
  return digits.size() > kMostDigits ? std::numeric_limits<int>::max() : std::stoi(digits);
}

PreferenceFault Fault(const char* field, const char* caption, std::string text, std::string correction) {
  return {field, {MessageIcon::Warning, caption, std::move(text)}, std::move(correction)};
}

int UsualSize(const Workbench& bench) {
  const int side = static_cast<int>(std::clamp(bench.view.drawingSize, 0.0, double{kLargestBitmap}));
  return std::max(kIncrement, side / kIncrement * kIncrement);
}

PreferenceFault ReadSize(const std::string& text, const Workbench& bench, int& size) {
  const int number = UnsignedNumber(text).value_or(0);
  if (number < 1) {
    return Fault("size", kDimensions, "Incorrect bitmap dimensions. (Must be >= 1)", std::to_string(UsualSize(bench)));
  }
  if (number > kLargestBitmap) {
    const std::string largest = std::to_string(kLargestBitmap);
    return Fault("size", kDimensions, "Incorrect bitmap dimensions. (Must be <= " + largest + ")", largest);
  }
  if (number % kIncrement != 0) {
    // Below the first increment there is nothing to round down to.
    const int rounded = std::max(kIncrement, number / kIncrement * kIncrement);
    return Fault("size", kDimensions, "Bitmap dimensions must be in increments of 100 pixels.",
                 std::to_string(rounded));
  }
  size = number;
  return {};
}

// A picture may take minutes; what is in the way of its file is better said before.
PreferenceFault CheckFile(const std::string& path) {
  std::error_code error;
  const std::string folder = DirectoryOf(path);
  if (!FileNameOf(path).empty() && !std::filesystem::is_directory(path, error) &&
      (folder.empty() || std::filesystem::is_directory(folder, error))) {
    return {};
  }
  return Fault("file", "File Error:", "Can't open " + path, "");
}

}  // namespace

BitmapPreferences UsualBitmapPreferences(Workbench& bench) {
  BitmapPreferences usual;
  usual.size = UsualSize(bench);
  usual.pointSize = ProperPointSize(bench.GlSettings().fontPath, usual.size);
  const std::string name = FileNameOf(BaseNameOf(bench.document.CurrentFile));
  std::error_code error;
  usual.file = (std::filesystem::current_path(error) / ((name.empty() ? "noname" : name) + ".jpg")).string();
  usual.antiAlias = bench.pictures.bitmapAntiAlias;
  return usual;
}

std::span<const FieldRange> BitmapFields() {
  return kFields;
}

PreferenceFault ReadBitmapPreferences(const EditArguments& arguments, Workbench& bench, const BitmapPreferences& usual,
                                      BitmapPreferences& preferences) {
  constexpr char kNotAccepted[] = "Error: Field Not Accepted";
  if (!arguments.atoms.empty()) {
    return Fault("", kNotAccepted, arguments.atoms + ": only fields such as size=600 are taken.", "");
  }
  if (const EditFault fault = UnknownFieldFault(arguments, kFields)) {
    return Fault("", kNotAccepted, fault.text, "");
  }
  BitmapPreferences read = usual;
  if (const std::string* file = arguments.Find("file")) read.file = *file;
  if (!FileNameOf(read.file).empty() && LowerExtensionOf(read.file).empty()) read.file += ".jpg";
  if (const std::string* size = arguments.Find("size")) {
    if (PreferenceFault fault = ReadSize(*size, bench, read.size)) return fault;
  }
  if (const std::string* points = arguments.Find("points")) {
    read.pointSize = UnsignedNumber(*points).value_or(0);
    if (read.pointSize < 1 || read.pointSize > kLargestPointSize) {
      const std::string rule = read.pointSize < 1 ? ">= 1" : "<= " + std::to_string(kLargestPointSize);
      return Fault("points", "Error: Incorrect Font Dimensions", "Incorrect font size. (Must be " + rule + ")",
                   std::to_string(kUsualPointSize));
    }
  } else {
    read.pointSize = ProperPointSize(bench.GlSettings().fontPath, read.size);
  }
  if (const std::string* antiAlias = arguments.Find("antialias")) {
    if (*antiAlias != "0" && *antiAlias != "1") return Fault("antialias", kNotAccepted, "antialias: 0 or 1.", "");
    read.antiAlias = *antiAlias == "1";
  }
  if (PreferenceFault fault = CheckFile(read.file)) return fault;
  preferences = read;
  return {};
}

PreferenceFault CalculatePointSize(const std::string& size, Workbench& bench, int& pointSize) {
  int side = 0;
  if (PreferenceFault fault = ReadSize(size, bench, side)) return fault;
  const std::string& font = bench.GlSettings().fontPath;
  if (!std::ifstream(font, std::ios::binary).good()) {
    return Fault("points", "", "Can't open the font file " + font, "");
  }
  pointSize = ProperPointSize(font, side);
  return {};
}

}  // namespace marvik

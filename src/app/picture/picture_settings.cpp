#include "app/picture/picture_settings.h"

#include <algorithm>
#include <string_view>

#include "base/files.h"
#include "base/numbers.h"
#include "base/package_file.h"

namespace marvik {
namespace {

constexpr char kFile[] = "marvikui.ini";
constexpr std::string_view kSection = "[pictures]";
constexpr std::string_view kProbability = "probability=";
constexpr std::string_view kAntiAlias = "antiAlias=";

std::string_view TakeLine(std::string_view& text) {
  const size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

// Gives each line of the file to one of the two: those of our section, its head left out, and all others.
template <class Ours, class Others>
void WalkLines(std::string_view text, Ours&& ours, Others&& others) {
  bool inside = false;
  while (!text.empty()) {
    const std::string_view line = TakeLine(text);
    if (line.starts_with('[')) inside = line == kSection;
    if (!inside) {
      others(line);
    } else if (line != kSection) {
      ours(line);
    }
  }
}

}  // namespace

void LoadPictureSettings(PictureSettings& settings) {
  const auto path = PackageFile(kFile);
  if (!path) return;
  const auto take = [&settings](std::string_view line) {
    double value = 0.0;
    if (line.starts_with(kProbability) && ParseWholeNumber(line.substr(kProbability.size()), value)) {
      if (value >= 0.001 && value <= 1.0) settings.probability = value;
    } else if (line.starts_with(kAntiAlias)) {
      settings.bitmapAntiAlias = line.substr(kAntiAlias.size()) == "true";
    }
  };
  WalkLines(ReadWholeFile(*path).content, take, [](std::string_view) {});
}

bool SavePictureSettings(const PictureSettings& settings) {
  const auto path = PackageFile(kFile);
  if (!path) return true;
  std::string text;
  const auto keep = [&text](std::string_view line) { text.append(line).append("\n"); };
  WalkLines(
      ReadWholeFile(*path).content, [](std::string_view) {}, keep);
  if (!text.empty() && !text.ends_with("\n\n")) text += '\n';
  text.append(kSection).append("\n").append(kProbability);
  AppendPrintf(text, "%.9g\n", settings.probability);
  text.append(kAntiAlias).append(settings.bitmapAntiAlias ? "true\n" : "false\n");
  return WriteFileAtomically(*path, text) == 0;
}

}  // namespace marvik

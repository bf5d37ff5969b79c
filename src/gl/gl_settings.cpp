#include "gl/gl_settings.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "base/files.h"
#include "base/numbers.h"
#include "base/package_file.h"
#include "draw/labels/label_font.h"

namespace marvik {
namespace {

constexpr size_t kNumbers = 5;

// A stretch of the line without blanks.
struct Word {
  size_t from = 0;
  std::string_view text;
};

std::vector<Word> WordsOf(std::string_view line) {
  std::vector<Word> words;
  for (size_t at = line.find_first_not_of(" \t"); at != std::string_view::npos;) {
    const size_t end = std::min(line.find_first_of(" \t", at), line.size());
    words.push_back({at, line.substr(at, end - at)});
    at = line.find_first_not_of(" \t", end);
  }
  return words;
}

std::string_view WithoutBlanksAround(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool IsNumber(const Word& word) {
  double value = 0.0;
  return ParseWholeNumber(word.text, value);
}

void TakeNumber(OpenGlSettings& settings, size_t place, double value) {
  if (place == 0) {
    settings.cutSection = value != 0.0;
  } else if (place == 1) {
    if (value >= 0.0 && value <= 2147483647.0) settings.layerCount = static_cast<int>(value);
  } else if (value >= 0.0 && value <= 1.0) {
    settings.background[place - 2] = value;
  }
}

}  // namespace

OpenGlSettings DefaultOpenGlSettings() {
  OpenGlSettings settings;
  settings.fontPath = FindSansFontFile();
  return settings;
}

std::optional<std::string> OpenGlSettingsFile() {
  return PackageFile("opengl.prf");
}

OpenGlSettings ParseOpenGlSettings(std::string_view text) {
  OpenGlSettings settings = DefaultOpenGlSettings();
  const std::string_view line = text.substr(0, text.find_first_of("\r\n"));
  const std::vector<Word> words = WordsOf(line);
  if (words.empty()) return settings;
  size_t first = words.size() > kNumbers ? words.size() - kNumbers : words.size();
  for (size_t i = first; i < words.size(); ++i) {
    if (!IsNumber(words[i])) first = words.size();
  }
  if (first == words.size()) first = 1;
  const size_t pathEnd = first < words.size() ? words[first].from : line.size();
  const std::string_view path = WithoutBlanksAround(line.substr(0, pathEnd));
  settings.fontPath = path;
  for (size_t i = first; i < words.size() && i < first + kNumbers; ++i) {
    double value = 0.0;
    if (!ParseWholeNumber(words[i].text, value)) break;
    TakeNumber(settings, i - first, value);
  }
  return settings;
}

std::string ComposeOpenGlSettings(const OpenGlSettings& settings) {
  return settings.fontPath + Printf(" %d %d %g %g %g\n", settings.cutSection ? 1 : 0, settings.layerCount,
                                    settings.background[0], settings.background[1], settings.background[2]);
}

OpenGlSettings LoadOpenGlSettings() {
  const auto path = OpenGlSettingsFile();
  if (!path) return DefaultOpenGlSettings();
  const FileContent file = ReadWholeFile(*path);
  return file.opened ? ParseOpenGlSettings(file.content) : DefaultOpenGlSettings();
}

bool SaveOpenGlSettings(const OpenGlSettings& settings) {
  const auto path = OpenGlSettingsFile();
  return path && WriteFileAtomically(*path, ComposeOpenGlSettings(settings)) == 0;
}

}  // namespace marvik

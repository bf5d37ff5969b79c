#include "app/package_settings.h"

#include <algorithm>
#include <fstream>
#include <span>
#include <string_view>

#include "base/files.h"
#include "base/package_file.h"

namespace marvik {
namespace {

constexpr size_t kLongestPath = 256;
constexpr size_t kRecentFileSlots = 4;  // of "marvikrf.ini"

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

// A line with an "=" is blanked from there on and runs into the next line; that is how the file has always been read.
void BlankAssignments(std::string& text) {
  for (size_t at = text.find('='); at != std::string::npos; at = text.find('=', at)) {
    const size_t end = text.find('\n', at);
    const size_t behind = end == std::string::npos ? text.size() : end + 1;
    std::fill(text.begin() + static_cast<std::ptrdiff_t>(at), text.begin() + static_cast<std::ptrdiff_t>(behind), ' ');
  }
}

// The text from the sixth character of the first SYSD line up to its first blank.
std::string SystemDirectoryOf(std::string_view text) {
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (!line.starts_with("SYSD")) continue;
    line.remove_prefix(std::min<size_t>(5, line.size()));
    return std::string(line.substr(0, static_cast<size_t>(std::ranges::find_if(line, IsBlank) - line.begin())));
  }
  return "";
}

void ReadEditor(const std::string& path, std::string& editor) {
  std::ifstream in(path, std::ios::binary);
  std::string word;
  while (in >> word) {
    if (word.find("EDITOR") != std::string::npos && in >> word) editor = word;
  }
}

}  // namespace

void LoadEditorConfiguration(PackageSettings& settings, UserMessages& messages) {
  settings.EditorCommand = "notepad";
  const auto systemFile = PackageFile("qtrn.ini");
  if (!systemFile) return;
  FileContent file = ReadWholeFile(*systemFile);
  if (file.outOfMemory) {
    messages.Show({MessageIcon::Warning, "", "Not enough memory."});
  } else if (file.opened) {
    if (!file.complete) messages.Show({MessageIcon::Warning, "", "Error reading " + *systemFile + "."});
    BlankAssignments(file.content);
    settings.SystemDirectory = SystemDirectoryOf(file.content);
  }
  ReadEditor(*PackageFile("marvik.ini"), settings.EditorCommand);
}

void LoadRecentFiles(PackageSettings& settings) {
  const auto path = PackageFile("marvikrf.ini");
  if (!path) return;
  std::ifstream in(*path, std::ios::binary);
  for (std::string& slot : std::span(settings.RecentFiles).first<kRecentFileSlots>()) {
    std::string line;
    if (!std::getline(in, line)) return;
    if (line.ends_with('\r')) line.pop_back();
    slot = line.substr(0, kLongestPath);
  }
}

bool NoteRecentFile(PackageSettings& settings, const std::string& path) {
  auto& slots = settings.RecentFiles;
  if (path == slots[0]) return false;
  // Everything above the slot that held it moves down by one; a new path, like the last one, pushes the last out.
  const auto held = std::find(slots.begin(), slots.end() - 1, path);
  std::move_backward(slots.begin(), held, held + 1);
  slots[0] = path;
  SaveRecentFiles(settings);
  return true;
}

void SaveRecentFiles(const PackageSettings& settings) {
  const auto path = PackageFile("marvikrf.ini");
  if (!path) return;
  std::string text;
  for (const std::string& slot : std::span(settings.RecentFiles).first<kRecentFileSlots>()) text += slot + "\n";
  WriteFileAtomically(*path, text);
}

}  // namespace marvik

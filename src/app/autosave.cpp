#include "app/autosave.h"

#include <algorithm>
#include <ctime>
#include <filesystem>

#include "app/open_save.h"
#include "base/files.h"
#include "base/numbers.h"
#include "base/package_file.h"
#include "base/process_mark.h"
#include "files/res/reader.h"
#include "files/res/writer.h"

namespace marvik {
namespace {

namespace fs = std::filesystem;

// The file is a head of lines, an empty line, and the structure as a save would write it: what it is, the process that
// wrote it, the time, the structure's path as its bytes' numbers, size and time of the file when it was read.
constexpr std::string_view kFirstLine = "marvik autosave 1\n";

std::string Folder() {
  return PackageFile("autosave/").value_or("");
}

// The next line of the head, without its end.
std::string_view TakeLine(std::string_view& text) {
  const size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

struct Kept {
  std::string process;
  long long time = 0;
  std::string path;
  FileStamp stamp;
  std::string_view text;
};

// Nothing for what is no autosave.
std::optional<Kept> Parse(std::string_view content) {
  if (!content.starts_with(kFirstLine)) return std::nullopt;
  content.remove_prefix(kFirstLine.size());
  Kept kept;
  kept.process = TakeLine(content);
  double numbers[4] = {};
  std::string_view figures = TakeLine(content);
  for (double& number : numbers) {
    const size_t blank = std::min(figures.find(' '), figures.size());
    if (!ParseWholeNumber(figures.substr(0, blank), number)) return std::nullopt;
    figures.remove_prefix(std::min(blank + 1, figures.size()));
  }
  kept.time = static_cast<long long>(numbers[0]);
  kept.stamp.size = static_cast<long long>(numbers[1]);
  kept.stamp.nanoseconds = static_cast<long long>(numbers[2]) * 1000000000 + static_cast<long long>(numbers[3]);
  // A path may hold line ends: the rest of the head says how long it is.
  double length = 0.0;
  if (!ParseWholeNumber(TakeLine(content), length) || length < 0 || length > static_cast<double>(content.size()))
    return std::nullopt;
  kept.path = content.substr(0, static_cast<size_t>(length));
  content.remove_prefix(static_cast<size_t>(length));
  if (!content.starts_with("\n\n")) return std::nullopt;
  kept.text = content.substr(2);
  return kept;
}

}  // namespace

void Autosave::Keep() {
  if (!bench_.modified) return Remove();
  // Meanwhile nothing of the user's changes, and what stands in its place may be a model that is being found.
  if (bench_.refining || (!file_.empty() && kept_ == bench_.changes)) return;
  const std::string folder = Folder();
  RecordingMessages quiet;
  std::string text;
  if (folder.empty() || !ComposeInstructionText(bench_.document, text, quiet)) return;
  std::error_code error;
  fs::create_directories(folder, error);
  // Others may not read what the structure's own file may keep from them.
  if (!error) fs::permissions(folder, fs::perms::owner_all, error);
  const std::string process = ProcessMark();
  const FileStamp stamp = bench_.document.stamp.value_or(FileStamp{});
  std::string content(kFirstLine);
  AppendPrintf(content, "%s\n%lld %lld %lld %lld\n%zu\n", process.c_str(), static_cast<long long>(std::time(nullptr)),
               stamp.size, stamp.nanoseconds / 1000000000, stamp.nanoseconds % 1000000000,
               bench_.document.CurrentFile.size());
  content += bench_.document.CurrentFile + "\n\n" + text;
  const std::string file = folder + process + ".autosave";
  if (WriteFileAtomically(file, content) != 0) return;
  file_ = file;
  kept_ = bench_.changes;
}

void Autosave::Remove() {
  if (file_.empty()) return;
  std::error_code ignored;
  fs::remove(file_, ignored);
  file_.clear();
}

std::vector<LeftWork> Autosave::Left(const std::string& path) {
  std::vector<LeftWork> left;
  const std::string folder = Folder();
  std::error_code error;
  if (folder.empty()) return left;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    const std::string file = entry->path().string();
    if (LowerExtensionOf(file) != "autosave") continue;
    const FileContent content = ReadWholeFile(file);
    const auto kept = Parse(content.content);
    if (!kept || ProcessLives(kept->process)) continue;
    if (path.empty() || kept->path == path) left.push_back({file, kept->path, kept->time});
  }
  std::ranges::sort(left, std::ranges::greater{}, &LeftWork::time);
  return left;
}

bool Autosave::Restore(const LeftWork& left) {
  const FileContent content = ReadWholeFile(left.file);
  const auto kept = Parse(content.content);
  Document& document = bench_.document;
  if (!kept || !ReadInstructionText(document, std::string(kept->text), bench_.messages)) {
    bench_.messages.Show({MessageIcon::Warning, "Error: File Unreadable",
                          "This file is either missing, empty or corrupt:\n" + left.file});
    return false;
  }
  document.CurrentFile = kept->path;
  document.WorkingDirectory = DirectoryOf(kept->path);
  if (kept->stamp.size > 0) document.stamp = kept->stamp;
  bench_.ClearPick();
  bench_.history.Clear();
  bench_.uniqHistory.clear();
  bench_.SetModified(true);
  bench_.RefreshAfterStructureChange(false);
  bench_.ResetViewToModel();
  bench_.TitleChanged();
  Keep();
  if (left.file != file_) Discard(left);
  return true;
}

void Autosave::Discard(const LeftWork& left) {
  std::error_code ignored;
  fs::remove(left.file, ignored);
}

}  // namespace marvik

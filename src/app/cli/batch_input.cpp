#include "app/cli/batch_input.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <limits>
#include <map>
#include <unistd.h>

#include "base/files.h"
#include "base/numbers.h"

namespace marvik {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kNameMark = "{name}";
constexpr std::string_view kLineHead = "{\"file\": ";
constexpr std::string_view kHistoryEnd = "_steps";
constexpr std::string_view kModelExtensions[] = {"ins", "res", "cif"};

bool IsModel(const std::string& path) {
  return std::ranges::find(kModelExtensions, LowerExtensionOf(path)) != std::end(kModelExtensions);
}

// The folder in which a job beside it keeps its accepted refinements.
bool IsHistory(const std::string& folder) {
  if (!folder.ends_with(kHistoryEnd)) return false;
  const std::string job = folder.substr(0, folder.size() - kHistoryEnd.size());
  return StampOf(job + ".res") || StampOf(job + ".ins");
}

std::vector<std::string> FilesBelow(const std::string& folder) {
  std::vector<std::string> files;
  std::error_code error;
  const auto options = fs::directory_options::skip_permission_denied;
  for (fs::recursive_directory_iterator entry(folder, options, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string path = entry->path().string();
    std::error_code ignored;
    if (IsHistory(path)) {
      entry.disable_recursion_pending();
    } else if (IsModel(path) && entry->is_regular_file(ignored)) {
      files.push_back(path);
    }
  }
  std::ranges::sort(files);
  return files;
}

std::vector<std::string> LinesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (!line.empty()) lines.emplace_back(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

// Of the files of one job the model that was written last, in the place of the first; a CIF, which a refinement writes
// too, only where it stands alone.
std::vector<std::string> OnePerJob(const std::vector<std::string>& files) {
  const auto age = [](const std::string& file) {
    const auto stamp = StampOf(file);
    return stamp && LowerExtensionOf(file) != "cif" ? stamp->nanoseconds : std::numeric_limits<long long>::min();
  };
  std::vector<std::string> chosen;
  std::map<std::string, size_t> places;
  for (const std::string& file : files) {
    const auto [place, isNew] = places.try_emplace(BaseNameOf(file), chosen.size());
    if (isNew) {
      chosen.push_back(file);
    } else if (age(file) > age(chosen[place->second])) {
      chosen[place->second] = file;
    }
  }
  return chosen;
}

// What leaves NAME.ins and NAME.res behind, whichever of them is given.
bool RunsJobs(const CommandLineOptions& options) {
  return options.Has("--refine") || options.Has("--solve") || options.Has("--complete");
}

}  // namespace

std::optional<std::pair<int, int>> ParseShard(const std::string& text) {
  const size_t slash = text.find('/');
  double index = 0.0;
  double count = 0.0;
  if (slash == std::string::npos || !ParseWholeNumber(std::string_view(text).substr(0, slash), index) ||
      !ParseWholeNumber(std::string_view(text).substr(slash + 1), count))
    return std::nullopt;
  const bool good = count >= 1 && count <= 1e6 && index >= 1 && index <= count;
  if (!good || index != RoundHalfAway(index) || count != RoundHalfAway(count)) return std::nullopt;
  return std::pair(RoundHalfAway(index), RoundHalfAway(count));
}

std::vector<std::string> BatchFiles(const CommandLineOptions& options, std::string& wrong) {
  std::vector<std::string> files;
  std::error_code error;
  if (options.batch == "-") {
    files = LinesOf(std::string(std::istreambuf_iterator<char>(std::cin), {}));
  } else if (fs::is_directory(options.batch, error)) {
    files = FilesBelow(options.batch);
  } else {
    const FileContent list = ReadWholeFile(options.batch);
    if (!list.complete) wrong = "The list " + options.batch + " could not be read";
    files = LinesOf(list.content);
  }
  if (RunsJobs(options)) files = OnePerJob(files);
  std::set<std::string> names;
  const bool named = std::ranges::any_of(options.actions, [](const BatchAction& a) { return !a.row->formats.empty(); });
  for (const std::string& file : files) {
    if (named && !names.insert(BatchNameOf(file)).second && wrong.empty())
      wrong = "Two files are called " + BatchNameOf(file) + ": their results would be one file";
  }
  if (const auto shard = ParseShard(options.shard)) {
    std::vector<std::string> part;
    for (size_t i = static_cast<size_t>(shard->first) - 1; i < files.size(); i += static_cast<size_t>(shard->second))
      part.push_back(files[i]);
    files = std::move(part);
  }
  return files;
}

std::vector<std::string> SameWork(const CommandLineOptions& options, const std::string& file) {
  if (!RunsJobs(options) || !IsModel(file)) return {file};
  std::vector<std::string> files;
  for (const std::string_view extension : kModelExtensions)
    files.push_back(BaseNameOf(file) + "." + std::string(extension));
  files.push_back(file);
  return files;
}

std::string BatchNameOf(const std::string& file) {
  return FileNameOf(BaseNameOf(file));
}

std::string BatchOutput(const std::string& out, const std::string& file) {
  std::string path = out;
  const std::string name = BatchNameOf(file);
  for (size_t at = 0; (at = path.find(kNameMark, at)) != std::string::npos; at += name.size())
    path.replace(at, kNameMark.size(), name);
  return path;
}

int DoneFiles(const std::string& results, std::set<std::string>& done) {
  if (!StampOf(results)) return 0;
  const FileContent file = ReadWholeFile(results);
  if (!file.complete) return file.systemError ? file.systemError : EIO;
  const size_t whole = file.content.rfind('\n') + 1;
  if (whole < file.content.size() && truncate(results.c_str(), static_cast<off_t>(whole)) != 0) return errno;
  for (const std::string& line : LinesOf(std::string_view(file.content).substr(0, whole))) {
    if (!line.starts_with(kLineHead)) continue;
    size_t end = kLineHead.size() + 1;
    while (end < line.size() && line[end] != '"') end += line[end] == '\\' ? 2 : 1;
    done.insert(line.substr(kLineHead.size(), end + 1 - kLineHead.size()));
  }
  return 0;
}

}  // namespace marvik

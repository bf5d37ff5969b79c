#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace marvik {

// What reading a whole file gave. `content` holds what arrived; `complete` is false when that was less than the file's
// length. A file that cannot be opened, or a directory, gives opened = false; no memory for it outOfMemory = true.
struct FileContent {
  std::string content;
  bool opened = false;
  bool complete = false;
  bool outOfMemory = false;
  int systemError = 0;
};

// Folders and devices are not opened, a pipe without a writer gives nothing, and no more than 2 GiB is taken.
FileContent ReadWholeFile(const std::string& path);

// Writes beside `path`, flushes to the disk and renames over it, so that the old file stays whole whatever happens. Two
// who write the same file at once do not meet; what a killed process left is swept by the next write. Owner, group,
// permissions and extended attributes of an existing file are kept and a symbolic link is followed; a file with several
// hard links, or whose owner and attributes a new one could not have, is written in place instead. With a non-empty
// `backupPath` the old file is kept under that name. Pipes and devices are written directly. Gives 0, or the system's
// error number with nothing changed.
int WriteFileAtomically(const std::string& path, std::string_view content, const std::string& backupPath = {});
// What to say about its error: the stated sentence, and what a user can do something about (a full disk).
std::string WriteFault(const std::string& path, int error);

// Size and time of the last change of a file, to notice that somebody else wrote it; nothing when it does not exist.
struct FileStamp {
  long long size = 0;
  long long nanoseconds = 0;
  friend bool operator==(const FileStamp&, const FileStamp&) = default;
};
std::optional<FileStamp> StampOf(const std::string& path);

// Paths as users type them: both separators are accepted.
std::string DirectoryOf(const std::string& path);       // up to and including the last separator, "" without one
std::string FileNameOf(const std::string& path);        // behind the last separator
std::string BaseNameOf(const std::string& path);        // the path without its extension
std::string LowerExtensionOf(const std::string& path);  // behind the last dot of the file name, in lower case, no dot

// The value of an environment variable, nothing when unset. The package directory's variable has a name that no shell
// can export, so it is read here and nowhere else.
inline constexpr const char* kPackageVariable = "QTRN$SYSTEM:";
std::optional<std::string> EnvironmentValue(const char* name);

}  // namespace marvik

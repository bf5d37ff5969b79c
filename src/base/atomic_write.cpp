// The one way in which files are written.
#include "base/atomic_write.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

#include "base/process_mark.h"

namespace marvik {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kTemporaryEnd = ".new~";
constexpr size_t kLongestName = 255;  // bytes
constexpr mode_t kPermissionBits = 07777;

enum class Durability { Flushed, Derived };

class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  operator int() const { return descriptor_; }
  // 0 or the error number: the last write of some file systems is told of here.
  int Close() {
    const int closed = close(descriptor_);
    descriptor_ = -1;
    return closed == 0 ? 0 : errno;
  }

 private:
  int descriptor_;
};

int WriteAll(int descriptor, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = write(descriptor, content.data(), content.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    content.remove_prefix(static_cast<size_t>(written));
  }
  return 0;
}

// Puts the content into the file that is open under a descriptor; 0 or the error number.
using Filling = std::function<int(int)>;

Filling With(std::string_view content) {
  return [content](int file) { return WriteAll(file, content); };
}

int CopyAll(const fs::path& from, int to) {
  Descriptor file(open(from.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  std::vector<char> buffer(1 << 16);
  for (;;) {
    const ssize_t got = file < 0 ? -1 : read(file, buffer.data(), buffer.size());
    if (got < 0 && file >= 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    if (got == 0) return 0;
    if (const int error = WriteAll(to, {buffer.data(), static_cast<size_t>(got)})) return error;
  }
}

int Flush(int descriptor) {
  // Pipes, devices and some file systems know nothing to flush.
  return fsync(descriptor) == 0 || errno == EINVAL || errno == EROFS ? 0 : errno;
}

// So that the new name outlives a power cut; where folders cannot be flushed there is nothing more to do.
void FlushFolder(const fs::path& file) {
  const fs::path folder = file.parent_path();
  const Descriptor descriptor(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor >= 0) fsync(descriptor);
}

// A device or pipe is written directly: there is nothing to keep whole. Nobody at the other end is an error, not a
// reason to wait.
int WriteSpecial(const std::string& path, std::string_view content) {
  Descriptor descriptor(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
  if (descriptor < 0) return errno;
  fcntl(descriptor, F_SETFL, O_WRONLY);
  const int error = WriteAll(descriptor, content);
  return error ? error : descriptor.Close();
}

// Where a chain of symbolic links ends, be there a file or not; a link again when it does not end.
fs::path FollowedLinks(fs::path path) {
  std::error_code error;
  for (int links = 0; links < 40 && fs::is_symlink(path, error); ++links) {
    const fs::path next = fs::read_symlink(path, error);
    path = next.is_absolute() ? next : path.parent_path() / next;
  }
  return path;
}

// "NAME.MARK-NUMBER.new~" beside the file, for nobody else at any time. Of long names the front stays.
fs::path TemporaryFor(const fs::path& target) {
  static std::atomic<unsigned> number{0};
  const std::string tail = "." + ProcessMark() + "-" + std::to_string(++number) + std::string(kTemporaryEnd);
  return target.parent_path() / (target.filename().string().substr(0, kLongestName - tail.size()) + tail);
}

// Removes what processes that are gone have left of earlier writes of this file.
void SweepTemporaries(const fs::path& target) {
  const std::string name = target.filename().string();
  std::error_code error;
  const fs::path folder = target.parent_path();
  for (fs::directory_iterator entry(folder.empty() ? fs::path(".") : folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string other = entry->path().filename().string();
    if (!other.starts_with(name + ".") || !other.ends_with(kTemporaryEnd)) continue;
    std::string mark = other.substr(name.size() + 1);
    mark.erase(std::min(mark.rfind('-'), mark.size()));
    if (mark.starts_with("bak.")) mark.erase(0, 4);  // of its backup
    std::error_code ignored;
    if (!ProcessLives(mark)) fs::remove(entry->path(), ignored);
  }
}

// Extended attributes, access lists among them, from one file to another. False when one could not be taken over.
bool CopyAttributes(const char* from, int to) {
  const ssize_t length = listxattr(from, nullptr, 0);
  if (length <= 0) return length == 0 || errno == ENOTSUP;
  std::vector<char> names(static_cast<size_t>(length));
  const ssize_t listed = listxattr(from, names.data(), names.size());
  for (const char* name = names.data(); name < names.data() + listed; name += std::strlen(name) + 1) {
    const ssize_t size = getxattr(from, name, nullptr, 0);
    std::vector<char> value(size > 0 ? static_cast<size_t>(size) : 0);
    if (size < 0 || getxattr(from, name, value.data(), value.size()) != size) return false;
    // What the system keeps for itself it gives to every file.
    if (fsetxattr(to, name, value.data(), value.size(), 0) != 0 && !std::string_view(name).starts_with("security."))
      return false;
  }
  return true;
}

// Makes a new file of the name with the content; like `old`, where there is one, in owner, group, permissions and
// attributes. `alike` says whether that could be had; until then nobody but the owner can read it.
int WriteNew(const fs::path& name, const Filling& fill, const struct stat* old, const fs::path& oldName, bool& alike,
             Durability durability) {
  Descriptor file(open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, old ? 0600 : 0666));
  if (file < 0) return errno;
  if (old) {
    struct stat made {};
    fstat(file, &made);
    alike = (made.st_uid == old->st_uid && made.st_gid == old->st_gid) || fchown(file, old->st_uid, old->st_gid) == 0;
    alike = CopyAttributes(oldName.c_str(), file) && alike;
    if (alike) alike = fchmod(file, old->st_mode & kPermissionBits) == 0;
  }
  int error = fill(file);
  if (!error && durability == Durability::Flushed) error = Flush(file);
  return error ? error : file.Close();
}

// A copy of the old file under the name of its backup, whole before it has that name. Whatever had it is replaced in
// one step, a link by the file. No second name for the old file: that would look like a hard link to who saves
// meanwhile.
int KeepBackup(const fs::path& target, const struct stat& old, const fs::path& backup) {
  const fs::path temporary = TemporaryFor(backup);
  bool alike = true;  // else it is for nobody but the owner
  const Filling fill = [&](int file) { return CopyAll(target, file); };
  int error = WriteNew(temporary, fill, &old, target, alike, Durability::Flushed);
  const timespec times[2] = {old.st_atim, old.st_mtim};
  if (!error) utimensat(AT_FDCWD, temporary.c_str(), times, 0);
  if (!error && rename(temporary.c_str(), backup.c_str()) != 0) error = errno;
  if (error) unlink(temporary.c_str());
  return error;
}

// Over the old content, where a new file could not have its owner, its links or its attributes. The caller has seen to
// a backup.
int WriteInPlace(const fs::path& target, std::string_view content) {
  Descriptor file(open(target.c_str(), O_WRONLY | O_CLOEXEC));
  if (file < 0) return errno;
  int error = WriteAll(file, content);
  if (!error && ftruncate(file, static_cast<off_t>(content.size())) != 0) error = errno;
  if (!error) error = Flush(file);
  return error ? error : file.Close();
}

int Replace(const fs::path& target, std::string_view content, const struct stat& old, const std::string& backupPath,
            Durability durability) {
  const fs::path temporary = TemporaryFor(target);
  const auto giveUp = [&](int error) {
    unlink(temporary.c_str());
    return error;
  };
  bool alike = old.st_nlink == 1;
  // The whole new content is on the disk in either case before the old one is touched: a full disk harms nothing.
  bool attributes = true;
  if (const int error = WriteNew(temporary, With(content), &old, target, attributes, durability)) return giveUp(error);
  alike = alike && attributes;
  const fs::path backup = backupPath.empty() ? fs::path() : fs::path(backupPath);
  if (!backup.empty()) {
    if (const int error = KeepBackup(target, old, backup)) return giveUp(error);
  }
  if (alike) {
    if (rename(temporary.c_str(), target.c_str()) != 0) return giveUp(errno);
  } else if (const int error = WriteInPlace(target, content)) {
    return error;  // the temporary file holds the content: it stays
  }
  unlink(temporary.c_str());
  if (durability == Durability::Flushed) FlushFolder(target);
  return 0;
}

int WriteFile(const std::string& path, std::string_view content, const std::string& backupPath, Durability durability) {
  struct stat old {};
  const bool reached = stat(path.c_str(), &old) == 0;
  if (reached && S_ISDIR(old.st_mode)) return EISDIR;
  if (reached && !S_ISREG(old.st_mode)) return WriteSpecial(path, content);
  const fs::path target = FollowedLinks(path);
  std::error_code error;
  if (fs::is_symlink(target, error)) return ELOOP;
  if (reached) {
    // Renaming would get round the write protection that the file's owner set.
    if (faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0) return errno;
    SweepTemporaries(target);
    return Replace(target, content, old, backupPath, durability);
  }
  const fs::path temporary = TemporaryFor(target);
  bool alike = true;
  int failed = WriteNew(temporary, With(content), nullptr, {}, alike, durability);
  if (!failed && rename(temporary.c_str(), target.c_str()) != 0) failed = errno;
  if (failed) unlink(temporary.c_str());
  if (!failed && durability == Durability::Flushed) FlushFolder(target);
  return failed;
}

}  // namespace

int WriteFileAtomically(const std::string& path, std::string_view content, const std::string& backupPath) {
  return WriteFile(path, content, backupPath, Durability::Flushed);
}

int WriteDerivedFile(const std::string& path, std::string_view content) {
  return WriteFile(path, content, {}, Durability::Derived);
}

std::string WriteFault(const std::string& path, int error) {
  const std::string text = "Error opening file (" + path + ") for writing.";
  const bool tells = error == ENOSPC || error == EDQUOT || error == EROFS || error == ENAMETOOLONG || error == EFBIG;
  return tells ? text + "\n" + std::strerror(error) + "." : text;
}

}  // namespace marvik

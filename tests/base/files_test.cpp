#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "base/atomic_write.h"
#include "base/process_mark.h"

namespace marvik {
namespace {

namespace fs = std::filesystem;

class Files : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "marvik_files_XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }
  void TearDown() override {
    std::error_code error;
    fs::permissions(folder_, fs::perms::owner_all, error);
    fs::remove_all(folder_, error);
  }
  std::string Path(const std::string& name) const { return (folder_ / name).string(); }
  std::string Content(const std::string& name) const { return ReadWholeFile(Path(name)).content; }
  size_t Entries() const {
    return static_cast<size_t>(std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
  }

  fs::path folder_;
};

TEST_F(Files, ReadsBackEveryByte) {
  std::string bytes;
  for (int i = 0; i < 70000; ++i) bytes += static_cast<char>(i * 7);
  for (const std::string& content : {std::string(), std::string("\r\n\0\x1a", 4), bytes}) {
    ASSERT_EQ(WriteFileAtomically(Path("a.res"), content), 0);
    const FileContent read = ReadWholeFile(Path("a.res"));
    EXPECT_TRUE(read.opened && read.complete && !read.outOfMemory);
    EXPECT_EQ(read.content, content);
  }
  EXPECT_EQ(Entries(), 1u) << "no temporary is left";
  const FileContent missing = ReadWholeFile(Path("missing"));
  EXPECT_FALSE(missing.opened);
  EXPECT_EQ(missing.systemError, ENOENT);
  EXPECT_EQ(ReadWholeFile(folder_.string()).systemError, EISDIR);
}

TEST_F(Files, KeepsABackupAndThePermissions) {
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), "first", Path("a.bak")), 0);
  EXPECT_FALSE(fs::exists(Path("a.bak"))) << "there was nothing to keep";
  fs::permissions(Path("a.res"), fs::perms::owner_read | fs::perms::owner_write);
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), "second", Path("a.bak")), 0);
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), "third", Path("a.bak")), 0);
  EXPECT_EQ(Content("a.res"), "third");
  EXPECT_EQ(Content("a.bak"), "second");
  EXPECT_EQ(fs::status(Path("a.res")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(Entries(), 2u);
}

TEST_F(Files, AFailureLeavesTheOldFile) {
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), "old"), 0);
  EXPECT_NE(WriteFileAtomically(Path("a.res"), "new", Path("missing/a.bak")), 0);
  EXPECT_EQ(Content("a.res"), "old");
  EXPECT_EQ(Entries(), 1u);
  EXPECT_EQ(WriteFileAtomically(Path("missing/a.res"), "x"), ENOENT);
  EXPECT_EQ(WriteFileAtomically(folder_.string(), "x"), EISDIR);
  EXPECT_NE(WriteFileAtomically("", "x"), 0);
}

// The super-user may write anywhere, so the test gives its rights away for a moment.
class WithoutPrivileges {
 public:
  WithoutPrivileges() : user_(geteuid()) {
    if (user_ == 0) dropped_ = seteuid(65534) == 0;
  }
  ~WithoutPrivileges() {
    if (dropped_ && seteuid(user_) != 0) std::abort();
  }
  bool Effective() const { return geteuid() != 0; }

 private:
  uid_t user_;
  bool dropped_ = false;
};

TEST_F(Files, RefusesAReadOnlyFolderAndAReadOnlyFile) {
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), "old"), 0);
  ASSERT_EQ(WriteFileAtomically(Path("b.res"), "old"), 0);
  fs::permissions(Path("a.res"), fs::perms::all);
  fs::permissions(Path("b.res"), fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
  fs::permissions(folder_,
                  fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_read | fs::perms::others_exec);
  {
    const WithoutPrivileges nobody;
    if (!nobody.Effective()) GTEST_SKIP() << "running with all rights that cannot be given away";
    EXPECT_EQ(WriteFileAtomically(Path("a.res"), "new"), EACCES);
    EXPECT_EQ(WriteFileAtomically(Path("c.res"), "new"), EACCES);
  }
  fs::permissions(folder_, fs::perms::all);
  {
    const WithoutPrivileges nobody;
    EXPECT_EQ(WriteFileAtomically(Path("b.res"), "new"), EACCES) << "renaming would get round it";
  }
  EXPECT_EQ(Content("a.res"), "old");
  EXPECT_EQ(Content("b.res"), "old");
  EXPECT_EQ(Entries(), 2u);
}

TEST_F(Files, FollowsLinksAndWritesThroughNoOther) {
  fs::create_directory(folder_ / "real");
  ASSERT_EQ(WriteFileAtomically(Path("real/a.res"), "old"), 0);
  fs::create_symlink("real/a.res", Path("link.res"));
  fs::create_symlink("link.res", Path("second.res"));
  fs::create_symlink("real/fresh.res", Path("dangling.res"));
  ASSERT_EQ(WriteFileAtomically(Path("second.res"), "new"), 0);
  EXPECT_EQ(Content("real/a.res"), "new");
  EXPECT_TRUE(fs::is_symlink(Path("link.res")) && fs::is_symlink(Path("second.res")));
  ASSERT_EQ(WriteFileAtomically(Path("dangling.res"), "new"), 0);
  EXPECT_EQ(Content("real/fresh.res"), "new");
  fs::create_symlink("circle.res", Path("circle.res"));
  EXPECT_NE(WriteFileAtomically(Path("circle.res"), "x"), 0);

  // A link under the name of the temporary is somebody else's.
  ASSERT_EQ(WriteFileAtomically(Path("victim"), "precious"), 0);
  fs::create_symlink("victim", Path("b.res.new~"));
  ASSERT_EQ(WriteFileAtomically(Path("b.res"), "new"), 0);
  EXPECT_EQ(Content("victim"), "precious");
  EXPECT_EQ(Content("b.res"), "new");
  EXPECT_EQ(WriteFileAtomically("/dev/null", "x"), 0);
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(Files, KeepsOwnLinksAttributesAndSecrets) {
  umask(022);
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), "old"), 0);
  fs::permissions(Path("a.res"), fs::perms::owner_read | fs::perms::owner_write);
  const bool attributes = setxattr(Path("a.res").c_str(), "user.sample", "47", 2, 0) == 0;
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), "new", Path("a.bak")), 0);
  EXPECT_EQ(fs::status(Path("a.bak")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  char value[8] = {};
  if (attributes) {
    EXPECT_EQ(getxattr(Path("a.res").c_str(), "user.sample", value, sizeof value), 2);
  }
  // Another name of the same file sees the new content, its backup the old one.
  fs::create_hard_link(Path("a.res"), Path("other.res"));
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), "newest", Path("a.bak")), 0);
  EXPECT_EQ(Content("other.res"), "newest");
  EXPECT_EQ(Content("a.bak"), "new");
  EXPECT_EQ(fs::status(Path("a.bak")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), "s"), 0);
  EXPECT_EQ(Content("other.res"), "s") << "nothing of the longer one is left";
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), "newest", Path("a.bak")), 0);
  fs::remove(Path("other.res"));
  // A backup that is a link is replaced, not followed.
  ASSERT_EQ(WriteFileAtomically(Path("precious"), "precious"), 0);
  fs::remove(Path("a.bak"));
  fs::create_symlink("precious", Path("a.bak"));
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), "last", Path("a.bak")), 0);
  EXPECT_EQ(Content("precious"), "precious");
  EXPECT_EQ(Content("a.bak"), "newest");
  EXPECT_EQ(Entries(), 3u);
}

TEST_F(Files, SaversAtOnceNeverTearAFile) {
  constexpr size_t kSize = 200000;
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), std::string(kSize, 'z')), 0);
  std::atomic<bool> stop{false};
  std::atomic<int> torn{0};
  std::jthread reader([&] {
    while (!stop) {
      for (const char* name : {"a.res", "a.bak"}) {
        const std::string content = Content(name);
        const bool whole = content.size() == kSize && content.find_first_not_of(content[0]) == std::string::npos;
        if (!whole && (!content.empty() || name[2] == 'r')) ++torn;
      }
    }
  });
  std::atomic<int> failed{0};
  {
    std::vector<std::jthread> savers;
    for (char c = 'a'; c < 'e'; ++c) {
      savers.emplace_back([&, c] {
        for (int i = 0; i < 30; ++i)
          failed += WriteFileAtomically(Path("a.res"), std::string(kSize, c), Path("a.bak")) != 0;
      });
    }
  }
  stop = true;
  reader.join();
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(Entries(), 2u);
}

TEST_F(Files, SweepsWhatDeadProcessesLeft) {
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), "old"), 0);
  const pid_t child = fork();
  if (child == 0) {
    WriteFileAtomically(Path("mark"), ProcessMark());
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  const std::string gone = "a.res." + Content("mark") + "-1.new~";
  const std::string goneBackup = "a.res.bak." + Content("mark") + "-2.new~";
  const std::string living = "a.res." + ProcessMark() + "-999999.new~";
  const std::string elsewhere = "a.res.00000000-1-1-1.new~";
  for (const std::string& name : {gone, goneBackup, living, elsewhere})
    ASSERT_EQ(WriteFileAtomically(Path(name), "x"), 0);
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), "new"), 0);
  EXPECT_FALSE(fs::exists(Path(gone)) || fs::exists(Path(goneBackup)));
  EXPECT_TRUE(fs::exists(Path(living)) && fs::exists(Path(elsewhere)));
}

TEST_F(Files, NeverWaitsForPipesAndDevices) {
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(ReadWholeFile(Path("pipe")).content, "");
  EXPECT_EQ(WriteFileAtomically(Path("pipe"), "x"), ENXIO);
  EXPECT_FALSE(ReadWholeFile("/dev/zero").opened);
  // One with a writer is read to its end.
  const int both = open(Path("pipe").c_str(), O_RDWR);
  EXPECT_EQ(write(both, "text", 4), 4);
  std::jthread writer([both] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    close(both);
  });
  EXPECT_EQ(ReadWholeFile(Path("pipe")).content, "text");
  EXPECT_EQ(ReadWholeFile("/proc/self/stat").complete, true);
  EXPECT_EQ(ReadWholeFile("/proc/self/mem").systemError, EIO) << "nothing lies at its start";
}

TEST_F(Files, AFullDiskLeavesTheOldFile) {
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), "old"), 0);
  const auto open = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()); };
  const auto opened = open();
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  const rlimit small{1000, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const int error = WriteFileAtomically(Path("a.res"), std::string(5000, 'x'), Path("a.bak"));
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, handler);
  EXPECT_EQ(error, EFBIG);
  EXPECT_EQ(open(), opened);
  EXPECT_EQ(Content("a.res"), "old");
  EXPECT_EQ(Entries(), 1u);
  EXPECT_EQ(WriteFault("a.res", ENOSPC), "Error opening file (a.res) for writing.\nNo space left on device.");
  EXPECT_EQ(WriteFault("a.res", EACCES), "Error opening file (a.res) for writing.");
}

TEST_F(Files, AFullDiskIsReported) {
  if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
  EXPECT_EQ(WriteFileAtomically("/dev/full", std::string(100000, 'x')), ENOSPC);
}

TEST_F(Files, StampsNoticeAChange) {
  EXPECT_FALSE(StampOf(Path("a.res")));
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), "one"), 0);
  const auto before = StampOf(Path("a.res"));
  ASSERT_TRUE(before);
  EXPECT_EQ(before, StampOf(Path("a.res")));
  ASSERT_EQ(WriteFileAtomically(Path("a.res"), "four"), 0);
  EXPECT_NE(before, StampOf(Path("a.res")));
}

TEST(Paths, AreCutAtBothSeparators) {
  const struct {
    const char *path, *directory, *name, *base, *extension;
  } cases[] = {{"/x/y.d/a.RES", "/x/y.d/", "a.RES", "/x/y.d/a", "res"},
               {"C:\\d\\a.b.Ins", "C:\\d\\", "a.b.Ins", "C:\\d\\a.b", "ins"},
               {"a", "", "a", "a", ""},
               {"/x.y/a", "/x.y/", "a", "/x.y/a", ""},
               {"a.", "", "a.", "a", ""},
               {"", "", "", "", ""},
               {"x/", "x/", "", "x/", ""}};
  for (const auto& c : cases) {
    EXPECT_EQ(DirectoryOf(c.path), c.directory);
    EXPECT_EQ(FileNameOf(c.path), c.name);
    EXPECT_EQ(BaseNameOf(c.path), c.base);
    EXPECT_EQ(LowerExtensionOf(c.path), c.extension);
  }
}

TEST_F(Files, FoldersAndDevicesAreNotRead) {
  EXPECT_EQ(ReadWholeFile(folder_.string()).systemError, EISDIR);
  EXPECT_EQ(ReadWholeFile("/dev/zero").systemError, EINVAL);
}

TEST(ProcessMark, TellsWhoLives) {
  const std::string own = ProcessMark();
  EXPECT_TRUE(ProcessLives(own));
  EXPECT_FALSE(ProcessLives(own + "1")) << "another process that had the number";
  const std::string machine = own.substr(0, own.find('-'));
  EXPECT_EQ(machine.size(), 8u);
  const pid_t child = fork();
  if (child == 0) _exit(0);
  waitpid(child, nullptr, 0);
  EXPECT_FALSE(ProcessLives(machine + "-" + std::to_string(child) + "-1"));
  // What is no mark, or of another machine, cannot be told.
  for (const std::string& other : {std::string(), std::string("x"), machine, machine + "-12", machine + "-0-5",
                                   machine + "-x-5", std::string("00000000-1-5")})
    EXPECT_TRUE(ProcessLives(other)) << other;
}

}  // namespace
}  // namespace marvik

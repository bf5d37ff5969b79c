#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/files.h"

namespace marvik {

// Who else may refine in the folder of a job meanwhile: nobody, or other jobs whose runs share it, too.
enum class JobFolder { Alone, Shared };

// Protects the files of a job, named by its base name, while a refinement runs: only one run of a job at a time, and
// the old result file can be put back whatever the run made of it.
class JobGuard {
 public:
  explicit JobGuard(std::string base, JobFolder folder = JobFolder::Alone);
  ~JobGuard();
  JobGuard(const JobGuard&) = delete;
  JobGuard& operator=(const JobGuard&) = delete;

  // False when another run has the folder or the job. Folders that cannot be locked are taken to be free.
  bool Lock();
  // The result from before a run that was killed, which never came to put it back or away. Nothing where there is none,
  // where it is what NAME.res holds (it goes then), or while a run has the folder.
  std::optional<std::string> LeftResult();
  // That result becomes NAME.res; what NAME.res was stays as NAME.res.bak. 0, or the system's error number.
  int TakeLeftResult();
  // Copies NAME.res, with its time, to NAME.res.old~ until the guard goes. 0, or the system's error number.
  int KeepResult();
  // NAME.res is there and is not the one that was kept.
  bool ResultIsNew() const;
  // NAME.lst was written since KeepResult.
  bool ListingIsNew() const;
  bool HasListing() const;
  // NAME.res as it was before, or none where there was none. False when the system refuses; the copy stays then.
  bool PutBack();
  // Leaves the copy of the old result for good, under this path in the same folder; needs no room on the disk. False
  // without a copy, or when the system refuses. Nothing can be put back afterwards.
  bool LeaveCopy(const std::string& path);
  // What NAME.res held before, "" without one.
  std::string OldResult() const;

 private:
  std::string base_;
  std::string copy_;
  std::string target_;  // the file that NAME.res is or links to
  std::optional<FileStamp> result_;
  std::optional<FileStamp> listing_;
  JobFolder folder_;
  int lock_ = -1;     // of the folder
  int jobLock_ = -1;  // of NAME.hkl, where the folder is shared
  bool kept_ = false;
};

// One accepted refinement, as its file's name tells.
struct RefinementStep {
  int number = 0;
  long long time = 0;        // seconds since 1970, UTC
  std::optional<double> r1;  // where it was known
  int atoms = 0;
  std::string path;
};

// The accepted steps of a job: result files in the folder NAME_steps beside it, the oldest removed first once there are
// more than fifty of them or they take more than 64 MB.
class StepHistory {
 public:
  static constexpr size_t kMostSteps = 50;
  static constexpr unsigned long long kMostBytes = 64ull << 20;

  explicit StepHistory(const std::string& base) : folder_(base + "_steps/") {}

  // Oldest first. Other files in the folder are not looked at.
  std::vector<RefinementStep> Steps() const;
  // Enters a result under the next number. 0, or the system's error number.
  int Add(std::string_view text, std::optional<double> r1, int atoms, long long time) const;
  const std::string& Folder() const { return folder_; }

 private:
  void Trim() const;
  std::string folder_;
};

}  // namespace marvik

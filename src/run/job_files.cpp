#include "run/job_files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <unistd.h>

#include "base/numbers.h"

namespace marvik {
namespace {

namespace fs = std::filesystem;

int CopyWithTime(const std::string& from, const std::string& to) {
  std::error_code error;
  fs::copy_file(from, to, fs::copy_options::overwrite_existing, error);
  if (error) return error.value();
  const auto time = fs::last_write_time(from, error);
  if (!error) fs::last_write_time(to, time, error);
  return 0;
}

// "step-0007_20261121-092219_R1-0.0345_46-atoms.res"
std::string NameOf(const RefinementStep& step) {
  const std::time_t time = static_cast<std::time_t>(step.time);
  std::tm parts{};
  gmtime_r(&time, &parts);
  return Printf("step-%04d_%04d%02d%02d-%02d%02d%02d_R1-%s_%d-atoms.res", step.number, parts.tm_year + 1900,
                parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                step.r1 ? Printf("%.4f", *step.r1).c_str() : "unknown", step.atoms);
}

// Seconds since 1970 of a date of the Gregorian calendar (Hinnant, "chrono-compatible low-level date algorithms").
long long SecondsOf(int year, int month, int day, int hour, int minute, int second) {
  const long long y = month <= 2 ? year - 1 : year;
  const long long era = y / 400;
  const long long ofEra = y - era * 400;
  const long long ofYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const long long days = era * 146097 + ofEra * 365 + ofEra / 4 - ofEra / 100 + ofYear - 719468;
  return ((days * 24 + hour) * 60 + minute) * 60 + second;
}

std::optional<RefinementStep> StepOf(const fs::path& path) {
  RefinementStep step;
  int date[6] = {};
  char r1[16] = {};
  int end = 0;
  const std::string name = path.filename().string();
  const int fields = std::sscanf(name.c_str(), "step-%5d_%4d%2d%2d-%2d%2d%2d_R1-%15[^_]_%8d-atoms.res%n", &step.number,
                                 &date[0], &date[1], &date[2], &date[3], &date[4], &date[5], r1, &step.atoms, &end);
  if (fields != 9 || static_cast<size_t>(end) != name.size()) return std::nullopt;
  step.time = SecondsOf(date[0], date[1], date[2], date[3], date[4], date[5]);
  double value = 0.0;
  if (ParseWholeNumber(r1, value)) step.r1 = value;
  step.path = path.string();
  return step;
}

}  // namespace

JobGuard::JobGuard(std::string base, JobFolder folder)
    : base_(std::move(base)), copy_(base_ + ".res.old~"), target_(base_ + ".res"), folder_(folder) {}

JobGuard::~JobGuard() {
  std::error_code ignored;
  if (kept_) fs::remove(copy_, ignored);
  for (const int lock : {lock_, jobLock_})
    if (lock >= 0) close(lock);
}

bool JobGuard::Lock() {
  const auto takes = [](int lock, int how) {
    return lock < 0 || flock(lock, how | LOCK_NB) == 0 || errno != EWOULDBLOCK;
  };
  const std::string folder = DirectoryOf(base_);
  lock_ = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder_ == JobFolder::Alone) return takes(lock_, LOCK_EX);
  jobLock_ = open((base_ + ".hkl").c_str(), O_RDONLY | O_CLOEXEC);
  return takes(lock_, LOCK_SH) && takes(jobLock_, LOCK_EX);
}

std::optional<std::string> JobGuard::LeftResult() {
  if (!StampOf(copy_) || !Lock()) return std::nullopt;
  const FileContent left = ReadWholeFile(copy_);
  if (!left.complete) return std::nullopt;
  if (left.content != ReadWholeFile(target_).content) return left.content;
  std::error_code ignored;
  fs::remove(copy_, ignored);
  return std::nullopt;
}

int JobGuard::TakeLeftResult() {
  const auto left = LeftResult();
  if (!left) return ENOENT;
  const int error = WriteFileAtomically(target_, *left, target_ + ".bak");
  std::error_code ignored;
  if (!error) fs::remove(copy_, ignored);
  return error;
}

int JobGuard::KeepResult() {
  listing_ = StampOf(base_ + ".lst");
  result_ = StampOf(target_);
  std::error_code error;
  // What a killed run has left is nobody's to overwrite.
  for (int i = 1; fs::exists(copy_, error); ++i) {
    const std::string aside = base_ + ".res.old" + std::to_string(i);
    if (!fs::exists(aside, error)) fs::rename(copy_, aside, error);
    if (error) return error.value();
  }
  if (!result_) return 0;
  if (const auto real = fs::canonical(target_, error); !error) target_ = real.string();
  const int failed = CopyWithTime(target_, copy_);
  kept_ = failed == 0;
  if (failed) fs::remove(copy_, error);
  return failed;
}

std::string JobGuard::OldResult() const {
  return kept_ ? ReadWholeFile(copy_).content : "";
}

bool JobGuard::ResultIsNew() const {
  const auto now = StampOf(base_ + ".res");
  if (!now) return false;
  return now != result_ || ReadWholeFile(base_ + ".res").content != OldResult();
}

bool JobGuard::ListingIsNew() const {
  return HasListing() && StampOf(base_ + ".lst") != listing_;
}

bool JobGuard::HasListing() const {
  return StampOf(base_ + ".lst").has_value();
}

bool JobGuard::PutBack() {
  std::error_code error;
  if (!kept_) {
    fs::remove(base_ + ".res", error);
    return !error;
  }
  if (StampOf(target_) == result_ && !ResultIsNew()) return true;
  fs::rename(copy_, target_, error);
  if (error && CopyWithTime(copy_, target_) != 0) {
    kept_ = false;  // it is all that is left of the old result
    return false;
  }
  return true;
}

bool JobGuard::LeaveCopy(const std::string& path) {
  std::error_code error;
  if (kept_) fs::rename(copy_, path, error);
  const bool left = kept_ && !error;
  if (left) kept_ = false;
  return left;
}

std::vector<RefinementStep> StepHistory::Steps() const {
  std::vector<RefinementStep> steps;
  std::error_code error;
  for (fs::directory_iterator entry(folder_, error), end; !error && entry != end; entry.increment(error)) {
    if (auto step = StepOf(entry->path())) steps.push_back(std::move(*step));
  }
  std::ranges::sort(steps, {}, &RefinementStep::number);
  return steps;
}

int StepHistory::Add(std::string_view text, std::optional<double> r1, int atoms, long long time) const {
  std::error_code error;
  fs::create_directories(folder_, error);
  if (error) return error.value();
  const auto steps = Steps();
  const RefinementStep step{steps.empty() ? 0 : steps.back().number + 1, time, r1, atoms, ""};
  const int failed = WriteFileAtomically(folder_ + NameOf(step), text);
  if (!failed) Trim();
  return failed;
}

void StepHistory::Trim() const {
  const auto steps = Steps();
  std::error_code error;
  unsigned long long bytes = 0;
  size_t kept = 0;
  for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
    const auto size = fs::file_size(step->path, error);
    bytes += error ? 0 : size;
    if (kept < 1 || (kept < kMostSteps && bytes <= kMostBytes)) {
      ++kept;
    } else {
      fs::remove(step->path, error);
    }
  }
}

}  // namespace marvik

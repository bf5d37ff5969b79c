#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <unistd.h>

#include "app/demo/demo_script.h"

#include "fuzz/require.h"

using namespace marvik;

namespace {

// Counts what it is asked for and stops the script after so much.
class CountingTarget : public DemoTarget {
 public:
  explicit CountingTarget(std::atomic<uint8_t>& running) : running_(running) {}
  void SendCommand(int, const std::string&) override { Count(); }
  void PressKey(int key) override {
    held_.insert(key);  // again and again while it is held
    Count();
  }
  void ReleaseKey(int key) override { held_.erase(key); }
  void Sleep(long long) override { Count(); }
  void Show(const UserMessage&) override { Count(); }
  void AtLine(const std::string&, int) override { Count(); }
  size_t Held() const { return held_.size(); }
  long Calls() const { return calls_; }

 private:
  static constexpr long kMost = 2000;
  void Count() {
    if (++calls_ >= kMost) running_ = 0;
  }

  std::atomic<uint8_t>& running_;
  long calls_ = 0;
  std::set<int> held_;
};

// A folder of its own, since scripts change folders and play files; gone at the end.
struct Folder {
  Folder() {
    char name[] = "/tmp/marvik-fuzz-demo-XXXXXX";
    if (!mkdtemp(name)) std::abort();
    path = name;
  }
  ~Folder() { std::filesystem::remove_all(path); }
  std::filesystem::path path;
};

}  // namespace

// Any text is a script: it ends, stops soon after it is told to, and leaves no key pressed.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  static const Folder folder;
  static const std::filesystem::path start = std::filesystem::current_path();  // the fuzzer's inputs are named from it
  const std::string path = (folder.path / "script.dem").string();
  std::filesystem::current_path(folder.path);
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
  std::atomic<uint8_t> running = 1;
  CountingTarget target(running);
  DemoThreadMain(running, target, path, DemoRepeat::Once);
  std::filesystem::current_path(start);
  Require(target.Calls() < 10000, "went on after it was told to stop", text);
  Require(target.Held() == 0, "left a key pressed", text);
  return 0;
}

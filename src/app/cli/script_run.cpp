#include "app/cli/script_run.h"

#include <algorithm>

#include "app/commands/command_table.h"
#include "app/demo/demo_script.h"

namespace marvik {
namespace {

struct ViewKeyRow {
  int virtualKey;
  ViewKey key;
};
constexpr ViewKeyRow kViewKeys[] = {
    {33, ViewKey::PageUp}, {34, ViewKey::PageDown}, {35, ViewKey::End},  {36, ViewKey::Home},   {37, ViewKey::Left},
    {38, ViewKey::Up},     {39, ViewKey::Right},    {40, ViewKey::Down}, {45, ViewKey::Insert}, {46, ViewKey::Delete},
};

class ScriptTarget : public DemoTarget {
 public:
  ScriptTarget(Workbench& bench, const std::function<void(const std::string&)>& setPlace)
      : bench_(bench), setPlace_(setPlace) {}

  void SendCommand(int id, const std::string& argument) override {
    if (id == kReadFileCommand) bench_.SetModified(false);
    RunCommand(bench_, id, argument);
  }
  void PressKey(int virtualKey) override {
    const auto row = std::ranges::find(kViewKeys, virtualKey, &ViewKeyRow::virtualKey);
    if (row != std::end(kViewKeys)) PressViewKey(bench_.view, row->key, false);
  }
  void ReleaseKey(int) override {}
  void Sleep(long long) override {}
  void Show(const UserMessage& message) override { bench_.messages.Show(message); }
  void AtLine(const std::string& path, int line) override {
    setPlace_(line > 0 ? path + ":" + std::to_string(line) + ": " : std::string());
  }
  void Fault(const std::string& sentence) override {
    bench_.messages.Show({MessageIcon::Warning, "Error in Demo Script", sentence});
  }

 private:
  Workbench& bench_;
  const std::function<void(const std::string&)>& setPlace_;
};

}  // namespace

void PlayScript(Workbench& bench, const std::string& path, const std::function<void(const std::string&)>& setPlace) {
  ScriptTarget target(bench, setPlace);
  // With nobody to look at them pictures are drawn all the same, so that a script is tried as a whole.
  if (!bench.hooks.showPicture) bench.hooks.showPicture = [](const Image&, const std::array<double, 3>&) {};
  bench.DemoRunning = 1;
  DemoThreadMain(bench.DemoRunning, target, path, DemoRepeat::Once);
  setPlace("");
}

}  // namespace marvik

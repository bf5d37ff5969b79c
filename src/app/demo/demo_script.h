#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/user_messages.h"

namespace marvik {

// Demo scripts: text files, one command a line, that drive the program as a user would. A line that begins with "#" is
// a comment. A command is recognised wherever its upper-case word stands in the line, so that one line may hold
// several; they run in the order of the table in demo_script.cpp. A line that begins with the name or the number of a
// command of the command table is read as the command line's steps: "select=C*; kill".

// What one recognised word asks for.
struct DemoStep {
  enum class Kind : uint8_t { Exit, Command, Wait, Chain, Directory, Rotate };
  Kind kind = Kind::Command;
  int id = 0;                    // of the command table
  std::string word;              // its argument, or the name of a file or folder
  int number = 0;                // seconds to wait, or rounds of keys
  std::array<int, 2> keys = {};  // virtual-key codes; the second 0 where only one is pressed

  friend bool operator==(const DemoStep&, const DemoStep&) = default;
};

struct DemoLine {
  std::string comment;  // behind the "#" of a comment line
  std::vector<DemoStep> steps;
  std::vector<std::string> faults;  // what nothing was made of, as sentences
};

inline constexpr size_t kLongestDemoLine = 260;

// Reads a line without its end; what lies beyond the longest is not looked at. A word whose argument is missing or no
// number gives a fault and no step.
DemoLine ParseDemoLine(std::string_view line);

// The keys of a ROT line: "X", "Y", "Z" turn about the axes of the screen by arrow keys, Insert and Delete, with X and
// Y faster when the direction's magnitude is above 1; "A" and "B" hold two arrow keys together. Any other letter is X.
// There are no faster keys about Z: it then turns as it does for 1 and -1.
std::array<int, 2> RotationKeys(char axis, int direction);

// The script that "D&emo" plays: egs/marvik.dem in the package directory.
std::string DemoScriptPath();

// Who is driven. Everything is called on the thread that plays the script and returns when it has been done.
class DemoTarget {
 public:
  virtual ~DemoTarget() = default;
  virtual void SendCommand(int id, const std::string& argument) = 0;
  virtual void PressKey(int virtualKey) = 0;
  virtual void ReleaseKey(int virtualKey) = 0;
  // May return early once the demo is to stop.
  virtual void Sleep(long long milliseconds) = 0;
  virtual void Show(const UserMessage& message) = 0;
  // What a comment line says behind its "#".
  virtual void Comment(const std::string& /*text*/) {}
  // The line about to be played, counted from 1; 0 behind the last.
  virtual void AtLine(const std::string& /*path*/, int /*line*/) {}
  // Something in that line that nothing was made of.
  virtual void Fault(const std::string& /*sentence*/) {}
};

enum class DemoRepeat : uint8_t { Forever, Once };

// Plays a script from its start for as long as DemoRunning is set, and always gives 0. Forever: at its end it begins
// again, or goes on with the file that DEMO named. Once: it ends there, and with a notice where DEMO leads back to a
// script that was played already. DemoRunning is clear at the end unless somebody else set it.
//
// File and folder names in a script are taken as they stand; what is not there is looked for beside the script and then
// in the package directory. Either separator will do.
int DemoThreadMain(std::atomic<uint8_t>& DemoRunning, DemoTarget& target, const std::string& scriptPath,
                   DemoRepeat repeat);

}  // namespace marvik

#pragma once

#include <string>
#include <vector>

namespace marvik {

enum class MessageIcon { None, Information, Warning, Error, Question };

// One modal message: the caption names the error class, the text is shown as it stands.
struct UserMessage {
  MessageIcon icon = MessageIcon::Warning;
  std::string caption;
  std::string text;
};

// What a question answers when nobody is there to be asked.
enum class Unattended { No, Yes };

// How core code speaks to whoever runs it: modal boxes in the window, lines on standard error on the command line, a
// recording with scripted answers in tests.
class UserMessages {
 public:
  virtual ~UserMessages() = default;
  virtual void Show(const UserMessage& message) = 0;
  virtual bool AskYesNo(const UserMessage& question, Unattended answer = Unattended::No) = 0;
  // done of total steps; answers whether to go on.
  virtual bool ReportProgress(int done, int total);
  // After an error with no recovery (memory is gone): end the program once the present command has returned.
  virtual void RequestQuit() = 0;
};

inline bool UserMessages::ReportProgress(int, int) {
  return true;
}

// A platform failure: the caption is the program's text, the body the system's description of its last error.
UserMessage SystemErrorMessage(const std::string& caption, int systemError);

// Keeps everything that was said; questions take the scripted answers in turn, then the unattended one.
class RecordingMessages : public UserMessages {
 public:
  void Show(const UserMessage& message) override { shown.push_back(message); }
  bool AskYesNo(const UserMessage& question, Unattended answer) override;
  void RequestQuit() override { quitRequested = true; }

  std::vector<UserMessage> shown;
  std::vector<UserMessage> asked;
  std::vector<bool> answers;
  bool quitRequested = false;
};

}  // namespace marvik

#pragma once

#include <functional>

#include "base/user_messages.h"

class QProgressDialog;
class QWidget;

namespace marvik {

// What the core has to say, as modal boxes over the window. A command may be half done while a box is open, so nothing
// may look at the document then: `beforeBox` and `afterBox` stop the window from drawing it.
class WindowMessages : public UserMessages {
 public:
  ~WindowMessages() override;

  void Show(const UserMessage& message) override;
  bool AskYesNo(const UserMessage& question, Unattended answer) override;
  bool ReportProgress(int done, int total) override;
  void RequestQuit() override;

  QWidget* parent = nullptr;
  std::function<void()> beforeBox;
  std::function<void()> afterBox;
  std::function<void()> quit;

 private:
  int Run(const UserMessage& message, int buttons, int defaultButton);
  QProgressDialog* progress_ = nullptr;
};

}  // namespace marvik

#include "base/user_messages.h"

#include <system_error>

namespace marvik {

UserMessage SystemErrorMessage(const std::string& caption, int systemError) {
  return {MessageIcon::Information, caption, std::system_category().message(systemError)};
}

bool RecordingMessages::AskYesNo(const UserMessage& question, Unattended answer) {
  asked.push_back(question);
  if (answers.empty()) return answer == Unattended::Yes;
  const bool next = answers.front();
  answers.erase(answers.begin());
  return next;
}

}  // namespace marvik

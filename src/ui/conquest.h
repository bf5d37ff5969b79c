#pragma once

#include <QStringList>
#include <optional>
#include <string>

#include "base/user_messages.h"

namespace marvik {

// The program and the arguments that open a query file with ConQuest; nothing when it is not installed. It
// is an executable "conquest" or "cq" on the search path, else the desktop's entry for a program named ConQuest.
std::optional<QStringList> ConQuestCommand(const std::string& queryFile);

// Starts ConQuest on a query file that has been written, and does not wait for it. Says so when it is not installed or
// does not start.
void StartConQuest(const std::string& queryFile, UserMessages& messages);

}  // namespace marvik

#pragma once

#include <optional>
#include <string>

#include "base/user_messages.h"
#include "model/document.h"

namespace marvik {

// A connectivity query for ConQuest: the visible atoms with element and number of neighbours, their bonds with order.
// docs/CONQUEST_QUERY.md describes the form. Nothing, after a message, when a peak is among them.
std::optional<std::string> ComposeConQuestQuery(const Document& document, UserMessages& messages);

}  // namespace marvik

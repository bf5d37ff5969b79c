#pragma once

#include <optional>
#include <string>

#include "model/document.h"

class QWidget;

namespace marvik {

// "Sort Atoms": the elements of the file in an order that the user arranges; `initial` names those of an earlier one.
// Symbols as the command takes them, nothing when cancelled.
std::optional<std::string> AskSortOrder(QWidget* parent, const Document& document, const std::string& initial);

}  // namespace marvik

#pragma once

#include <optional>
#include <string>

#include "app/workbench.h"

class QWidget;

namespace marvik {

// "Publication Items": what the CIF leaves open, with meaning, unit, allowed values and what files beside propose.
// Gives the changes as the argument of the command; nothing when it was cancelled or there is no structure.
std::optional<std::string> AskPublication(QWidget* parent, const Workbench& bench);

// The answer to a finding, in the form that journals ask for, as the same argument.
struct ReplyForm;
std::optional<std::string> AskReply(QWidget* parent, const ReplyForm& form);

}  // namespace marvik

#pragma once

#include <optional>
#include <string>

#include "app/workbench.h"

class QWidget;

namespace marvik {

// "Atom Preferences": the looks of one element after another, and the probability level. The view shows what is entered
// while the dialog is open. The text that the command takes, nothing when cancelled; the document is as before then.
std::optional<std::string> AskAtomPreferences(QWidget* parent, Workbench& bench);

}  // namespace marvik

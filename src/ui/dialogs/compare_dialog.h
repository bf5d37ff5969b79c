#pragma once

#include <QString>
#include <optional>
#include <string>

#include "app/workbench.h"

class QWidget;

namespace marvik {

// "Compare": what is older and what is newer, each the structure as it is, its file, a step of the job's history or
// another file. Gives the argument of the command.
std::optional<std::string> AskComparison(QWidget* parentWidget, const Workbench& bench);
// Which model a picture swings from, and into which file of the folder.
std::optional<std::string> AskSwing(QWidget* parentWidget, const Workbench& bench, const QString& folder);

}  // namespace marvik

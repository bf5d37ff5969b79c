#pragma once

#include <optional>
#include <string>

#include "model/document.h"

class QWidget;

namespace marvik {

// "Undelete Atom(s)": the killed atoms, latest first, to choose from. Those chosen by serial number as the command
// takes them, nothing when cancelled or none was.
std::optional<std::string> AskRestoreKilled(QWidget* parent, const Document& document);

}  // namespace marvik

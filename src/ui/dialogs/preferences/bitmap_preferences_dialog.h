#pragma once

#include <optional>
#include <string>

#include "app/workbench.h"

class QWidget;

namespace marvik {

// "Bitmap Preferences": size, labels, file and anti-aliasing of a JPEG file. The text that the command takes, nothing
// when cancelled.
std::optional<std::string> AskBitmapPreferences(QWidget* parent, Workbench& bench);

}  // namespace marvik

#pragma once

#include <optional>
#include <string>

#include "app/workbench.h"

class QWidget;

namespace marvik {

class DrawingArea;

// "OpenGL Preferences". While it is open the area shows the OpenGL picture as it is entered, where the rendition is one
// of those. The text that the command takes, nothing when cancelled; settings and picture are as before then, but for
// "Load Defaults", which counts at once.
std::optional<std::string> AskOpenGlPreferences(QWidget* parent, Workbench& bench, DrawingArea& area);

}  // namespace marvik

#pragma once

#include <optional>
#include <string>

#include "app/workbench.h"
#include "files/export/scene.h"

namespace marvik {

// Files for other programs, by extension in lower case.
bool IsExportFormat(const std::string& format);

// The bytes of an export of what the window shows. `fileName` is the name that a format writes into itself. Nothing
// after a message: a peak is visible, or VRML is asked for in a rendition that it does not show.
std::optional<std::string> ComposeExport(Workbench& bench, const std::string& format, const std::string& fileName);

// The same into a file, whole or not at all; a ConQuest query is handed to ConQuest where the window knows how.
bool WriteExportFile(Workbench& bench, const std::string& path, const std::string& format);

// The window's view in the frame of exported scenes.
SceneView ViewOfScene(const ViewState& view);

}  // namespace marvik

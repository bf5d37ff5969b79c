#pragma once

#include <optional>
#include <string>

#include "app/workbench.h"

namespace marvik {

// Draws what the screen shows of the workbench, with its view fitted into a square of `size` pixels, and gives the
// bytes of a picture file of that format (an extension, lower case). Nothing after a message.
std::optional<std::string> DrawPicture(Workbench& bench, int size, const std::string& format);

// The same into a file, by its extension unless a format is given. False after a message.
bool WritePicture(Workbench& bench, int size, const std::string& path, const std::string& format);

}  // namespace marvik

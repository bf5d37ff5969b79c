#pragma once

#include <optional>
#include <string>

class QWidget;

namespace marvik {

// "New from Reflections" for a reflection file: cell, wavelength, formula and Z, filled with what lies beside it. The
// argument of the command, nothing when it was cancelled.
std::optional<std::string> AskNewJob(QWidget* parent, const std::string& reflections);

}  // namespace marvik

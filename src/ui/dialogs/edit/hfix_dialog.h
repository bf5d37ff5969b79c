#pragma once

#include <optional>
#include <string>

class QWidget;

namespace marvik {

// "Set HFIX for selected atom(s)": the argument of the command that stands for the chosen button, nothing when
// cancelled. The rules about what is selected are the command's.
std::optional<std::string> AskHfixOption(QWidget* parent);

}  // namespace marvik

#pragma once

#include <optional>
#include <string>

class QWidget;

namespace marvik {

// "Custom Bond Width" in Å. The number as the command takes it, nothing when cancelled.
std::optional<std::string> AskBondWidth(QWidget* parent, double present);

}  // namespace marvik

#pragma once

#include <optional>
#include <string>

#include "app/commands/command_table.h"

class QWidget;

namespace marvik {

// "Z Level Depth Cue": a scroll bar from 0 to 100. The level, nothing when cancelled.
std::optional<int> AskDepthCueLevel(QWidget* parent, int level);

// "Pack Parameters": the limits of the box in cells, whole molecules or single atoms. The text that the pack command
// takes, nothing when cancelled; `text` is what stands there at first, where it reads as that.
std::optional<std::string> AskPackParameters(QWidget* parent, const std::string& text);

// A line of text for a command that has no dialog of its own, with a sentence about what it takes.
std::optional<std::string> AskCommandText(QWidget* parent, const CommandRow& row, const std::string& initial);

}  // namespace marvik

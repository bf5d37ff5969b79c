#pragma once

#include <optional>
#include <string>

#include "model/document.h"

class QWidget;

namespace marvik {

// "Select Atoms": which atoms, in words, and what to do with them. The text that the command takes, nothing when
// cancelled. `initial` is one from before.
std::optional<std::string> AskSelectAtoms(QWidget* parent, const Document& document, const std::string& initial);

}  // namespace marvik

#pragma once

#include <optional>
#include <string>

#include "model/document.h"

class QWidget;

namespace marvik {

// "Atom Name": one line with the name. The new name, nothing when cancelled or unchanged.
std::optional<std::string> AskAtomName(QWidget* parent, const Document& document, const AtomRecord& atom);

}  // namespace marvik

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "model/document.h"

class QWidget;

namespace marvik {

// "Atom": every field that the file has for an atom; for several atoms the fields that can be set for all, blank where
// they differ. Gives the fields that were changed as the edit command takes them, nothing when cancelled.
std::optional<std::string> AskAtom(QWidget* parent, const Document& document, const std::vector<AtomRecord*>& atoms);

}  // namespace marvik

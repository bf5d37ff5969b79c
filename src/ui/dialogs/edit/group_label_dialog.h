#pragma once

#include <optional>
#include <string>
#include <vector>

#include "model/document.h"

class QWidget;

namespace marvik {

// "Atom Group Labeling" for atoms in the order of selection, with the names that they would get. The fields as the
// command takes them, nothing when cancelled. `initial` is such a text from before.
std::optional<std::string> AskGroupLabel(QWidget* parent, const Document& document,
                                         const std::vector<AtomRecord*>& atoms, const std::string& initial);

}  // namespace marvik

#pragma once

#include <optional>
#include <span>
#include <string>

namespace marvik {

class Workbench;

// A document of the Help menu: the command that opens it and the name of its file, without an extension. The page to
// read is NAME.pdf; NAME.md beside it is the same text for the window's own reader.
struct HelpDocument {
  int command;
  const char* name;
  const char* title;
};

// In the order of the menu.
std::span<const HelpDocument> HelpDocuments();
const HelpDocument* FindHelpDocument(int command);

// The path of a file of the folder "Help" in the package directory, else in the installation's own; nothing when it is
// in neither.
std::optional<std::string> FindHelpFile(const Workbench& bench, const std::string& name);

}  // namespace marvik

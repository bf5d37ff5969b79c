#pragma once

#include <array>
#include <string>

#include "base/user_messages.h"

namespace marvik {

// What the small text files of the package directory say. The directory is the value of the variable "QTRN$SYSTEM:";
// without it every default stands, silently.
struct PackageSettings {
  std::string SystemDirectory;            // from the SYSD line of "qtrn.ini"
  std::string EditorCommand = "notepad";  // from "marvik.ini"
  // Full paths, latest first. The first four are in "marvikrf.ini"; the window keeps the others.
  std::array<std::string, 10> RecentFiles;
  std::string Engine;         // the refinement program, "" for what the script names
  std::string EngineOptions;  // for it, parted by blanks
};

// Reads "qtrn.ini" and "marvik.ini". The only thing reported is a "qtrn.ini" that cannot be read whole.
void LoadEditorConfiguration(PackageSettings& settings, UserMessages& messages);
// Reads the four slots of "marvikrf.ini"; a missing file leaves them as they are.
void LoadRecentFiles(PackageSettings& settings);
// Moves or enters a full path at the top of the list and writes "marvikrf.ini". False when it stood there already and
// nothing was done; a menu is to be rebuilt otherwise.
bool NoteRecentFile(PackageSettings& settings, const std::string& path);
// Writes "marvikrf.ini"; errors are ignored.
void SaveRecentFiles(const PackageSettings& settings);

}  // namespace marvik

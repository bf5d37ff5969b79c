#pragma once

#include <QWidget>
#include <optional>
#include <string>

#include "app/picture/picture_output.h"

namespace marvik {

// File, size, resolution and background of a picture; gives the argument of the command, which `remembered` keeps for
// the next time. Asks before a file that is there is replaced.
std::optional<std::string> AskPicture(QWidget* parent, const Workbench& bench, const QString& directory,
                                      QString& remembered);
// What is remembered from an earlier session becomes what the next picture is made with.
void RestorePictureOptions(Workbench& bench, const QString& remembered);

// The name of a picture style to write, or of one to read.
std::optional<std::string> AskStyleFile(QWidget* parent, const QString& directory, bool save);
// The name of a picture recipe to write, or of one to read.
std::optional<std::string> AskRecipeFile(QWidget* parent, const QString& directory, const QString& suggested,
                                         bool save);

}  // namespace marvik

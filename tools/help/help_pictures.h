#pragma once

#include <QString>
#include <QStringList>

namespace marvik {

// The names of all pictures of the help documents.
QStringList HelpPictureNames();

// Draws them into `folder` from the structures in `examples`. What could not be made is told in the answer, a line
// each. Needs a QApplication; no display.
QStringList MakeHelpPictures(const QString& examples, const QString& folder);

}  // namespace marvik

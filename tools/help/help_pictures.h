#pragma once

#include <QString>
#include <QStringList>

namespace marvik {

// Commands of the gallery: lines "marvik --picture gallery-NAME.png ... EXAMPLE.res" of the documents in `sources`,
// which may go on behind a backslash.
QStringList GalleryCommands(const QString& sources);

// The names of all pictures of the help documents, those of the gallery included.
QStringList HelpPictureNames(const QStringList& gallery);

// Draws them into `folder` from the structures in `examples`. What could not be made is told in the answer, a line
// each. Needs a QApplication; no display. The gallery is what its commands make.
QStringList MakeHelpPictures(const QStringList& gallery, const QString& examples, const QString& folder);

}  // namespace marvik

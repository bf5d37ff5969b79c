#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

namespace marvik {

// The help documents as Markdown, with everything filled in that the program itself knows.
struct HelpSource {
  QMap<QString, QString> documents;  // by name, without extension
  QStringList faults;                // what is missing or leads nowhere, a line each
};

// Reads NAME.md of every help document and commands.md from `folder`. In their texts
//   {{103}}        becomes a link to the description of that command, with its place in the menus
//   {{reference}}  the descriptions of commands.md, in the order of the menus
//   {{keys}}       a table of the shortcuts
//   {{instructions}}  a table of the instructions of a file
//   {{contents}}   links to the chapters and sections of the document
//   {{all}}        the same of every other document
//   {{version}}    the number of this program
// Faults are a command without a description, a description without a command, and a link or picture that leads
// nowhere; `pictures` are the names of those that will be made.
HelpSource ReadHelpSource(const QString& folder, const QStringList& pictures);

}  // namespace marvik

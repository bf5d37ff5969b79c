#pragma once

#include <QHash>
#include <QString>
#include <QTextBlock>

class QTextDocument;

namespace marvik {

// The name by which a link reaches a heading: "open-100" for "Open... (100)".
QString HelpSlug(const QString& heading);

// The commands that a heading of the reference describes: 116 and 129 for "Uniq (116, 129)"; nothing for others.
QList<int> HelpCommandsOf(const QString& heading);

// The heading that a link names by its slug, or as "command-116" by a command it describes; invalid when there is none.
QTextBlock FindHelpHeading(const QTextDocument& document, const QString& slug);

// The first sentence about each command that the reference in this Markdown describes.
QHash<int, QString> CommandTips(const QString& markdown);

// Gives a text read from Markdown its letters, spaces and lines. `points` is the size of the plain text; `width` in
// nominal pixels is what pictures are fitted to, as wide as their titles say in per cent.
void StyleHelp(QTextDocument& document, double points, double width);

}  // namespace marvik

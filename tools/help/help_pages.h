#pragma once

#include <QMap>
#include <QString>

namespace marvik {

// Pages of headings, from 1, by "NAME#slug".
using HelpPageNumbers = QMap<QString, int>;

// Lays a document out on A4 pages and writes it to a PDF file with page numbers, an outline and working links. The
// entries of a list of contents get the pages that `numbers` holds for them; the document's own are added to it.
// False when the file could not be written.
bool WriteHelpPages(const QString& markdown, const QString& folder, const QString& name, HelpPageNumbers& numbers);

}  // namespace marvik

#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

namespace marvik {

// A place that links and the outline lead to. `fromTop` is in points below the upper edge of the page.
struct PdfPlace {
  QString name;   // by which links name it
  QString title;  // in the outline, "" for a place that is not in it
  int level = 1;
  int page = 0;  // from 0
  double fromTop = 0;
};

// Appends an outline and named destinations to a PDF file as the toolkit writes it, and turns its links "#name" and
// "File.md#name" into jumps within the file and to File.pdf. The appended part is an incremental update (PDF 32000-1,
// 7.5.6), so what is there stays as it is. Nothing is changed when the file is not as expected.
bool AddOutlineAndLinks(QByteArray& pdf, const QList<PdfPlace>& places);

}  // namespace marvik

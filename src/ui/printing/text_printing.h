#pragma once

#include <QString>

#include "base/user_messages.h"

class QPrinter;
class QWidget;

namespace marvik {

// The steps of printing lines of text, each of which may fail.
class TextPrintJob {
 public:
  virtual ~TextPrintJob() = default;
  virtual bool StartDoc(const QString& jobName) = 0;
  virtual bool StartPage() = 0;
  virtual int LinesPerPage() = 0;  // of a page that was started
  virtual int ColumnsPerLine() = 0;
  virtual void DrawLine(int line, const QString& text) = 0;
  virtual bool EndPage() = 0;
  virtual bool EndDoc() = 0;
};

// Prints the lines of a text, page by page; tabs stop every eight columns, lines that are too long are broken. False
// after a message that names the step that failed: "StartDoc Error", "StartPage Error", "EndPage Error" or "EndDoc
// Error".
bool PrintLines(TextPrintJob& job, const QString& text, const QString& jobName, UserMessages& messages);

// The one way of every report to a printer or a PDF file, as the printer is set up.
bool PrintText(QPrinter& printer, const QString& text, const QString& jobName, UserMessages& messages);

// Asks for the printer first. False when that was cancelled or printing failed.
bool PrintTextWithDialog(QWidget* parent, const QString& text, const QString& jobName, UserMessages& messages);

}  // namespace marvik

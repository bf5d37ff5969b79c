#include "ui/printing/page_printing.h"

#include <QFile>
#include <QFileInfo>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinter>
#include <cerrno>

#include "app/picture/picture_output.h"
#include "picture/view_page.h"
#include "ui/area/painter_canvas.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr double kUnitsPerMillimetre = 100.0;
constexpr double kUnitsPerInch = 2540.0;

bool Fail(Workbench& bench, const char* step) {
  UserMessage message = SystemErrorMessage(step, errno);
  if (errno == 0) message.text = "The printer does not go on.";
  message.icon = MessageIcon::Warning;
  bench.messages.Show(message);
  return false;
}

}  // namespace

bool PrintView(QPrinter& printer, Workbench& bench) {
  errno = 0;
  printer.setFullPage(true);
  printer.setDocName(ToText(bench.Title()));
  const QRectF paper = printer.paperRect(QPrinter::Millimeter);
  const PagePlace place = PlaceOnPage(paper.width() * kUnitsPerMillimetre, paper.height() * kUnitsPerMillimetre);
  QPainter painter;
  if (!painter.begin(&printer)) return Fail(bench, "Printing Error:");
  painter.setRenderHint(QPainter::Antialiasing);
  painter.scale(place.scale * printer.logicalDpiX() / kUnitsPerInch,
                place.scale * printer.logicalDpiY() / kUnitsPerInch);
  painter.translate(-place.corner.x, -place.corner.y);
  PainterCanvas canvas(painter, static_cast<int>(kPageLabelSize));
  PictureSubject subject = SubjectOf(bench);
  if (!DrawPage(subject, canvas)) {
    printer.abort();
    painter.end();
    // What is printed into a file would stay as far as it got.
    if (const QString file = printer.outputFileName(); QFileInfo(file).isFile()) QFile::remove(file);
    return false;
  }
  return (painter.end() && printer.printerState() != QPrinter::Error) || Fail(bench, "Error Ending the Document:");
}

bool PrintViewWithDialog(QWidget* parent, Workbench& bench) {
  QPrinter printer(QPrinter::HighResolution);
  QPrintDialog dialog(&printer, parent);
  dialog.setWindowTitle(QObject::tr("Print"));
  if (dialog.exec() != QDialog::Accepted) return false;
  return PrintView(printer, bench);
}

}  // namespace marvik

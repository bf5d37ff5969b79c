#include "ui/printing/text_printing.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinter>
#include <QStringList>
#include <cerrno>

#include "app/reports.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr double kPointSize = 9.0;

class PrinterJob : public TextPrintJob {
 public:
  explicit PrinterJob(QPrinter& printer) : printer_(printer) {}

  bool StartDoc(const QString& jobName) override {
    printer_.setDocName(jobName);
    return painter_.begin(&printer_);
  }
  bool StartPage() override {
    // The first page is there when the document has been started.
    if (started_ && !printer_.newPage()) return false;
    started_ = true;
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSizeF(kPointSize);
    painter_.setFont(font);
    return IsWell();
  }
  int LinesPerPage() override { return static_cast<int>(Area().height() / Metrics().lineSpacing()); }
  int ColumnsPerLine() override {
    return static_cast<int>(Area().width() / Metrics().horizontalAdvance(QLatin1Char('0')));
  }
  void DrawLine(int line, const QString& text) override {
    painter_.drawText(QPointF(0.0, Metrics().ascent() + line * Metrics().lineSpacing()), text);
  }
  bool EndPage() override { return IsWell(); }
  bool EndDoc() override { return painter_.end() && printer_.printerState() != QPrinter::Error; }

 private:
  bool IsWell() const {
    return printer_.printerState() != QPrinter::Error && printer_.printerState() != QPrinter::Aborted;
  }
  QRectF Area() const { return printer_.pageRect(QPrinter::DevicePixel); }
  QFontMetricsF Metrics() const { return {painter_.font(), &printer_}; }

  QPrinter& printer_;
  QPainter painter_;
  bool started_ = false;
};

QStringList LinesOf(const QString& text, int columns) {
  QStringList lines;
  const QString plain = QString::fromUtf8(WithoutTabs(PlainLines(text.toStdString())));
  for (QString line : plain.split(QLatin1Char('\n'))) {
    do {
      lines.push_back(line.left(columns));
      line.remove(0, columns);
    } while (!line.isEmpty());
  }
  if (!lines.isEmpty() && lines.back().isEmpty()) lines.pop_back();
  return lines;
}

bool Fail(UserMessages& messages, const char* step) {
  UserMessage message = SystemErrorMessage(step, errno);
  if (errno == 0) message.text = "The printer does not go on.";
  message.icon = MessageIcon::Warning;
  messages.Show(message);
  return false;
}

}  // namespace

bool PrintLines(TextPrintJob& job, const QString& text, const QString& jobName, UserMessages& messages) {
  errno = 0;
  if (!job.StartDoc(jobName)) return Fail(messages, "StartDoc Error");
  QStringList lines;
  qsizetype next = 0;
  do {
    if (!job.StartPage()) return Fail(messages, "StartPage Error");
    if (lines.isEmpty()) lines = LinesOf(text, std::max(1, job.ColumnsPerLine()));
    const int onPage = std::max(1, job.LinesPerPage());
    for (int line = 0; line < onPage && next < lines.size(); ++line) job.DrawLine(line, lines[next++]);
    if (!job.EndPage()) return Fail(messages, "EndPage Error");
  } while (next < lines.size());
  return job.EndDoc() || Fail(messages, "EndDoc Error");
}

bool PrintText(QPrinter& printer, const QString& text, const QString& jobName, UserMessages& messages) {
  PrinterJob job(printer);
  return PrintLines(job, text, jobName, messages);
}

bool PrintTextWithDialog(QWidget* parent, const QString& text, const QString& jobName, UserMessages& messages) {
  QPrinter printer(QPrinter::HighResolution);
  QPrintDialog dialog(&printer, parent);
  dialog.setWindowTitle(QObject::tr("Print"));
  if (dialog.exec() != QDialog::Accepted) return false;
  return PrintText(printer, text, jobName, messages);
}

}  // namespace marvik

#include "ui/printing/picture_printing.h"

#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinter>
#include <QProgressBar>
#include <QStyle>
#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "ui/text.h"

namespace marvik {
namespace {

// More makes bitmaps larger and no picture better.
constexpr int kMostDotsPerInch = 600;

class PrinterPage : public PicturePage {
 public:
  PrinterPage(std::unique_ptr<QPrinter> printer, QWidget& area) : printer_(std::move(printer)), area_(area) {
    printer_->setResolution(std::min(printer_->resolution(), kMostDotsPerInch));
    target_ = printer_->outputFileName();
    if (target_.isEmpty()) return;
    const QFileInfo target(target_);
    temporary_ = target.path() + QStringLiteral("/.") + target.completeBaseName() + QStringLiteral(".new~.pdf");
    printer_->setOutputFileName(temporary_);
  }
  ~PrinterPage() override {
    if (painter_.isActive()) Abandon();
  }

  bool StartDocument(const std::string& name) override {
    printer_->setDocName(ToText(name));
    return painter_.begin(printer_.get());
  }
  // The first page is there when the document has been started.
  bool StartPage() override { return IsWell(); }
  int Width() const override { return Printable().width(); }
  int Height() const override { return Printable().height(); }

  bool BeginRows(int rows) override {
    page_ = QImage(rows, rows, QImage::Format_RGB32);
    if (page_.isNull()) return false;
    bar_ = std::make_unique<QProgressBar>(&area_);
    bar_->setRange(0, rows);
    bar_->setTextVisible(false);
    bar_->setGeometry(0, 0, area_.width(), area_.style()->pixelMetric(QStyle::PM_ScrollBarExtent));
    bar_->show();
    return IsWell();
  }

  // A page that is drawn row by row shows seams wherever it is scaled, so the rows are put together first.
  bool CopyRow(int x, int y, std::span<const uint32_t> pixels) override {
    if (next_ == 0) corner_ = {x, y};
    if (next_ >= page_.height() || static_cast<int>(pixels.size()) != page_.width()) return false;
    std::ranges::copy(pixels, reinterpret_cast<uint32_t*>(page_.scanLine(next_++)));
    bar_->setValue(next_);
    if (next_ % std::max(1, page_.height() / 50) == 0) bar_->repaint();
    if (next_ < page_.height()) return true;
    painter_.setRenderHint(QPainter::LosslessImageRendering);
    painter_.drawImage(corner_, page_);
    return IsWell();
  }

  bool EndPage() override { return IsWell(); }

  bool EndDocument() override {
    bar_.reset();
    if (!painter_.end() || printer_->printerState() == QPrinter::Error) return false;
    if (target_.isEmpty()) return true;
    std::error_code error;
    std::filesystem::rename(PathToBytes(temporary_), PathToBytes(target_), error);
    if (error) errno = error.value();
    return !error;
  }

  void Abandon() override {
    bar_.reset();
    printer_->abort();
    painter_.end();
    if (!temporary_.isEmpty()) QFile::remove(temporary_);
  }

 private:
  QRect Printable() const { return printer_->pageRect(QPrinter::DevicePixel).toRect(); }
  bool IsWell() const {
    return printer_->printerState() != QPrinter::Error && printer_->printerState() != QPrinter::Aborted;
  }

  std::unique_ptr<QPrinter> printer_;
  QWidget& area_;
  QPainter painter_;
  std::unique_ptr<QProgressBar> bar_;
  QString target_;
  QString temporary_;
  QImage page_;
  QPoint corner_;
  int next_ = 0;
};

}  // namespace

std::unique_ptr<PicturePage> MakePrinterPage(std::unique_ptr<QPrinter> printer, QWidget& area) {
  return std::make_unique<PrinterPage>(std::move(printer), area);
}

std::unique_ptr<PicturePage> ChoosePrinterPage(QWidget* parent, QWidget& area, UserMessages& messages) {
  auto printer = std::make_unique<QPrinter>(QPrinter::HighResolution);
  {
    QPrintDialog dialog(printer.get(), parent);
    dialog.setWindowTitle(QObject::tr("Print"));
    errno = 0;
    if (dialog.exec() != QDialog::Accepted) return nullptr;
  }
  if (printer->isValid()) return MakePrinterPage(std::move(printer), area);
  UserMessage message = SystemErrorMessage("Couldn't Init Printer DC:", errno);
  if (errno == 0) message.text = "The printer cannot be used.";
  message.icon = MessageIcon::Warning;
  messages.Show(message);
  return nullptr;
}

}  // namespace marvik

#include "ui/texts/report_window.h"

#include <QClipboard>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QVBoxLayout>

#include "base/atomic_write.h"
#include "ui/printing/text_printing.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr int kTabColumns = 8;
constexpr int kGap = 8;  // pixels between the model's window and this one

// Beside the owner where the screen has room, else as far to the side as it goes.
void MoveBeside(QWidget& window, const QWidget& owner) {
  const QRect screen = owner.screen()->availableGeometry();
  const QRect beside = owner.window()->frameGeometry();
  const int x = std::min(beside.right() + kGap, screen.right() - window.width());
  window.move(std::max(x, screen.left()),
              std::clamp(beside.top(), screen.top(), std::max(screen.top(), screen.bottom() - window.height())));
}

}  // namespace

ReportWindow::ReportWindow(Workbench& bench, QWidget* parentWidget) : QWidget(parentWidget, Qt::Window), bench_(bench) {
  setAttribute(Qt::WA_DeleteOnClose);
  text_ = new QPlainTextEdit;
  text_->setReadOnly(true);
  text_->setLineWrapMode(QPlainTextEdit::NoWrap);
  const QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  text_->setFont(font);
  const QFontMetricsF metrics(font);
  text_->setTabStopDistance(kTabColumns * metrics.horizontalAdvance(QLatin1Char('0')));

  radius_ = new QDoubleSpinBox;
  radius_->setToolTip(tr("How far from the atom neighbours are looked for, Å"));
  radius_->setRange(0.5, kLargestEnvironment);
  radius_->setSingleStep(0.1);
  radius_->setSuffix(tr(" Å"));
  radiusLine_ = new QWidget;
  auto* radiusLayout = new QHBoxLayout(radiusLine_);
  radiusLayout->setContentsMargins(0, 0, 0, 0);
  auto* radiusLabel = new QLabel(tr("&Distance:"));
  radiusLabel->setBuddy(radius_);
  radiusLayout->addWidget(radiusLabel);
  radiusLayout->addWidget(radius_);
  radiusLayout->addStretch(1);
  connect(radius_, &QDoubleSpinBox::valueChanged, this, [this](double radius) {
    request_.radius = bench_.reports.environmentRadius = radius;
    Follow();
  });

  auto* buttons = new QHBoxLayout;
  const auto button = [&](const QString& label, auto work) {
    auto* added = new QPushButton(label);
    connect(added, &QPushButton::clicked, this, work);
    buttons->addWidget(added);
    return added;
  };
  needReport_ = {button(tr("&Copy"), [this] { CopyText(); }), button(tr("Copy as &Table"), [this] { CopyTable(); }),
                 button(tr("&Save..."), [this] { AskAndSave(); }), button(tr("&Print..."), [this] { Print(); })};
  buttons->addStretch(1);
  button(tr("OK"), [this] { close(); })->setDefault(true);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(radiusLine_);
  layout->addWidget(text_, 1);
  layout->addLayout(buttons);
  resize(static_cast<int>(metrics.horizontalAdvance(QLatin1Char('0')) * 96),
         static_cast<int>(metrics.lineSpacing() * 32));
}

void ReportWindow::Show(const ReportRequest& request) {
  request_ = request;
  radiusLine_->setVisible(request.kind == ReportKind::Environment);
  {
    const QSignalBlocker blocker(radius_);
    radius_->setValue(request.radius);
  }
  text_->verticalScrollBar()->setValue(0);
  Follow();
  if (!isVisible()) {
    if (parentWidget()) MoveBeside(*this, *parentWidget());
    show();
  }
  raise();
}

void ReportWindow::Follow() {
  auto composed = ComposeReport(bench_, request_);
  const bool same = composed && report_ && composed->text == report_->text && composed->title == report_->title;
  const bool stillNothing = !composed && !report_ && !text_->toPlainText().isEmpty();
  report_ = std::move(composed);
  if (same || stillNothing) return;
  for (QPushButton* button : needReport_) button->setEnabled(report_.has_value());
  const int scrolled = text_->verticalScrollBar()->value();
  if (report_) setWindowTitle(ToText(report_->title));
  text_->setPlainText(report_ ? ToText(PlainLines(report_->text))
                              : tr("What this report is about is no longer there."));
  text_->verticalScrollBar()->setValue(scrolled);
}

QString ReportWindow::Text() const {
  return text_->toPlainText();
}

void ReportWindow::CopyText() const {
  if (report_) QGuiApplication::clipboard()->setText(Text());
}

void ReportWindow::CopyTable() const {
  if (report_) QGuiApplication::clipboard()->setText(ToText(TablesText(*report_, '\t')));
}

bool ReportWindow::SaveTo(const QString& path) {
  if (!report_) return false;
  const bool isCsv = path.endsWith(QLatin1String(".csv"), Qt::CaseInsensitive);
  const std::string content = isCsv ? TablesText(*report_, ',') : PlainLines(report_->text);
  const int error = WriteFileAtomically(PathToBytes(path), content);
  if (error == 0) return true;
  bench_.messages.Show({MessageIcon::Warning, "Error: File I/O", WriteFault(PathToBytes(path), error)});
  return false;
}

void ReportWindow::AskAndSave() {
  const QFileInfo current(PathToText(bench_.document.CurrentFile));
  QString filter;
  const QString csv = tr("Comma-Separated Values (*.csv)");
  QString path = QFileDialog::getSaveFileName(this, tr("Save a Report"), current.absolutePath(),
                                              tr("Text (*.txt)") + QStringLiteral(";;") + csv, &filter);
  if (path.isEmpty()) return;
  if (QFileInfo(path).suffix().isEmpty()) path += filter == csv ? QStringLiteral(".csv") : QStringLiteral(".txt");
  SaveTo(path);
}

void ReportWindow::Print() {
  if (report_) PrintTextWithDialog(this, Text(), ToText(report_->jobName), bench_.messages);
}

void ReportWindow::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape) {
    close();
  } else {
    QWidget::keyPressEvent(event);
  }
}

void ReportWindows::Show(const ReportRequest& request) {
  QPointer<ReportWindow>& window = windows_[request.kind];
  if (!window) window = new ReportWindow(bench_, &owner_);
  window->Show(request);
}

void ReportWindows::Follow() {
  for (const auto& [kind, window] : windows_)
    if (window) window->Follow();
}

ReportWindow* ReportWindows::Window(ReportKind kind) const {
  const auto found = windows_.find(kind);
  return found == windows_.end() ? nullptr : found->second.data();
}

}  // namespace marvik

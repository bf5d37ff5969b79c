#include "ui/texts/text_window.h"

#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFontDatabase>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>

#include "base/files.h"
#include "ui/text.h"

namespace marvik {
namespace {

void AskAndSave(QWidget* window, const QString& text) {
  const QString path = QFileDialog::getSaveFileName(window, QObject::tr("Save Text"), {}, QObject::tr("Text (*.txt)"));
  if (path.isEmpty()) return;
  if (const int error = WriteFileAtomically(PathToBytes(path), ToBytes(text)))
    QMessageBox::warning(window, QObject::tr("Error: File I/O"), PathToText(WriteFault(PathToBytes(path), error)));
}

}  // namespace

void ShowTextWindow(QWidget& owner, const QString& title, const QString& text) {
  auto* window = new QWidget(&owner, Qt::Window);
  window->setAttribute(Qt::WA_DeleteOnClose);
  window->setWindowTitle(title);
  auto* edit = new QPlainTextEdit(text);
  edit->setReadOnly(true);
  edit->setLineWrapMode(QPlainTextEdit::NoWrap);
  edit->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  edit->setAccessibleName(title);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
  const QPushButton* copy = buttons->addButton(QObject::tr("&Copy"), QDialogButtonBox::ActionRole);
  const QPushButton* save = buttons->addButton(QObject::tr("&Save..."), QDialogButtonBox::ActionRole);
  QObject::connect(copy, &QPushButton::clicked, edit, [edit] {
    edit->selectAll();
    edit->copy();
  });
  QObject::connect(save, &QPushButton::clicked, window, [window, text] { AskAndSave(window, text); });
  QObject::connect(buttons, &QDialogButtonBox::rejected, window, &QWidget::close);
  QObject::connect(new QShortcut(Qt::Key_Escape, window), &QShortcut::activated, window, &QWidget::close);
  auto* layout = new QVBoxLayout(window);
  layout->addWidget(edit);
  layout->addWidget(buttons);
  window->resize(edit->fontMetrics().averageCharWidth() * 90, edit->fontMetrics().height() * 30);
  window->show();
}

}  // namespace marvik

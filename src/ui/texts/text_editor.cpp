#include "ui/texts/text_editor.h"

#include <QAction>
#include <QCloseEvent>
#include <QEventLoop>
#include <QFontDatabase>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProcess>
#include <QStandardPaths>
#include <QStatusBar>
#include <QStringDecoder>
#include <QTextDocument>
#include <QToolBar>

#include "base/atomic_write.h"
#include "base/user_messages.h"
#include "ui/text.h"

namespace marvik {

TextEditor::TextEditor(QWidget* parent)
    : QMainWindow(parent, Qt::Window), text_(new QPlainTextEdit(this)), sought_(new QLineEdit(this)) {
  setAttribute(Qt::WA_DeleteOnClose);
  text_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  text_->setLineWrapMode(QPlainTextEdit::NoWrap);
  setCentralWidget(text_);
  MakeActions();
  connect(text_->document(), &QTextDocument::modificationChanged, this, &QWidget::setWindowModified);
  connect(text_, &QPlainTextEdit::cursorPositionChanged, this, [this] {
    const QTextCursor cursor = text_->textCursor();
    statusBar()->showMessage(tr("Line %1, column %2").arg(cursor.blockNumber() + 1).arg(cursor.positionInBlock() + 1));
  });
  resize(760, 640);
}

void TextEditor::MakeActions() {
  QToolBar* bar = addToolBar(tr("Edit"));
  bar->setMovable(false);
  const auto add = [&](const QString& name, const QKeySequence& keys, auto slot) {
    QAction* action = bar->addAction(name);
    action->setShortcut(keys);
    connect(action, &QAction::triggered, this, slot);
  };
  add(tr("&Save"), QKeySequence::Save, &TextEditor::Save);
  add(tr("&Close"), QKeySequence::Close, &TextEditor::close);
  bar->addSeparator();
  sought_->setPlaceholderText(tr("Find"));
  sought_->setMaximumWidth(200);
  bar->addWidget(sought_);
  add(tr("Find &Next"), QKeySequence::FindNext, &TextEditor::FindNext);
  connect(sought_, &QLineEdit::returnPressed, this, &TextEditor::FindNext);
  QAction* find = new QAction(this);
  find->setShortcut(QKeySequence::Find);
  connect(find, &QAction::triggered, sought_, [this] { sought_->setFocus(); });
  addAction(find);
}

void TextEditor::FindNext() {
  if (sought_->text().isEmpty() || text_->find(sought_->text())) return;
  // Once more from the top.
  const QTextCursor before = text_->textCursor();
  text_->moveCursor(QTextCursor::Start);
  if (text_->find(sought_->text())) return;
  text_->setTextCursor(before);
  statusBar()->showMessage(tr("Not found: %1").arg(sought_->text()));
}

bool TextEditor::Open(const std::string& path) {
  const FileContent file = ReadWholeFile(path);
  const bool isText = file.content.find('\0') == std::string::npos;
  if (!file.opened || !isText) {
    QMessageBox::warning(
        parentWidget(), tr("Error: File I/O"),
        isText ? tr("Error reading %1.").arg(PathToText(path)) : tr("%1 is not a text file.").arg(PathToText(path)));
    return false;
  }
  path_ = path;
  stamp_ = StampOf(path);
  isOurs_ = false;
  QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
  QString text = decoder(QByteArray::fromStdString(file.content));
  isUtf8_ = !decoder.hasError();
  if (!isUtf8_) text = QString::fromLatin1(file.content.data(), static_cast<qsizetype>(file.content.size()));
  hasDosLines_ = text.contains(QLatin1String("\r\n"));
  text_->setPlainText(text);
  text_->document()->setModified(false);
  setWindowTitle(PathToText(FileNameOf(path)) + QStringLiteral("[*]"));
  return true;
}

bool TextEditor::Save() {
  // toPlainText would turn non-breaking blanks into plain ones.
  QString text = text_->document()->toRawText();
  text.replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
  if (hasDosLines_) text.replace(QLatin1Char('\n'), QLatin1String("\r\n"));
  const QByteArray latin = text.toLatin1();
  if (!isUtf8_ && QString::fromLatin1(latin) != text) isUtf8_ = true;
  const QByteArray bytes = isUtf8_ ? text.toUtf8() : latin;
  const auto now = StampOf(path_);
  if (now && now != stamp_ &&
      QMessageBox::question(this, tr("File Changed on Disk"),
                            tr("%1 was changed by another program after it was read.\nDo you want to overwrite it?")
                                .arg(PathToText(FileNameOf(path_)))) != QMessageBox::Yes) {
    return false;
  }
  // The first save of what somebody else wrote keeps it.
  const std::string backup = isOurs_ && now == stamp_ ? "" : path_ + ".bak";
  if (const int error = WriteFileAtomically(path_, {bytes.data(), static_cast<size_t>(bytes.size())}, backup)) {
    QMessageBox::warning(this, tr("Error: File I/O"), PathToText(WriteFault(path_, error)));
    return false;
  }
  stamp_ = StampOf(path_);
  isOurs_ = true;
  text_->document()->setModified(false);
  return true;
}

void TextEditor::closeEvent(QCloseEvent* event) {
  if (text_->document()->isModified()) {
    const auto answer =
        QMessageBox::question(this, tr("Unsaved Changes"), tr("Do you want to save the changes?"),
                              QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
    if (answer == QMessageBox::Cancel || (answer == QMessageBox::Save && !Save())) {
      event->ignore();
      return;
    }
  }
  event->accept();
  Q_EMIT Closed();
}

namespace {

bool RunOwnEditor(QWidget& window, const std::string& path, bool wait) {
  auto* editor = new TextEditor(&window);
  if (!editor->Open(path)) {
    delete editor;
    return false;
  }
  if (wait) editor->setWindowModality(Qt::ApplicationModal);
  editor->show();
  if (!wait) return true;
  QEventLoop loop;
  QObject::connect(editor, &TextEditor::Closed, &loop, &QEventLoop::quit);
  loop.exec();
  return true;
}

void ShowFailure(QWidget& window, const QString& reason) {
  QMessageBox::information(&window, QStringLiteral("Could Not Create Child Process"), reason);
}

}  // namespace

bool RunEditor(QWidget& window, const std::string& command, const std::string& path, bool wait) {
  const QString program = QStandardPaths::findExecutable(PathToText(command));
  if (program.isEmpty()) return RunOwnEditor(window, path, wait);
  if (!wait) {
    if (QProcess::startDetached(program, {PathToText(path)})) return true;
    ShowFailure(window, PathToText(command));
    return false;
  }
  QProcess process;
  process.setProcessChannelMode(QProcess::ForwardedChannels);
  QEventLoop loop;
  QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
  QObject::connect(&process, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
  process.start(program, {PathToText(path)});
  if (!process.waitForStarted()) {
    ShowFailure(window, process.errorString());
    return false;
  }
  window.setEnabled(false);
  if (process.state() != QProcess::NotRunning) loop.exec();
  window.setEnabled(true);
  if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0) return true;
  QMessageBox::warning(&window, QObject::tr("Error: File I/O"),
                       QObject::tr("The editor ended with an error (status %1). The file is read as it is now.")
                           .arg(process.exitCode()));
  return true;
}

}  // namespace marvik

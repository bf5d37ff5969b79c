#include "ui/help_window.h"

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QScrollBar>
#include <QStandardPaths>
#include <QTextBrowser>
#include <QVBoxLayout>

#include "app/help_documents.h"
#include "app/workbench.h"
#include "ui/help_text.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr char kTopic[] = "helpCommand";  // property of a window: the command that brought it up
constexpr char kGuide[] = "Marvik_Users";
constexpr char kContents[] = "Marvik_TOC";
constexpr char kWindowChapter[] = "the-window";

// The program that opens a file as the desktop has it set up, "" where the toolkit does that itself.
QString Opener() {
#if defined(__unix__) && !defined(__APPLE__)
  return QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
#else
  return {};
#endif
}

constexpr bool kNeedsOpener =
#if defined(__unix__) && !defined(__APPLE__)
    true;
#else
    false;
#endif

}  // namespace

HelpWindow::HelpWindow(const Workbench& bench, QWidget* parentWidget)
    : QWidget(parentWidget, Qt::Window), bench_(bench) {
  setAttribute(Qt::WA_DeleteOnClose);
  text_ = new QTextBrowser;
  text_->setOpenLinks(false);
  connect(text_, &QTextBrowser::anchorClicked, this, &HelpWindow::Follow);
  auto* contents = new QPushButton(tr("&Contents"));
  contents->setAutoDefault(false);
  connect(contents, &QPushButton::clicked, this, [this] { Show(QString::fromUtf8(kContents), QString()); });
  auto* search = new QLineEdit;
  search->setPlaceholderText(tr("Find: Enter shows the next place"));
  search->setClearButtonEnabled(true);
  connect(search, &QLineEdit::returnPressed, this, [this, search] { Find(search->text()); });
  auto* line = new QHBoxLayout;
  line->addWidget(contents);
  line->addWidget(search, 1);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(line);
  layout->addWidget(text_, 1);
  resize(640, 620);
  text_->setFocus();
}

bool HelpWindow::Show(const QString& name, const QString& slug) {
  if (name != name_) {
    const auto path = FindHelpFile(bench_, ToBytes(name) + ".md");
    QFile file(path ? PathToText(*path) : QString());
    if (!path || !file.open(QIODevice::ReadOnly)) return false;
    text_->document()->setBaseUrl(QUrl::fromLocalFile(QFileInfo(file).absolutePath() + QLatin1Char('/')));
    text_->setSearchPaths({QFileInfo(file).absolutePath()});
    text_->setMarkdown(QString::fromUtf8(file.readAll()));
    StyleHelp(*text_->document(), font().pointSizeF(), 560);
    name_ = name;
    setWindowTitle(text_->document()->begin().text());
  }
  // The layout is made for the window's width, which it has once it is shown.
  show();
  const QTextBlock heading = FindHelpHeading(*text_->document(), slug);
  text_->moveCursor(QTextCursor::Start);
  if (heading.isValid()) {
    text_->setTextCursor(QTextCursor(heading));
    const QRectF place = text_->document()->documentLayout()->blockBoundingRect(heading);
    text_->verticalScrollBar()->setValue(static_cast<int>(place.top()));
  }
  raise();
  activateWindow();
  return true;
}

QString HelpWindow::TopHeading() const {
  return text_->textCursor().block().text();
}

void HelpWindow::Follow(const QUrl& link) {
  const QString file = link.path();
  if (link.scheme().isEmpty() && (file.isEmpty() || file.endsWith(QLatin1String(".md")))) {
    Show(file.isEmpty() ? name_ : file.chopped(3), link.fragment());
  } else {
    QDesktopServices::openUrl(link);
  }
}

void HelpWindow::Find(const QString& text) {
  if (text.isEmpty() || text_->find(text)) return;
  text_->moveCursor(QTextCursor::Start);
  if (!text_->find(text)) QApplication::beep();
}

void HelpWindow::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape) {
    close();
  } else {
    QWidget::keyPressEvent(event);
  }
}

ContextHelp::ContextHelp(const Workbench& bench, QWidget& mainWindow)
    : QObject(&mainWindow), bench_(bench), main_(mainWindow) {
  qApp->installEventFilter(this);
}

ContextHelp::~ContextHelp() {
  qApp->removeEventFilter(this);
}

bool ContextHelp::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::Show) {
    auto* window = qobject_cast<QWidget*>(watched);
    const bool isNew = window && window->isWindow() && window != &main_ && !window->property(kTopic).isValid();
    if (isNew && runningCommand) window->setProperty(kTopic, runningCommand);
    return false;
  }
  if (event->type() != QEvent::KeyPress || static_cast<QKeyEvent*>(event)->key() != Qt::Key_F1) return false;
  auto* widget = qobject_cast<QWidget*>(watched);
  if (!widget) return false;
  if (auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
    const QAction* entry = menu->activeAction();
    if (!entry) entry = menu->actionAt(menu->mapFromGlobal(QCursor::pos()));  // a grey one is never active
    const int id = entry ? entry->data().toInt() : 0;
    while (QWidget* popup = QApplication::activePopupWidget()) popup->close();
    Show(&main_, QString::fromUtf8(kGuide),
         id ? QStringLiteral("command-%1").arg(id) : QString::fromUtf8(kWindowChapter));
  } else {
    ShowFor(widget->window());
  }
  return true;
}

void ContextHelp::ShowFor(QWidget* window) {
  if (qobject_cast<HelpWindow*>(window)) return;
  const int id = window->property(kTopic).toInt();
  Show(window, QString::fromUtf8(kGuide),
       id ? QStringLiteral("command-%1").arg(id) : QString::fromUtf8(kWindowChapter));
}

// A window beside a modal dialog has to belong to it, or it could not be used.
bool ContextHelp::Show(QWidget* beside, const QString& name, const QString& slug) {
  auto* window = beside->findChild<HelpWindow*>(QString(), Qt::FindDirectChildrenOnly);
  const bool isNew = !window;
  if (isNew) window = new HelpWindow(bench_, beside);
  if (window->Show(name, slug)) return true;
  if (isNew) delete window;
  QMessageBox::warning(beside, tr("Error: File Not Found"),
                       tr("The help document\n%1\ndoes not exist or could not be opened!").arg(name));
  return false;
}

void ContextHelp::SayNoViewer(const std::string& path, const QString& caption, const QString& text) {
  QMessageBox(QMessageBox::Warning, caption, text, QMessageBox::Ok, &main_).exec();
  Show(&main_, QFileInfo(PathToText(path)).completeBaseName(), QString());
}

bool ContextHelp::OpenDocument(const std::string& path) {
  const auto none = [this, path] {
    SayNoViewer(path, QStringLiteral("Error: Couldn't Find Acrobat Reader"),
                QStringLiteral("Please install Adobe's Acrobat Reader.\n"
                               "See https://get.adobe.com/reader, or install any other viewer of PDF files."));
  };
  const QString opener = Opener();
  if (opener.isEmpty() && (kNeedsOpener || !QDesktopServices::openUrl(QUrl::fromLocalFile(PathToText(path))))) {
    none();
    return false;
  }
  if (opener.isEmpty()) return true;
  auto* process = new QProcess;  // nobody's child: a viewer that it waits for outlives this program
  process->setStandardOutputFile(QProcess::nullDevice());
  process->setStandardErrorFile(QProcess::nullDevice());
  // It may stay as long as the viewer does, so nobody waits; 3 and 4 are its words for "nothing that opens this".
  connect(process, &QProcess::finished, process, &QObject::deleteLater);
  connect(process, &QProcess::finished, this, [none](int status, QProcess::ExitStatus end) {
    if (end == QProcess::NormalExit && (status == 3 || status == 4)) none();
  });
  process->start(opener, {PathToText(path)});
  if (process->waitForStarted()) return true;
  SayNoViewer(path, QStringLiteral("Could Not Create Child Process for Adobe Acrobat"), process->errorString());
  process->deleteLater();
  return false;
}

}  // namespace marvik

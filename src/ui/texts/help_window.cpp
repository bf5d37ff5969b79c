#include "ui/texts/help_window.h"

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTextBrowser>
#include <QVBoxLayout>

#include "app/help_documents.h"
#include "app/workbench.h"
#include "ui/text.h"
#include "ui/texts/help_text.h"

namespace marvik {
namespace {

constexpr char kTopic[] = "helpCommand";  // property of a window: the command that brought it up
constexpr char kGuide[] = "Marvik_Users";
constexpr char kContents[] = "Marvik_TOC";
constexpr char kWindowChapter[] = "the-window";

}  // namespace

HelpWindow::HelpWindow(const Workbench& bench, QWidget* parentWidget)
    : QWidget(parentWidget, Qt::Window), bench_(bench) {
  setAttribute(Qt::WA_DeleteOnClose);
  text_ = new QTextBrowser;
  text_->setOpenLinks(false);
  connect(text_, &QTextBrowser::anchorClicked, this, &HelpWindow::Follow);
  const auto button = [this](const QString& label, const QString& tip, auto work) {
    auto* added = new QPushButton(label);
    added->setAutoDefault(false);
    added->setToolTip(tip);
    connect(added, &QPushButton::clicked, this, work);
    return added;
  };
  back_ = button(tr("&Back"), tr("Where you were before (Alt+Left)"), [this] { Step(-1); });
  forward_ = button(tr("For&ward"), tr("Forward again (Alt+Right)"), [this] { Step(1); });
  back_->setShortcut(QKeySequence::Back);
  forward_->setShortcut(QKeySequence::Forward);
  auto* contents = button(tr("&Contents"), tr("The list of all documents"),
                          [this] { Show(QString::fromUtf8(kContents), QString()); });
  auto* search = new QLineEdit;
  search->setPlaceholderText(tr("Find: Enter shows the next place"));
  search->setAccessibleName(tr("Find"));
  search->setClearButtonEnabled(true);
  connect(search, &QLineEdit::returnPressed, this, [this, search] { Find(search->text()); });
  auto* all = button(tr("In &All"), tr("Looks in all documents"), [this, search] { SearchAll(search->text()); });
  auto* line = new QHBoxLayout;
  for (QWidget* widget : std::initializer_list<QWidget*>{back_, forward_, contents}) line->addWidget(widget);
  line->addWidget(search, 1);
  line->addWidget(all);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(line);
  layout->addWidget(text_, 1);
  resize(680, 640);
  text_->setFocus();
}

bool HelpWindow::Show(const QString& name, const QString& slug) {
  if (!Load({name, slug})) return false;
  places_.resize(at_ + 1);
  places_.append({name, slug});
  at_ = places_.size() - 1;
  back_->setEnabled(at_ > 0);
  forward_->setEnabled(false);
  raise();
  activateWindow();
  return true;
}

void HelpWindow::Step(int by) {
  if (at_ + by < 0 || at_ + by >= places_.size() || !Load(places_[at_ + by])) return;
  at_ += by;
  back_->setEnabled(at_ > 0);
  forward_->setEnabled(at_ + 1 < places_.size());
}

void HelpWindow::SearchAll(const QString& text) {
  if (!text.trimmed().isEmpty()) Show(QString(), text.trimmed());
}

bool HelpWindow::Load(const Place& place) {
  const bool isSearch = place.name.isEmpty();
  if (isSearch || place.name != name_) {
    QString markdown;
    if (isSearch) {
      markdown = Found(place.slug);
    } else {
      const auto path = FindHelpFile(bench_, ToBytes(place.name) + ".md");
      QFile file(path ? PathToText(*path) : QString());
      if (!path || !file.open(QIODevice::ReadOnly)) return false;
      text_->document()->setBaseUrl(QUrl::fromLocalFile(QFileInfo(file).absolutePath() + QLatin1Char('/')));
      text_->setSearchPaths({QFileInfo(file).absolutePath()});
      markdown = QString::fromUtf8(file.readAll());
    }
    text_->setMarkdown(markdown);
    StyleHelp(*text_->document(), font().pointSizeF(), 560);
    name_ = place.name;
    setWindowTitle(text_->document()->begin().text());
  }
  // The layout is made for the window's width, which it has once it is shown.
  show();
  const QTextBlock heading = isSearch ? QTextBlock() : FindHelpHeading(*text_->document(), place.slug);
  text_->moveCursor(QTextCursor::Start);
  if (heading.isValid()) {
    text_->setTextCursor(QTextCursor(heading));
    const QRectF where = text_->document()->documentLayout()->blockBoundingRect(heading);
    text_->verticalScrollBar()->setValue(static_cast<int>(where.top()));
  }
  return true;
}

// As Markdown: under the title of each document the headings whose texts have it, with the first such line.
QString HelpWindow::Found(const QString& text) const {
  QString page = QStringLiteral("# %1\n").arg(tr("Found: %1").arg(text));
  bool any = false;
  for (const HelpDocument& document : HelpDocuments()) {
    const auto path = FindHelpFile(bench_, std::string(document.name) + ".md");
    QFile file(path ? PathToText(*path) : QString());
    if (!path || !file.open(QIODevice::ReadOnly)) continue;
    QString heading = QString::fromUtf8(document.title);
    QString listed;
    QString entries;
    for (const QString& line : QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'))) {
      if (line.startsWith(QLatin1Char('#'))) heading = line.mid(line.indexOf(QLatin1Char(' ')) + 1).trimmed();
      if (heading == listed || !line.contains(text, Qt::CaseInsensitive)) continue;
      listed = heading;
      static const QRegularExpression marks(QStringLiteral("\\]\\([^)]*\\)|[#|*`\\[\\]]"));
      entries += QStringLiteral("- [%1](%2.md#%3) %4\n")
                     .arg(heading, QString::fromUtf8(document.name), HelpSlug(heading),
                          line.startsWith(QLatin1Char('#')) ? QString() : QString(line).remove(marks).trimmed());
    }
    if (entries.isEmpty()) continue;
    any = true;
    page += QStringLiteral("\n## %1\n\n%2").arg(QString::fromUtf8(document.title), entries);
  }
  return any ? page : page + QLatin1Char('\n') + tr("No document has it.");
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

bool ContextHelp::OpenDocument(const std::string& path) {
  const QString name = QFileInfo(PathToText(path)).completeBaseName();
  if (FindHelpFile(bench_, ToBytes(name) + ".md")) return Show(&main_, name, QString());
  return QDesktopServices::openUrl(QUrl::fromLocalFile(PathToText(path)));
}

}  // namespace marvik

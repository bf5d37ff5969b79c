#pragma once

#include <QList>
#include <QObject>
#include <QWidget>
#include <string>

class QPushButton;
class QTextBrowser;

namespace marvik {

class Workbench;

// The help documents in a window of their own, read from the Markdown beside the PDF files: there at once, at the right
// place, and on a machine without a viewer.
class HelpWindow : public QWidget {
  Q_OBJECT

 public:
  HelpWindow(const Workbench& bench, QWidget* parentWidget);

  // Shows a document at a heading, "" for its beginning. False when the document is not there.
  bool Show(const QString& name, const QString& slug);
  // Lists where all documents have that text, each place a link.
  void SearchAll(const QString& text);
  // What is shown now, for the tests.
  QString TopHeading() const;

 protected:
  void keyPressEvent(QKeyEvent* event) override;

 private:
  struct Place {
    QString name;  // of a document, "" for what was found
    QString slug;  // or what was sought
  };
  bool Load(const Place& place);
  void Step(int by);
  void Follow(const QUrl& link);
  void Find(const QString& text);
  QString Found(const QString& text) const;

  const Workbench& bench_;
  QTextBrowser* text_ = nullptr;
  QPushButton* back_ = nullptr;
  QPushButton* forward_ = nullptr;
  QList<Place> places_;
  qsizetype at_ = -1;
  QString name_;
};

// F1 anywhere in the program: on an entry of a menu its command, in a dialog, a message or a report the command that
// brought it up, in the window itself the chapter about it.
class ContextHelp : public QObject {
 public:
  // `bench` must outlive this.
  ContextHelp(const Workbench& bench, QWidget& mainWindow);
  ~ContextHelp() override;

  // While a command runs, what comes up belongs to it.
  int runningCommand = 0;

  // Shows the document of a PDF file in the program's own window, or that file with the desktop's viewer where its text
  // is not there. False after a message.
  bool OpenDocument(const std::string& path);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  bool Show(QWidget* beside, const QString& name, const QString& slug);
  void ShowFor(QWidget* window);

  const Workbench& bench_;
  QWidget& main_;
};

}  // namespace marvik

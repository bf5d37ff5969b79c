#pragma once

#include <QDockWidget>
#include <QObject>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "app/commands/command_table.h"
#include "app/workbench.h"

class QMainWindow;

namespace marvik {

// Runs a command by its number, as MainWindow::Run does.
using CommandRunner = std::function<Outcome(int id, const std::string& argument)>;

// What a panel is: it reads the document, and changes it by commands only.
class Panel : public QWidget {
  Q_OBJECT

 public:
  using QWidget::QWidget;
  // The document, the selection or the view is another. Called while the panel is seen, at most once an event round.
  virtual void Follow() = 0;
  // What is being typed becomes part of the structure; false when the user wants to go on typing.
  virtual bool Settle() { return true; }

 protected:
  // A size hint of a width in pixels, but of a quarter of the screen at most: the picture has the rest.
  QSize OfWidth(int width) const;
};

// The panels beside the picture: each in a dock of its own, which the user moves, closes and finds as it was at the
// next start. A panel is made when it is first shown.
class PanelSet : public QObject {
  Q_OBJECT

 public:
  PanelSet(Workbench& bench, QMainWindow& window, CommandRunner run);

  // By the command that shows it.
  bool IsShown(int command) const;
  void Show(int command, bool on);
  // Structure, Refinement and Model, where they belong; everything else closed.
  void ShowUsual();
  void HideAll();
  // What the user sees is brought up to date.
  void Follow();
  bool Settle();
  Panel* Find(int command) const;

 private:
  struct Entry {
    int command = 0;
    QDockWidget* dock = nullptr;
    Panel* panel = nullptr;
  };
  Entry* EntryOf(int command);
  const Entry* EntryOf(int command) const;
  void Fill(Entry& entry);

  Workbench& bench_;
  QMainWindow& window_;
  CommandRunner run_;
  std::vector<Entry> entries_;
};

}  // namespace marvik

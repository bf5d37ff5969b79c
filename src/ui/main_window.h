#pragma once

#include <QMainWindow>
#include <QTimer>
#include <memory>

#include "app/commands/command_table.h"
#include "app/workbench.h"
#include "ui/window_settings.h"

class QLabel;

namespace marvik {

class DemoPlayer;
class Background;
class DrawingArea;
class ContextHelp;
class EditDialogs;
class FileWatch;
class InputController;
class MenuSet;
class NoticeBar;
class PanelSet;
class RefinementWindows;
class ReportWindows;
class WindowMessages;

// The one top-level window. It decides nothing about structures: every menu entry, key and gesture becomes a command of
// the table, and what the core wants shown comes in through the hooks.
class MainWindow : public QMainWindow {
  Q_OBJECT

 public:
  // `bench` and `messages` must outlive the window; the hooks of both are set here.
  MainWindow(Workbench& bench, WindowMessages& messages);
  ~MainWindow() override;

  // The one way from the window to a command.
  Outcome Run(int id, const std::string& argument = {});
  // At the start without a file: the structure that was open last, where the user wants that.
  void RestoreSession();
  // Shows the tour, at the first start only or at any time.
  void ShowTour(bool always);
  // Opens a file once the event that asked for it is done with.
  void OpenSoon(const std::string& path);

  DrawingArea& Area() { return *area_; }
  InputController& Input() { return *input_; }
  MenuSet& Menus() { return *menus_; }
  PanelSet& Panels() { return *panels_; }
  NoticeBar& Notices() { return *notices_; }
  ReportWindows& Reports() { return *reports_; }

 protected:
  void closeEvent(QCloseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  void SetUpHooks(WindowMessages& messages);
  void SetUpStatusBar();
  void SetUpPanels();
  void RestoreLayout();
  void OpenDropped(const QStringList& paths);
  void ShowPanel(int command, bool on);
  void ShowTool(int command);
  void ShowPreferences();
  void Refresh();
  void ShowTitle();
  void SpeakSelection();
  void ShowBusy(bool on);
  void AddRestraints(QMenu& menu) const;
  void EditRestraint(const QString& number);
  void ShowContextMenu(MenuKind kind, const QPoint& place);
  void SayDone(int id, Outcome outcome);
  bool MayClose();
  bool MayLose(const QString& before);
  std::optional<std::string> AskArgument(int id);
  std::optional<std::string> AskFile(int id);
  std::optional<std::string> AskText(const CommandRow& row);
  QString DialogDirectory() const;

  Workbench& bench_;
  WindowSettings settings_;
  DrawingArea* area_ = nullptr;
  InputController* input_ = nullptr;
  MenuSet* menus_ = nullptr;
  PanelSet* panels_ = nullptr;
  NoticeBar* notices_ = nullptr;
  FileWatch* watch_ = nullptr;
  EditDialogs* edit_ = nullptr;
  ReportWindows* reports_ = nullptr;
  ContextHelp* help_ = nullptr;
  Background* background_ = nullptr;
  QLabel* pointerText_ = nullptr;
  QLabel* workText_ = nullptr;
  QLabel* selectionText_ = nullptr;
  QLabel* countsText_ = nullptr;
  QLabel* fileText_ = nullptr;
  std::unique_ptr<RefinementWindows> refinement_;
  std::unique_ptr<DemoPlayer> demo_;
  QTimer refreshTimer_;
  int busy_ = 0;
  int running_ = 0;  // commands that have not returned
  bool quitNow_ = false;
};

}  // namespace marvik

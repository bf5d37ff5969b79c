#pragma once

#include <QHash>
#include <QObject>
#include <functional>
#include <vector>

#include "app/commands/command_table.h"

class QAction;
class QMenu;
class QMenuBar;
class QToolBar;

namespace marvik {

// Why a command is not available now, "" where it is.
QString WhyNot(const Workbench& bench, const CommandRow& row);

// Makes menus from the command table. Every entry has its command's id as data and what the reference says of it as
// tool tip; what is greyed says why there and in its status tip.
class MenuSet : public QObject {
  Q_OBJECT

 public:
  using Runner = std::function<void(int id)>;
  MenuSet(const Workbench& bench, QMenuBar& bar, Runner run);

  // Makes check marks and availability those of the moment.
  void Refresh();
  void RebuildRecentFiles();
  // Fills an empty menu with the entries of a context menu, as of the moment.
  void FillPopup(QMenu& menu, MenuKind kind);

  // The entry of the menu bar that stands for a command, null when there is none.
  QAction* ActionOf(int id) const;
  // A tool bar of the commands used most; its buttons are the entries of the menu bar.
  void FillToolBar(QToolBar& bar) const;
  QMenu* RecentFilesMenu() const { return recent_; }

 private:
  void Fill(QMenu& menu, const std::vector<MenuNode>& nodes, bool inBar);
  QAction* AddCommand(QMenu& menu, const MenuNode& node, bool inBar) const;
  void ShowState(QAction& action) const;
  void ReadTips();

  const Workbench& bench_;
  Runner run_;
  std::vector<QAction*> actions_;  // of the bar
  QHash<int, QString> tips_;       // by command; read when a menu is first opened
  bool tipsRead_ = false;
  QMenu* recent_ = nullptr;
};

}  // namespace marvik

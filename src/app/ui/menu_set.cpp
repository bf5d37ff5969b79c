#include "app/ui/menu_set.h"

#include <QMenu>
#include <QMenuBar>

#include "app/ui/text.h"
#include "app/workbench.h"

namespace marvik {
namespace {

QString ReasonFor(const CommandRow& row) {
  if (!row.run) return QString::fromUtf8(row.greyed);
  switch (row.rule) {
    case EnabledRule::Always:
      return {};
    case EnabledRule::Atoms:
      return MenuSet::tr("There are no atoms: open a file first.");
    case EnabledRule::Selection:
      return MenuSet::tr("No atoms are selected: click some, or drag with Shift.");
    case EnabledRule::PickedAtom:
      return MenuSet::tr("This acts on one atom: right-click it.");
    case EnabledRule::PickedBond:
      return MenuSet::tr("This acts on one bond: right-click it.");
    case EnabledRule::BondsChosen:
      return MenuSet::tr("No bonds are selected: click some.");
    case EnabledRule::RecentFile:
      return MenuSet::tr("This place of the list is empty.");
  }
  return {};
}

QString Escaped(const std::string& path) {
  QString text = PathToText(path);
  return text.replace(QLatin1Char('&'), QLatin1String("&&"));
}

}  // namespace

MenuSet::MenuSet(const Workbench& bench, QMenuBar& bar, Runner run)
    : QObject(&bar), bench_(bench), run_(std::move(run)) {
  for (const MenuNode& node : MenuOf(MenuKind::Bar)) {
    QMenu* menu = bar.addMenu(QString::fromStdString(node.text));
    Fill(*menu, node.items, true);
  }
  RebuildRecentFiles();
  Refresh();
}

void MenuSet::Fill(QMenu& menu, const std::vector<MenuNode>& nodes, bool inBar) {
  menu.setToolTipsVisible(true);
  for (const MenuNode& node : nodes) {
    if (node.IsSeparator()) {
      menu.addSeparator();
    } else if (node.IsMenu()) {
      QMenu* inner = menu.addMenu(QString::fromStdString(node.text));
      if (node.id == kRecentFilesMenu) recent_ = inner;
      Fill(*inner, node.items, inBar);
    } else {
      QAction* action = AddCommand(menu, node, inBar);
      connect(action, &QAction::triggered, this, [this, id = node.id] { run_(id); });
      actions_.push_back(action);
    }
  }
}

QAction* MenuSet::AddCommand(QMenu& menu, const MenuNode& node, bool inBar) {
  QString text = QString::fromStdString(node.text);
  const CommandRow* row = FindCommand(node.id);
  const QString shortcut = QString::fromUtf8(row ? row->shortcut : "");
  // A second entry with a shortcut would make it ambiguous; what is behind the tab is only shown.
  if (!inBar && !shortcut.isEmpty()) {
    text += QLatin1Char('\t') + QKeySequence(shortcut).toString(QKeySequence::NativeText);
  }
  QAction* action = menu.addAction(text);
  action->setData(node.id);
  action->setCheckable(row && row->checked);
  if (inBar && !shortcut.isEmpty()) action->setShortcut(QKeySequence(shortcut));
  if (node.id == kExitCommand) action->setMenuRole(QAction::QuitRole);
  if (node.id == kAboutCommand) action->setMenuRole(QAction::AboutRole);
  return action;
}

void MenuSet::ShowState(QAction& action) const {
  const int id = action.data().toInt();
  const CommandRow* row = FindCommand(id);
  const bool enabled = CommandEnabled(bench_, id);
  action.setEnabled(enabled);
  if (action.isCheckable()) action.setChecked(CommandChecked(bench_, id));
  const QString reason = row && !enabled ? ReasonFor(*row) : QString();
  action.setStatusTip(reason);
  // Without one of its own an action's tool tip is its text.
  action.setToolTip(reason.isEmpty() ? QStringLiteral(" ") : reason);
}

void MenuSet::Refresh() {
  for (QAction* action : actions_) ShowState(*action);
}

void MenuSet::RebuildRecentFiles() {
  if (!recent_) return;
  recent_->clear();
  for (const MenuNode& node : RecentFileEntries(bench_)) {
    QAction* action = recent_->addAction(Escaped(node.text));
    action->setData(node.id);
    connect(action, &QAction::triggered, this, [this, id = node.id] { run_(id); });
  }
  const bool none = recent_->isEmpty();
  recent_->setEnabled(!none);
  recent_->menuAction()->setStatusTip(none ? tr("No file has been opened yet.") : QString());
}

void MenuSet::FillPopup(QMenu& menu, MenuKind kind) const {
  const std::function<void(QMenu&, const std::vector<MenuNode>&)> fill = [&](QMenu& to,
                                                                             const std::vector<MenuNode>& nodes) {
    to.setToolTipsVisible(true);
    for (const MenuNode& node : nodes) {
      if (node.IsSeparator()) {
        to.addSeparator();
      } else if (node.IsMenu()) {
        fill(*to.addMenu(QString::fromStdString(node.text)), node.items);
      } else {
        ShowState(*AddCommand(to, node, false));
      }
    }
  };
  fill(menu, MenuOf(kind));
}

QAction* MenuSet::ActionOf(int id) const {
  const auto found =
      std::find_if(actions_.begin(), actions_.end(), [id](const QAction* a) { return a->data().toInt() == id; });
  return found == actions_.end() ? nullptr : *found;
}

}  // namespace marvik

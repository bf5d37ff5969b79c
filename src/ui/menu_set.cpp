#include "ui/menu_set.h"

#include <QActionGroup>
#include <QMenu>
#include <QMenuBar>
#include <QToolBar>
#include <QToolButton>
#include <algorithm>

#include "app/help_documents.h"
#include "app/workbench.h"
#include "base/files.h"
#include "ui/text.h"
#include "ui/texts/help_text.h"

namespace marvik {
namespace {

struct Reason {
  EnabledRule rule;
  const char* text;
};
constexpr Reason kReasons[] = {
    {EnabledRule::Atoms, "There are no atoms: open a file first."},
    {EnabledRule::Selection, "No atoms are selected: click some, or drag with Shift."},
    {EnabledRule::PickedAtom, "This acts on one atom: right-click it."},
    {EnabledRule::PickedBond, "This acts on one bond: right-click it."},
    {EnabledRule::BondsChosen, "No bonds are selected: click some."},
    {EnabledRule::UndoStep, "There is nothing to undo."},
    {EnabledRule::RedoStep, "There is nothing to redo."},
    {EnabledRule::RecentFile, "This place of the list is empty."},
};

// Commands of which one is always in force are shown as such.
QActionGroup* GroupOf(QMenu& menu, int id) {
  static constexpr std::pair<int, const char*> kGroups[] = {
      {kPanCommand, "mouse mode"},         {kRotateCommand, "mouse mode"}, {kWireFrameCommand, "rendition"},
      {kBallAndStickCommand, "rendition"}, {kPipesCommand, "rendition"},   {kThermalEllipsoidCommand, "rendition"},
      {kLitCommand, "rendition"},          {kDarkLookCommand, "look"},     {kLightLookCommand, "look"},
      {kPaperLookCommand, "look"},         {kClassicLookCommand, "look"},  {kDesktopLookCommand, "look"}};
  const auto row = std::ranges::find(kGroups, id, &std::pair<int, const char*>::first);
  if (row == std::end(kGroups)) return nullptr;
  const QString name = QString::fromUtf8(row->second);
  auto* group = menu.findChild<QActionGroup*>(name);
  if (!group) {
    group = new QActionGroup(&menu);
    group->setObjectName(name);
  }
  return group;
}

QString Escaped(const std::string& path) {
  QString text = PathToText(path);
  return text.replace(QLatin1Char('&'), QLatin1String("&&"));
}

struct ToolRow {
  int id;  // 0: a gap
  const char* text;
};
constexpr ToolRow kTools[] = {
    {kOpenCommand, "Open"},
    {kSaveCommand, "Save"},
    {0, ""},
    {kUndoCommand, "Undo"},
    {kRedoCommand, "Redo"},
    {0, ""},
    {kRefineCommand, "Refine"},
    {kSolveCommand, "Solve"},
    {0, ""},
    {kWireFrameCommand, "Wire"},
    {kBallAndStickCommand, "Ball"},
    {kThermalEllipsoidCommand, "Ellipsoid"},
    {kLitCommand, "Lit"},
    {0, ""},
    {kLabelsCommand, "Labels"},
    {kShowCellCommand, "Cell"},
    {kGrowCommand, "Grow"},
    {kResetViewCommand, "Fit"},
};

}  // namespace

QString WhyNot(const Workbench& bench, const CommandRow& row) {
  if (!row.run) return QString::fromUtf8(row.greyed);
  if (CommandEnabled(bench, row.id)) return {};
  if (bench.refining) return MenuSet::tr(kRefinementRuns);
  const auto reason = std::ranges::find(kReasons, row.rule, &Reason::rule);
  return reason == std::end(kReasons) ? QString() : MenuSet::tr(reason->text);
}

MenuSet::MenuSet(const Workbench& bench, QMenuBar& bar, Runner run)
    : QObject(&bar), bench_(bench), run_(std::move(run)) {
  for (const MenuNode& node : MenuOf(MenuKind::Bar)) {
    QMenu* menu = bar.addMenu(Translated(node.text));
    Fill(*menu, node.items, true);
    connect(menu, &QMenu::aboutToShow, this, &MenuSet::ReadTips);
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
      QMenu* inner = menu.addMenu(Translated(node.text));
      if (node.id == kRecentFilesMenu) recent_ = inner;
      Fill(*inner, node.items, inBar);
    } else {
      QAction* action = AddCommand(menu, node, inBar);
      connect(action, &QAction::triggered, this, [this, id = node.id] { run_(id); });
      actions_.push_back(action);
    }
  }
}

QAction* MenuSet::AddCommand(QMenu& menu, const MenuNode& node, bool inBar) const {
  QString text = Translated(node.text);
  const CommandRow* row = FindCommand(node.id);
  const QString shortcut = QString::fromUtf8(row ? row->shortcut : "");
  // A second entry with a shortcut would make it ambiguous; what is behind the tab is only shown.
  const bool owns = inBar && !ActionOf(node.id);
  if (!owns && !shortcut.isEmpty()) {
    text += QLatin1Char('\t') + QKeySequence(shortcut).toString(QKeySequence::NativeText);
  }
  QAction* action = menu.addAction(text);
  action->setData(node.id);
  action->setCheckable(row && row->checked);
  action->setActionGroup(GroupOf(menu, node.id));
  if (owns && !shortcut.isEmpty()) action->setShortcut(QKeySequence(shortcut));
  if (node.id == kExitCommand) action->setMenuRole(QAction::QuitRole);
  if (node.id == kAboutCommand) action->setMenuRole(QAction::AboutRole);
  return action;
}

void MenuSet::ShowState(QAction& action) const {
  const int id = action.data().toInt();
  const CommandRow* row = FindCommand(id);
  action.setEnabled(CommandEnabled(bench_, id));
  if (id == kUndoCommand || id == kRedoCommand) action.setText(QString::fromStdString(CommandText(bench_, id)));
  if (action.isCheckable()) action.setChecked(CommandChecked(bench_, id));
  const QString reason = row ? WhyNot(bench_, *row) : QString();
  action.setStatusTip(reason);
  // Rich text is broken into lines.
  QStringList lines;
  for (const QString& line : {tips_.value(id), reason})
    if (!line.isEmpty()) lines << line.toHtmlEscaped();
  const QString tip = lines.join(QStringLiteral("<br>"));
  action.setToolTip(tip.isEmpty() ? tip : QStringLiteral("<p>%1</p>").arg(tip));
}

void MenuSet::ReadTips() {
  if (std::exchange(tipsRead_, true)) return;
  const auto path = FindHelpFile(bench_, "Marvik_Users.md");
  if (!path) return;
  tips_ = CommandTips(ToText(ReadWholeFile(*path).content));
  Refresh();
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

void MenuSet::FillPopup(QMenu& menu, MenuKind kind) {
  ReadTips();
  const std::function<void(QMenu&, const std::vector<MenuNode>&)> fill = [&](QMenu& to,
                                                                             const std::vector<MenuNode>& nodes) {
    to.setToolTipsVisible(true);
    for (const MenuNode& node : nodes) {
      if (node.IsSeparator()) {
        to.addSeparator();
      } else if (node.IsMenu()) {
        fill(*to.addMenu(Translated(node.text)), node.items);
      } else {
        ShowState(*AddCommand(to, node, false));
      }
    }
  };
  fill(menu, MenuOf(kind));
}

void MenuSet::FillToolBar(QToolBar& bar) const {
  bar.setToolButtonStyle(Qt::ToolButtonTextOnly);
  for (const ToolRow& tool : kTools) {
    QAction* action = tool.id ? ActionOf(tool.id) : nullptr;
    if (!action) {
      bar.addSeparator();
      continue;
    }
    bar.addAction(action);
    // The entry's text changes with the state ("Undo Kill Selected"); the button's stays.
    if (auto* button = qobject_cast<QToolButton*>(bar.widgetForAction(action))) {
      const auto show = [button, action, text = tr(tool.text)] {
        button->setText(text);
        const QString key = action->shortcut().toString(QKeySequence::NativeText);
        const QString name = PlainCommandName(action->text().toUtf8().constData());
        QString tip = key.isEmpty() ? name : QStringLiteral("%1 (%2)").arg(name, key);
        if (!action->statusTip().isEmpty()) tip += QLatin1Char('\n') + action->statusTip();
        button->setToolTip(tip);
      };
      show();
      connect(action, &QAction::changed, button, show);
    }
  }
}

QAction* MenuSet::ActionOf(int id) const {
  const auto found =
      std::find_if(actions_.begin(), actions_.end(), [id](const QAction* a) { return a->data().toInt() == id; });
  return found == actions_.end() ? nullptr : *found;
}

}  // namespace marvik

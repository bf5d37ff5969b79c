#include "ui/command_palette.h"

#include <QCoreApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QKeySequence>
#include <QLineEdit>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "app/commands/command_table.h"
#include "ui/menu_set.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr int kColumns = 72;
constexpr int kRows = 14;

struct Synonyms {
  int id;
  const char* words;
};
// Words under which users of other programs look for a command.
constexpr Synonyms kSynonyms[] = {
    {100, "load read import"},
    {103, "least squares start run"},
    {107, "fog depth"},
    {113, "delete remove atoms"},
    {114, "properties change atom"},
    {115, "order arrange"},
    {116, "isolate fragment molecule"},
    {123, "lines wireframe"},
    {124, "sticks balls"},
    {125, "ortep adp thermal"},
    {138, "complete symmetry expand"},
    {139, "cut remove symmetry"},
    {142, "fill packing unit cell"},
    {143, "axes box unit cell"},
    {144, "find pick search"},
    {148, "text instructions file"},
    {151, "hybridisation sp2 sp3"},
    {153, "add protons place h"},
    {167, "disorder occupancy"},
    {183, "rename number atoms"},
    {192, "afix riding hydrogen"},
    {193, "undelete bring back"},
    {200, "assemble molecules connected"},
    {203, "delete peaks difference"},
    {500, "back revert"},
    {501, "forward again repeat"},
    {503, "fit home centre center"},
    {504, "export image figure png svg pdf jpeg"},
    {507, "difference diff versions steps"},
    {508, "read again revert file"},
    {510, "rename label"},
    {534, "text lint findings edit file"},
    {630, "cif validate publish alerts findings editor"},
    {631, "cif colour size missing items question marks"},
    {656, "dashed contacts grow"},
    {657, "dashed van der waals"},
    {658, "grown packed generated shade"},
};

}  // namespace

CommandPalette::CommandPalette(QWidget* parentWidget, const Workbench& bench, const QList<int>& recent)
    : QDialog(parentWidget, Qt::Dialog | Qt::FramelessWindowHint) {
  setWindowTitle(tr("Find a Command"));
  line_ = new QLineEdit;
  line_->setToolTip(tr("Words of its name or of what it does; the arrows choose, Enter runs it"));
  line_->setPlaceholderText(tr("Find a command"));
  line_->setAccessibleName(tr("Find a command"));
  line_->installEventFilter(this);
  list_ = new QTreeWidget;
  list_->setAccessibleName(tr("Commands"));
  list_->setColumnCount(3);
  list_->setHeaderHidden(true);
  list_->setRootIsDecorated(false);
  list_->setUniformRowHeights(true);
  list_->setFocusPolicy(Qt::NoFocus);
  const int letter = fontMetrics().averageCharWidth();
  list_->setMinimumSize(letter * kColumns, (fontMetrics().height() + 6) * kRows);
  // The menu, or why the command cannot be run.
  for (const int column : {0, 1}) list_->setColumnWidth(column, letter * kColumns * 2 / 5);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(8, 8, 8, 8);
  layout->addWidget(line_);
  layout->addWidget(list_);
  Collect(bench, recent);
  ShowMatches();
  connect(line_, &QLineEdit::textChanged, this, &CommandPalette::ShowMatches);
  connect(line_, &QLineEdit::returnPressed, this, [this] { Choose(list_->currentItem()); });
  connect(list_, &QTreeWidget::itemClicked, this, &CommandPalette::Choose);
}

void CommandPalette::Collect(const Workbench& bench, const QList<int>& recent) {
  const std::function<void(const std::vector<MenuNode>&, const QString&)> walk = [&](const auto& nodes,
                                                                                     const QString& path) {
    for (const MenuNode& node : nodes) {
      if (node.IsSeparator() || node.id == kRecentFilesMenu) continue;
      if (node.IsMenu()) {
        const QString name = PlainCommandName(node.text.c_str());
        walk(node.items, path.isEmpty() ? name : path + QStringLiteral(" > ") + name);
        continue;
      }
      const CommandRow* row = FindCommand(node.id);
      if (!row) continue;
      Entry entry{node.id, PlainCommandName(node.text.c_str()), path, {}, WhyNot(bench, *row), {}, 0};
      entry.key = QKeySequence(QString::fromUtf8(row->shortcut)).toString(QKeySequence::NativeText);
      const auto more = std::ranges::find(kSynonyms, node.id, &Synonyms::id);
      entry.words = (entry.name + QLatin1Char(' ') + path + QLatin1Char(' ') +
                     (more == std::end(kSynonyms) ? QString() : QString::fromUtf8(more->words)))
                        .toLower();
      const auto used = recent.indexOf(node.id);
      entry.rank = static_cast<int>(used < 0 ? recent.size() : used);
      entries_.push_back(entry);
    }
  };
  walk(MenuOf(MenuKind::Bar), {});
}

void CommandPalette::ShowMatches() {
  const QStringList words = line_->text().toLower().split(QLatin1Char(' '), Qt::SkipEmptyParts);
  QList<const Entry*> found;
  for (const Entry& entry : entries_) {
    if (std::ranges::all_of(words, [&](const QString& word) { return entry.words.contains(word); })) {
      found.push_back(&entry);
    }
  }
  // A name that begins with the word before one that holds it, that before a synonym.
  const auto fit = [&](const Entry& entry) {
    if (words.isEmpty()) return 0;
    const auto at = entry.name.toLower().indexOf(words.front());
    return at == 0 ? 0 : at > 0 ? 1 : 2;
  };
  std::ranges::stable_sort(found, [&](const Entry* a, const Entry* b) {
    const int x = fit(*a), y = fit(*b);
    return x != y ? x < y : a->rank < b->rank;
  });
  list_->clear();
  for (const Entry* entry : found) {
    auto* item = new QTreeWidgetItem(list_, {entry->name, entry->menu, entry->key});
    item->setData(0, Qt::UserRole, entry->id);
    item->setToolTip(0, entry->reason);
    if (entry->reason.isEmpty()) continue;
    item->setText(1, entry->reason);
    for (int column = 0; column < 3; ++column) {
      item->setForeground(column, palette().color(QPalette::Disabled, QPalette::Text));
    }
    item->setFirstColumnSpanned(false);
  }
  if (list_->topLevelItemCount() > 0) list_->setCurrentItem(list_->topLevelItem(0));
}

void CommandPalette::Choose(QTreeWidgetItem* item) {
  if (!item || !item->toolTip(0).isEmpty()) return;
  chosen_ = item->data(0, Qt::UserRole).toInt();
  accept();
}

// The arrows move in the list while the line has the keyboard.
bool CommandPalette::eventFilter(QObject* watched, QEvent* event) {
  if (watched == line_ && event->type() == QEvent::KeyPress) {
    const int key = static_cast<QKeyEvent*>(event)->key();
    if (key == Qt::Key_Up || key == Qt::Key_Down || key == Qt::Key_PageUp || key == Qt::Key_PageDown) {
      QCoreApplication::sendEvent(list_, event);
      return true;
    }
  }
  return QDialog::eventFilter(watched, event);
}

}  // namespace marvik

#include "ui/panels/restraints_panel.h"

#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QShortcut>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <memory>

#include "app/beside.h"
#include "edit/edit_restraint.h"
#include "language/instruction.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr int kTargetColumn = 2;
constexpr int kSigmaColumn = 4;

QTreeWidgetItem* LineItem(const RestraintLine& line) {
  const auto number = [](double value) { return QString::number(value, 'f', 4); };
  auto* item = new QTreeWidgetItem;
  item->setText(0, ToText(line.atoms));
  item->setText(1, QString::number(line.chi2, 'f', 2));
  item->setText(2, number(line.target));
  item->setText(3, number(line.value));
  item->setText(4, number(line.sigma));
  return item;
}

}  // namespace

RestraintsPanel::RestraintsPanel(Workbench& bench, CommandRunner run) : bench_(bench), run_(std::move(run)) {
  list_ = new QTreeWidget;
  list_->setObjectName(QStringLiteral("restraints"));
  list_->setAccessibleName(tr("Restraints"));
  list_->setHeaderLabels({tr("Restraint"), tr("χ²"), tr("Target"), tr("Value"), tr("Sigma")});
  list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  problem_ = new QLabel;
  problem_->setWordWrap(true);
  auto* add = new QPushButton(tr("&Add..."));
  auto* remove = new QPushButton(tr("&Delete"));
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(add);
  buttons->addWidget(remove);
  buttons->addStretch();
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2, 2, 2, 2);
  layout->addWidget(problem_);
  layout->addWidget(list_, 1);
  layout->addLayout(buttons);
  connect(add, &QPushButton::clicked, this, [this] { run_(kRestrainCommand, {}); });
  connect(remove, &QPushButton::clicked, this, &RestraintsPanel::Remove);
  connect(new QShortcut(QKeySequence::Delete, list_, nullptr, nullptr, Qt::WidgetShortcut), &QShortcut::activated, this,
          &RestraintsPanel::Remove);
  connect(list_, &QTreeWidget::itemClicked, this, [this](const QTreeWidgetItem* item) { SelectAtoms(item); });
  connect(list_, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item, int column) {
    QTreeWidgetItem* restraint = item->parent() ? item->parent() : item;
    const RestraintNumbers numbers = NumbersOf(ToBytes(restraint->text(0)));
    if ((column == kTargetColumn && numbers.hasTarget) || (column == kSigmaColumn && numbers.hasSigma))
      list_->editItem(restraint, column);
  });
  connect(list_, &QTreeWidget::itemExpanded, this, &RestraintsPanel::AddLines);
  connect(list_, &QTreeWidget::itemChanged, this, &RestraintsPanel::Edit);
}

void RestraintsPanel::Follow() {
  if (changes_ == bench_.changes && state_ == bench_.history.State() && file_ == bench_.document.CurrentFile) return;
  changes_ = bench_.changes;
  state_ = bench_.history.State();
  file_ = bench_.document.CurrentFile;
  constexpr int kManyAtoms = 1000;  // whose restraints are worked out beside the window
  int atoms = 0;
  for ([[maybe_unused]] const AtomRecord* atom : Atoms(bench_.document.atoms)) ++atoms;
  if (atoms < kManyAtoms || RestraintTexts(bench_.document).empty()) return Show(Work(bench_.document));
  const auto document = std::make_shared<const Document>(bench_.document);
  DoBeside(
      bench_, "The panel's restraints are being worked out", [document] { return Work(*document); },
      [self = QPointer(this), changes = changes_, state = state_](Worked worked) {
        if (self && self->changes_ == changes && self->state_ == state) self->Show(std::move(worked));
        return Outcome::Done;
      });
}

RestraintsPanel::Worked RestraintsPanel::Work(const Document& document) {
  Worked worked;
  worked.texts = RestraintTexts(document);
  if (worked.texts.empty()) return worked;
  for (RestraintLine& line : RestraintsAsTheyAre(document, worked.problem, &worked.notes))
    worked.lines[line.instruction].push_back(std::move(line));
  return worked;
}

void RestraintsPanel::Show(Worked worked) {
  constexpr size_t kManyLines = 2000;  // that are put there when they are unfolded
  shown_ = std::move(worked);
  const QScopedValueRollback filling(filling_, true);
  problem_->setText(shown_.problem.empty() ? QString() : tr("No χ²: %1").arg(ToText(shown_.problem)));
  problem_->setVisible(!shown_.problem.empty());
  list_->clear();
  size_t count = 0;
  for (const auto& [text, lines] : shown_.lines) count += lines.size();
  QList<QTreeWidgetItem*> items;
  for (const std::string& text : shown_.texts) {
    auto* item = items.emplaceBack(new QTreeWidgetItem);
    item->setText(0, ToText(text));
    item->setFlags(item->flags() | Qt::ItemIsEditable);
    const RestraintNumbers numbers = NumbersOf(text);
    if (numbers.target) item->setText(kTargetColumn, ToText(FieldText(*numbers.target, 4)));
    if (numbers.sigma) item->setText(kSigmaColumn, ToText(FieldText(*numbers.sigma, 5)));
    const std::vector<RestraintLine>& lines = shown_.lines[text];
    double chi2 = 0.0;
    for (const RestraintLine& line : lines) chi2 += line.chi2;
    if (!lines.empty()) {
      item->setText(1, QString::number(chi2, 'f', 2));
      if (count < kManyLines) AddLines(item);
      item->setChildIndicatorPolicy(QTreeWidgetItem::ShowIndicator);
    } else if (shown_.problem.empty()) {
      item->setText(1, tr("none"));
      item->setToolTip(1, ToText(WhyWithoutCost(text, shown_.notes)));
    }
  }
  list_->addTopLevelItems(items);
  for (int column = 1; column < 5; ++column) list_->resizeColumnToContents(column);
}

void RestraintsPanel::AddLines(QTreeWidgetItem* item) const {
  const auto lines = shown_.lines.find(ToBytes(item->text(0)));
  if (item->parent() || item->childCount() > 0 || lines == shown_.lines.end()) return;
  QList<QTreeWidgetItem*> children;
  for (const RestraintLine& line : lines->second) children << LineItem(line);
  item->addChildren(children);
}

// Names as instructions have them are names of the selection too, but for images and ranges.
void RestraintsPanel::SelectAtoms(const QTreeWidgetItem* item) {
  const std::string text = ToBytes(item->text(0));
  const std::string names = item->parent() ? text : [&] {
    std::string words;
    for (const std::string& word : ParseInstruction(text).words) words += word + " ";
    return words;
  }();
  if (!names.empty() && names.find('$') == std::string::npos) run_(kSelectAtomsCommand, names);
}

// What the command refuses is shown as it was.
void RestraintsPanel::Edit(const QTreeWidgetItem* item, int column) {
  if (filling_ || (column != kTargetColumn && column != kSigmaColumn)) return;
  const std::string number = std::to_string(list_->indexOfTopLevelItem(const_cast<QTreeWidgetItem*>(item)) + 1);
  const char* field = column == kTargetColumn ? " target=" : " sigma=";
  run_(kEditRestraintCommand, "number=" + number + field + ToBytes(item->text(column)));
  changes_ = ~0u;
  QMetaObject::invokeMethod(
      this, [this] { Follow(); }, Qt::QueuedConnection);
}

void RestraintsPanel::Remove() {
  const QTreeWidgetItem* item = list_->currentItem();
  if (!item) return;
  const int row = list_->indexOfTopLevelItem(item->parent() ? item->parent() : const_cast<QTreeWidgetItem*>(item));
  run_(kRemoveRestraintCommand, std::to_string(row + 1));
}

}  // namespace marvik

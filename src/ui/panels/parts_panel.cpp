#include "ui/panels/parts_panel.h"

#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QSlider>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <set>

#include "edit/edit_fields.h"
#include "edit/part_list.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr double kLevelStep = 0.05;  // e/Å³
constexpr int kMostNames = 40;

}  // namespace

PartsPanel::PartsPanel(Workbench& bench, CommandRunner run) : bench_(bench), run_(std::move(run)) {
  list_ = new QTreeWidget;
  list_->setObjectName(QStringLiteral("parts"));
  list_->setAccessibleName(tr("Parts"));
  list_->setRootIsDecorated(false);
  list_->setHeaderLabels({tr("Part"), tr("Variable"), tr("Occupancy"), tr("Atoms")});
  auto* step = new QPushButton(tr("&Step"));
  step->setToolTip(tr("The next alternative of every disorder alone, then all"));
  auto* all = new QPushButton(tr("A&ll"));
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(step);
  buttons->addWidget(all);
  buttons->addStretch();
  level_ = new QSlider(Qt::Horizontal);
  level_->setObjectName(QStringLiteral("level"));
  level_->setAccessibleName(tr("Height from which peaks are shown"));
  levelText_ = new QLabel;
  levelText_->setBuddy(level_);
  auto* peaks = new QHBoxLayout;
  peaks->addWidget(levelText_);
  peaks->addWidget(level_, 1);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2, 2, 2, 2);
  layout->addWidget(list_, 1);
  layout->addLayout(buttons);
  layout->addLayout(peaks);
  connect(step, &QPushButton::clicked, this, [this] { run_(kShowPartCommand, "next"); });
  connect(all, &QPushButton::clicked, this, [this] { run_(kShowPartCommand, "all"); });
  connect(list_, &QTreeWidget::itemClicked, this, [this](const QTreeWidgetItem* item, int column) {
    if (column > 0) SelectAtoms(item);
  });
  connect(list_, &QTreeWidget::itemChanged, this, [this] { HideUnticked(); });
  connect(level_, &QSlider::valueChanged, this, [this] { ShowPeaks(); });
}

void PartsPanel::Follow() {
  const QScopedValueRollback<bool> quiet(following_, true);
  const Document& document = bench_.document;
  list_->clear();
  for (const PartGroup& group : PartGroups(document)) {
    QStringList names;
    QString serials;
    for (const AtomRecord* atom : group.atoms) {
      if (names.size() < kMostNames) names << ToText(atom->name);
      serials += QStringLiteral(" #%1").arg(atom->serial);
    }
    auto* item = new QTreeWidgetItem(list_);
    item->setText(0, QString::number(group.part));
    item->setText(1, group.variable < 0 ? QStringLiteral("1 − %1").arg(-group.variable)
                                        : (group.variable ? QString::number(group.variable) : QStringLiteral("–")));
    item->setText(2, QString::number(group.occupancy, 'f', 3));
    item->setText(3, names.join(QLatin1Char(' ')));
    item->setData(0, Qt::UserRole, serials.trimmed());
    item->setCheckState(0, document.atoms.IsPartHidden(group.part) ? Qt::Unchecked : Qt::Checked);
  }
  for (int column = 0; column < 3; ++column) list_->resizeColumnToContents(column);
  double highest = 0.0;
  double lowestShown = -1.0;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (!atom->IsPeak()) continue;
    highest = std::max(highest, atom->peakHeight);
    if (!atom->Has(kHidden) && (lowestShown < 0.0 || atom->peakHeight < lowestShown)) lowestShown = atom->peakHeight;
  }
  level_->setEnabled(highest > 0.0);
  level_->setRange(0, static_cast<int>(highest / kLevelStep) + 1);
  // The handle stays where it was put as long as it says what is shown.
  const double now = level_->value() * kLevelStep;
  if (lowestShown >= 0.0 && now > lowestShown) level_->setValue(0);
  levelText_->setText(tr("&Peaks from %1 e/Å³").arg(level_->value() * kLevelStep, 0, 'f', 2));
}

void PartsPanel::SelectAtoms(const QTreeWidgetItem* item) {
  run_(kSelectAtomsCommand, ToBytes(item->data(0, Qt::UserRole).toString()));
}

void PartsPanel::HideUnticked() {
  if (following_) return;
  // A PART that stands in several rows is hidden where one of them has lost its tick, and shown where one has got it.
  std::set<int> hidden;
  for (int i = 0; i < list_->topLevelItemCount(); ++i) {
    const QTreeWidgetItem& item = *list_->topLevelItem(i);
    const int part = item.text(0).toInt();
    const bool was = bench_.document.atoms.IsPartHidden(part);
    const bool unticked = item.checkState(0) == Qt::Unchecked;
    if (unticked != was) {
      unticked ? (void)hidden.insert(part) : (void)hidden.erase(part);
    } else if (was) {
      hidden.insert(part);
    }
  }
  std::string text;
  for (const int part : hidden) text += (text.empty() ? "" : " ") + std::to_string(part);
  run_(kHidePartCommand, text.empty() ? "none" : text);
}

void PartsPanel::ShowPeaks() {
  if (following_) return;
  run_(kPeakLevelCommand, FieldText(level_->value() * kLevelStep, 2));
}

}  // namespace marvik

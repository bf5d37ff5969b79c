#include "ui/dialogs/refinement/refinement_result_dialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFontDatabase>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "base/numbers.h"
#include "ui/text.h"

namespace marvik {
namespace {

// The rest moved less than all of these.
constexpr size_t kRowsShown = 1000;

QTreeWidget* Table(const QStringList& headers) {
  auto* table = new QTreeWidget;
  table->setHeaderLabels(headers);
  table->setRootIsDecorated(false);
  table->setUniformRowHeights(true);
  table->setAlternatingRowColors(true);
  table->setMinimumHeight(table->fontMetrics().height() * 16);
  return table;
}

// Numbers stand in the first `numbers` columns behind the name.
void AddRow(QTreeWidget& table, const std::vector<std::string>& cells, int numbers) {
  auto* item = new QTreeWidgetItem(&table);
  for (int i = 0; i < static_cast<int>(cells.size()); ++i) {
    item->setText(i, ToText(cells[static_cast<size_t>(i)]));
    if (i > 0 && i <= numbers) item->setTextAlignment(i, Qt::AlignRight | Qt::AlignVCenter);
  }
}

void FitColumns(QTreeWidget& table) {
  constexpr int kRoom = 14;
  int width = 0;
  table.header()->setStretchLastSection(false);
  for (int i = 0; i < table.columnCount(); ++i) {
    table.resizeColumnToContents(i);
    const int needed = table.columnWidth(i) + kRoom;
    table.setColumnWidth(i, needed);
    width += needed;
  }
  table.header()->setStretchLastSection(true);
  table.setMinimumWidth(width + 2 * kRoom);
}

}  // namespace

RefinementResultDialog::RefinementResultDialog(QWidget* parentWidget, const RefinementReport& report,
                                               const ResultSkipping& skipping)
    : QDialog(parentWidget) {
  setWindowTitle(tr("Refinement Result"));
  setObjectName(QStringLiteral("result"));
  auto* layout = new QVBoxLayout(this);
  if (!report.note.empty()) {
    auto* note = new QLabel(ToText(report.note));
    note->setObjectName(QStringLiteral("note"));
    note->setTextFormat(Qt::PlainText);
    note->setWordWrap(true);
    QFont font = note->font();
    font.setBold(true);
    note->setFont(font);
    layout->addWidget(note);
  }
  layout->addWidget(Figures(report));
  layout->addWidget(Pages(report), 1);

  skip_ = new QCheckBox(tr("Accept without as&king when nothing moves by more than"));
  skip_->setObjectName(QStringLiteral("skip"));
  skip_->setChecked(skipping.on);
  below_ = new QDoubleSpinBox;
  below_->setObjectName(QStringLiteral("below"));
  below_->setAccessibleName(tr("Largest shift that is accepted without asking"));
  below_->setLocale(QLocale::c());
  below_->setDecimals(4);
  below_->setRange(0.0, 1.0);
  below_->setSingleStep(0.001);
  below_->setSuffix(tr(" Å"));
  below_->setValue(skipping.below);
  auto* line = new QHBoxLayout;
  line->addWidget(skip_);
  line->addWidget(below_);
  line->addStretch(1);
  auto* buttons = new QDialogButtonBox(this);
  QPushButton* accept = buttons->addButton(tr("&Accept"), QDialogButtonBox::AcceptRole);
  QPushButton* discard = buttons->addButton(tr("&Discard"), QDialogButtonBox::RejectRole);
  (report.doubtful ? discard : accept)->setDefault(true);
  (report.doubtful ? discard : accept)->setFocus();
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, [this] { done(Rejected); });
  layout->addLayout(line);
  layout->addWidget(buttons);
}

// Escape and the window's own button; the Discard button says what it does.
void RefinementResultDialog::reject() {
  QMessageBox box(QMessageBox::Question, tr("Discard the Result?"), tr("The result of this refinement will be lost."),
                  QMessageBox::Yes | QMessageBox::No, this);
  box.setInformativeText(tr("Discard it?"));
  box.setDefaultButton(QMessageBox::No);
  if (box.exec() == QMessageBox::Yes) done(Rejected);
}

ResultSkipping RefinementResultDialog::Skipping() const {
  return {skip_->isChecked(), below_->value()};
}

QWidget* RefinementResultDialog::Figures(const RefinementReport& report) {
  auto* box = new QWidget;
  auto* grid = new QGridLayout(box);
  grid->setContentsMargins(0, 0, 0, 0);
  grid->setHorizontalSpacing(18);
  const auto cell = [&](int row, int column, const QString& text) {
    auto* label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setAlignment(column ? Qt::AlignRight : Qt::AlignLeft);
    grid->addWidget(label, row, column);
  };
  cell(1, 0, tr("before"));
  cell(2, 0, tr("after"));
  const auto column = [&](int at, const char* name, std::optional<double> CyclePoint::*figure, int digits) {
    cell(0, at, QString::fromUtf8(name));
    cell(1, at, ToText(FigureText(report.before.*figure, digits)));
    cell(2, at, ToText(FigureText(report.after.*figure, digits)));
  };
  column(1, "R1", &CyclePoint::r1, 4);
  column(2, "wR2", &CyclePoint::wR2, 4);
  column(3, "GooF", &CyclePoint::goof, 3);
  const ModelChanges& changes = report.changes;
  cell(0, 4, tr("Largest shift"));
  cell(2, 4, ToText(Printf("%.4f Å", changes.largestShift)));
  if (changes.added + changes.gone > 0) {
    cell(0, 5, tr("Atoms"));
    cell(2, 5, tr("%1 new, %2 gone").arg(changes.added).arg(changes.gone));
  }
  grid->setColumnStretch(6, 1);
  return box;
}

QWidget* RefinementResultDialog::Pages(const RefinementReport& report) {
  auto* changes = new QWidget;
  auto* tables = new QHBoxLayout(changes);
  tables->setContentsMargins(0, 0, 0, 0);
  tables->addWidget(AtomTable(report.changes));
  tables->addWidget(PeakTable(report.changes));
  if (report.restraints.empty() && report.diagnosis.empty() && report.findings.empty()) return changes;
  auto* pages = new QTabWidget;
  pages->setObjectName(QStringLiteral("pages"));
  pages->addTab(changes, tr("&Changes"));
  if (!report.restraints.empty()) {
    QTreeWidget* table = Table({tr("Kind"), tr("Target"), tr("Value"), tr("Sigma"), tr("Chi²"), tr("Atoms")});
    table->setObjectName(QStringLiteral("restraints"));
    table->setAccessibleName(tr("Restraints"));
    for (const RestraintRow& row : report.restraints) AddRow(*table, {row.begin(), row.end()}, 4);
    FitColumns(*table);
    table->setMinimumWidth(std::min(table->minimumWidth(), 600));  // the atoms of a plane may be many
    pages->addTab(table, tr("&Restraints"));
  }
  if (!report.diagnosis.empty()) {
    auto* text = new QPlainTextEdit(ToText(report.diagnosis));
    text->setObjectName(QStringLiteral("diagnosis"));
    text->setReadOnly(true);
    text->setLineWrapMode(QPlainTextEdit::NoWrap);
    text->setTabChangesFocus(true);
    text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    pages->addTab(text, tr("Dia&gnosis"));
  }
  if (!report.findings.empty()) {
    QTreeWidget* table = Table({tr("Level"), tr("Finding")});
    table->setObjectName(QStringLiteral("findings"));
    table->setAccessibleName(tr("Findings"));
    for (const Finding& finding : report.findings)
      AddRow(*table, {std::string(NameOf(finding.level)), finding.text}, 0);
    FitColumns(*table);
    table->setMinimumWidth(std::min(table->minimumWidth(), 600));
    pages->addTab(table, tr("&Journal:  %1").arg(ToText(LevelCounts(report.findings))));
  }
  return pages;
}

QTreeWidget* RefinementResultDialog::AtomTable(const ModelChanges& changes) {
  QTreeWidget* table = Table({tr("Atom"), tr("Shift, Å"), tr("Shift/s.u.")});
  table->setObjectName(QStringLiteral("atoms"));
  table->setAccessibleName(tr("Shifts"));
  for (size_t i = 0; i < std::min(kRowsShown, changes.atoms.size()); ++i) {
    const AtomChange& atom = changes.atoms[i];
    AddRow(*table, {atom.name, ShiftText(atom), UncertaintyText(atom)}, 2);
  }
  if (changes.atoms.size() > kRowsShown) {
    AddRow(*table, {std::to_string(changes.atoms.size() - kRowsShown) + " more"}, 2);
  }
  FitColumns(*table);
  return table;
}

QTreeWidget* RefinementResultDialog::PeakTable(const ModelChanges& changes) {
  QTreeWidget* table = Table({tr("Peak"), tr("e/Å³"), tr("Nearest atom")});
  table->setObjectName(QStringLiteral("peaks"));
  table->setAccessibleName(tr("Peaks"));
  for (size_t i = 0; i < std::min(kRowsShown, changes.peaks.size()); ++i) {
    const PeakReport& peak = changes.peaks[i];
    AddRow(*table, {peak.name, Printf("%.2f", peak.height), PeakText(peak)}, 1);
  }
  FitColumns(*table);
  return table;
}

}  // namespace marvik

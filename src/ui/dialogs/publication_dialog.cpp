#include "ui/dialogs/publication_dialog.h"

#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <map>

#include "app/journal_files.h"
#include "base/files.h"
#include "ui/text.h"

namespace marvik {
namespace {

enum Column { kItemColumn, kValueColumn, kUnitColumn, kFromColumn };

// An empty text takes a value out.
std::string ChangeOf(const std::string& item, const std::string& value) {
  return ItemChange(item, value.empty() ? "?" : value);
}

class PublicationDialog : public QDialog {
 public:
  PublicationDialog(QWidget* parentWidget, PublicationState state);
  std::string Changes() const;

 private:
  QLabel* Caption(const QString& text, QWidget* of);
  void AddFields(QVBoxLayout& layout);
  void ShowRows();
  void ShowRow();
  void Enter(const QString& value);
  void FillFrom(int choice);
  void Fill(const PublicationSource* only);
  const PublicationRow* Current() const;
  std::string ValueOf(const PublicationRow& row) const;
  std::string Block() const { return state_.blocks[static_cast<size_t>(std::max(0, block_->currentIndex()))]; }

  PublicationState state_;
  std::vector<PublicationRow> rows_;
  std::map<std::string, std::map<std::string, std::string>> changes_;  // by block and item
  QComboBox *block_ = nullptr, *show_ = nullptr, *fill_ = nullptr, *proposals_ = nullptr;
  QTreeWidget* list_ = nullptr;
  QLabel *meaning_ = nullptr, *fault_ = nullptr;
  QPlainTextEdit* value_ = nullptr;
  QPushButton* ok_ = nullptr;
};

PublicationDialog::PublicationDialog(QWidget* parentWidget, PublicationState state)
    : QDialog(parentWidget), state_(std::move(state)) {
  setWindowTitle(tr("Publication Items"));
  setObjectName(QStringLiteral("publication"));
  block_ = new QComboBox;
  block_->setObjectName(QStringLiteral("block"));
  for (const std::string& block : state_.blocks) block_->addItem(ToText(block));
  show_ = new QComboBox;
  show_->setObjectName(QStringLiteral("show"));
  show_->addItems({tr("What is open"), tr("All items")});
  fill_ = new QComboBox;
  fill_->setObjectName(QStringLiteral("fill"));
  fill_->addItem(tr("Choose what to fill from"));
  if (!state_.beside.empty()) fill_->addItem(tr("The files beside"), QStringLiteral("beside"));
  for (const std::string& name : PackageFiles(kPublicationTemplates, "cif"))
    fill_->addItem(tr("Template %1").arg(ToText(name)), PathToText(PackageFile(kPublicationTemplates, name, "cif")));
  fill_->addItem(tr("Another file..."), QString());
  auto* head = new QHBoxLayout;
  head->addWidget(Caption(tr("&Block:"), block_));
  head->addWidget(block_);
  head->addWidget(Caption(tr("&Show:"), show_));
  head->addWidget(show_);
  head->addStretch(1);
  head->addWidget(Caption(tr("&Fill from:"), fill_));
  head->addWidget(fill_);
  list_ = new QTreeWidget;
  list_->setObjectName(QStringLiteral("items"));
  list_->setAccessibleName(tr("Items"));
  list_->setHeaderLabels({tr("Item"), tr("Value"), tr("Unit"), tr("From")});
  list_->setRootIsDecorated(false);
  list_->setUniformRowHeights(true);
  list_->setMinimumSize(fontMetrics().averageCharWidth() * 110, fontMetrics().height() * 14);
  list_->header()->setStretchLastSection(false);
  list_->header()->setSectionResizeMode(kValueColumn, QHeaderView::Stretch);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(head);
  layout->addWidget(Caption(tr("&Items:"), list_));
  layout->addWidget(list_, 1);
  AddFields(*layout);
  connect(block_, &QComboBox::currentIndexChanged, this, &PublicationDialog::ShowRows);
  connect(show_, &QComboBox::currentIndexChanged, this, &PublicationDialog::ShowRows);
  connect(fill_, &QComboBox::activated, this, &PublicationDialog::FillFrom);
  connect(list_, &QTreeWidget::currentItemChanged, this, &PublicationDialog::ShowRow);
  ShowRows();
}

QLabel* PublicationDialog::Caption(const QString& text, QWidget* of) {
  auto* label = new QLabel(text);
  label->setBuddy(of);
  return label;
}

void PublicationDialog::AddFields(QVBoxLayout& layout) {
  meaning_ = new QLabel;
  meaning_->setTextFormat(Qt::PlainText);
  meaning_->setWordWrap(true);
  meaning_->setMinimumHeight(fontMetrics().height() * 2);
  value_ = new QPlainTextEdit;
  value_->setObjectName(QStringLiteral("value"));
  value_->setTabChangesFocus(true);
  value_->setFixedHeight(fontMetrics().height() * 4);
  proposals_ = new QComboBox;
  proposals_->setObjectName(QStringLiteral("proposals"));
  proposals_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
  fault_ = new QLabel;
  fault_->setTextFormat(Qt::PlainText);
  fault_->setWordWrap(true);
  auto* line = new QHBoxLayout;
  line->addWidget(Caption(tr("&Value:"), value_));
  line->addWidget(value_, 1);
  line->addWidget(Caption(tr("&Proposals:"), proposals_));
  line->addWidget(proposals_);
  layout.addWidget(meaning_);
  layout.addLayout(line);
  layout.addWidget(fault_);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  ok_ = buttons->button(QDialogButtonBox::Ok);
  layout.addWidget(buttons);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(value_, &QPlainTextEdit::textChanged, this, [this] { Enter(value_->toPlainText()); });
  connect(proposals_, &QComboBox::activated, this,
          [this](int index) { value_->setPlainText(proposals_->itemData(index).toString()); });
}

std::string PublicationDialog::ValueOf(const PublicationRow& row) const {
  const auto block = changes_.find(Block());
  if (block == changes_.end()) return row.value;
  const auto changed = block->second.find(row.item);
  return changed == block->second.end() ? row.value : changed->second;
}

void PublicationDialog::ShowRows() {
  const QSignalBlocker quiet(list_);
  rows_ = state_.Rows(Block());
  list_->clear();
  for (size_t i = 0; i < rows_.size(); ++i) {
    const PublicationRow& row = rows_[i];
    if (show_->currentIndex() == 0 && !row.value.empty()) continue;
    QString from = row.isFixed ? tr("refinement") : row.isKept ? tr("kept") : QString();
    if (row.value.empty() && !row.proposals.empty()) from = tr("%1 proposes").arg(ToText(row.proposals[0].from));
    auto* item = new QTreeWidgetItem(list_, {ToText(row.item), ToText(ValueOf(row)).simplified(),
                                             row.field ? ToText(row.field->unit) : QString(), from});
    item->setData(kItemColumn, Qt::UserRole, static_cast<int>(i));
  }
  for (const int column : {kItemColumn, kUnitColumn, kFromColumn}) list_->resizeColumnToContents(column);
  list_->setCurrentItem(list_->topLevelItem(0));
  ShowRow();
}

const PublicationRow* PublicationDialog::Current() const {
  const QTreeWidgetItem* item = list_->currentItem();
  return item ? &rows_[static_cast<size_t>(item->data(kItemColumn, Qt::UserRole).toInt())] : nullptr;
}

void PublicationDialog::ShowRow() {
  const QSignalBlocker quiet(value_);
  const PublicationRow* row = Current();
  value_->setEnabled(row && !row->isFixed);
  value_->setPlainText(row ? ToText(ValueOf(*row)) : QString());
  proposals_->clear();
  meaning_->clear();
  fault_->clear();
  if (!row) return;
  for (const auto& proposal : row->proposals)
    proposals_->addItem(ToText(proposal.value + " (" + proposal.from + ")"), ToText(proposal.value));
  if (row->field) {
    for (const std::string& word : WordsOf(*row->field)) proposals_->addItem(ToText(word), ToText(word));
    const QString allowed = ToText(AllowedText(*row->field) + (*row->field->unit ? " " : "") + row->field->unit);
    meaning_->setText(ToText(row->field->meaning) + QLatin1Char('.') +
                      (allowed.isEmpty() ? QString() : QLatin1Char(' ') + tr("It takes: %1.").arg(allowed)));
  } else {
    meaning_->setText(tr("An item that the CIF leaves open, or that you keep."));
  }
  proposals_->setEnabled(proposals_->count() > 0 && !row->isFixed);
  proposals_->setCurrentIndex(-1);
}

void PublicationDialog::Enter(const QString& value) {
  const PublicationRow* row = Current();
  if (!row) return;
  const std::string text = ToBytes(value.trimmed());
  if (text == row->value) {
    changes_[Block()].erase(row->item);
  } else {
    changes_[Block()][row->item] = text;
  }
  list_->currentItem()->setText(kValueColumn, value.simplified());
  fault_->setText(ToText(PublicationFault(row->item, text)));
  bool good = true;
  for (const auto& [block, items] : changes_)
    for (const auto& [item, changed] : items) good = good && PublicationFault(item, changed).empty();
  ok_->setEnabled(good);
}

void PublicationDialog::FillFrom(int choice) {
  QString path = fill_->itemData(choice).toString();
  const bool asks = choice > 0 && path.isEmpty();
  if (asks) {
    path =
        QFileDialog::getOpenFileName(this, tr("Fill from"), PathToText(DirectoryOf(state_.keptPath)),
                                     tr("CIFs and Files of the Measurement (*.cif *.p4p *.cif_od *.abs *.sum *.log)") +
                                         QStringLiteral(";;") + tr("All Files (*)"));
  }
  fill_->setCurrentIndex(0);
  if (path.isEmpty()) return;
  if (path == QLatin1String("beside")) return Fill(nullptr);
  state_.beside.push_back(ReadPublicationSource(PathToBytes(path)));
  Fill(&state_.beside.back());
}

// Of what is open; with `only` from it alone.
void PublicationDialog::Fill(const PublicationSource* only) {
  const auto sources = only ? std::vector<PublicationSource>{*only} : state_.beside;
  for (const PublicationRow& row : PublicationRows(state_.cif, Block(), state_.kept, sources))
    if (ValueOf(row).empty() && !row.proposals.empty()) changes_[Block()][row.item] = row.proposals[0].value;
  ShowRows();
}

std::string PublicationDialog::Changes() const {
  std::string text;
  for (const std::string& block : state_.blocks) {
    std::string items;
    if (const auto changed = changes_.find(block); changed != changes_.end())
      for (const auto& [item, value] : changed->second) items += ChangeOf(item, value);
    if (!items.empty()) text += "data_" + block + "\n" + items;
  }
  return text;
}

}  // namespace

std::optional<std::string> AskPublication(QWidget* parent, const Workbench& bench) {
  auto state = FindPublication(bench);
  if (!state) return "_";  // the command says what is missing
  PublicationDialog dialog(parent, std::move(*state));
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  const std::string changes = dialog.Changes();
  return changes.empty() ? std::nullopt : std::optional(changes);
}

std::optional<std::string> AskReply(QWidget* parent, const ReplyForm& form) {
  QDialog dialog(parent);
  dialog.setWindowTitle(QObject::tr("Reply to a Finding"));
  dialog.setObjectName(QStringLiteral("reply"));
  auto* text = new QPlainTextEdit(ToText(form.text));
  text->setObjectName(QStringLiteral("text"));
  text->setTabChangesFocus(true);
  text->setMinimumSize(text->fontMetrics().averageCharWidth() * 80, text->fontMetrics().height() * 8);
  text->moveCursor(QTextCursor::End);
  auto* caption = new QLabel(QStringLiteral("&") + ToText(form.item).mid(1));
  caption->setBuddy(text);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  auto* layout = new QVBoxLayout(&dialog);
  layout->addWidget(caption);
  layout->addWidget(text, 1);
  layout->addWidget(buttons);
  QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
  QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  text->setFocus();
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  return ItemChange(form.item, ToBytes(text->toPlainText()));
}

}  // namespace marvik

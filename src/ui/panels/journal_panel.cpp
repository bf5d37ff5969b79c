#include "ui/panels/journal_panel.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSplitter>
#include <QTextBrowser>
#include <QVBoxLayout>
#include <algorithm>

#include "app/journal_files.h"
#include "app/refinement/refine_report.h"
#include "check/cif/check_cif.h"
#include "ui/dialogs/publication_dialog.h"
#include "ui/panels/finding_list.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr FindingLevel kLevels[] = {FindingLevel::A, FindingLevel::B, FindingLevel::C, FindingLevel::G};

QString Number(const std::optional<double>& value) {
  return value ? QString::number(*value, 'g', 5) : QString();
}

QString AtomsText(const Finding& finding) {
  QStringList atoms;
  for (const std::string& atom : finding.atoms) atoms << ToText(atom);
  return atoms.join(QLatin1Char(' '));
}

QString Explanation(const Finding& finding) {
  const auto rules = CifRules();
  const auto rule = std::ranges::find(rules, finding.test, &CifRule::id);
  const auto line = [](const QString& name, const QString& text) {
    return text.isEmpty() ? QString() : QStringLiteral("<p><b>%1</b> %2</p>").arg(name, text.toHtmlEscaped());
  };
  QString past;
  if (finding.limit && finding.value)
    past = QObject::tr("%1, level %2 begins at %3")
               .arg(Number(finding.value), ToText(NameOf(finding.level)), Number(finding.limit));
  return QStringLiteral("<p>%1</p>").arg(ToText(finding.text).toHtmlEscaped()) +
         line(QObject::tr("To do:"), ToText(finding.repair)) + line(QObject::tr("Value:"), past) +
         line(QObject::tr("Atoms:"), AtomsText(finding)) +
         line(QObject::tr("Line of the CIF:"), finding.line > 0 ? QString::number(finding.line) : QString()) +
         line(QObject::tr("Test:"), ToText(finding.test)) +
         line(QObject::tr("The journals' tests that look at the same:"),
              rule == rules.end() ? QString() : ToText(rule->reference));
}

// Of several blocks the sentence begins with the one it is about, "[name] ".
std::pair<std::string, Finding> FindingOfBlock(Finding finding, const std::vector<std::string>& blocks) {
  for (const std::string& block : blocks) {
    if (!finding.text.starts_with("[" + block + "] ")) continue;
    finding.text.erase(0, block.size() + 3);
    return {block, std::move(finding)};
  }
  return {blocks[0], std::move(finding)};
}

}  // namespace

JournalPanel::JournalPanel(Workbench& bench, CommandRunner run)
    : bench_(bench), run_(std::move(run)), background_(this) {
  state_ = new QLabel;
  state_->setTextFormat(Qt::PlainText);
  levels_ = new QComboBox;
  levels_->setObjectName(QStringLiteral("levels"));
  levels_->setAccessibleName(tr("Levels"));
  for (const char* text : {QT_TR_NOOP("A"), QT_TR_NOOP("A and B"), QT_TR_NOOP("A, B and C"), QT_TR_NOOP("All levels")})
    levels_->addItem(tr(text));
  levels_->setCurrentIndex(levels_->count() - 1);
  list_ = new FindingList(tr("Level"), QString());
  list_->hideColumn(FindingList::kLastColumn);
  list_->header()->setSectionResizeMode(FindingList::kMarkColumn, QHeaderView::ResizeToContents);
  auto* items = new QPushButton(tr("Items..."));
  items->setToolTip(tr("What no refinement knows: crystal, measurement, authors"));
  reply_ = new QPushButton(tr("Reply..."));
  reply_->setToolTip(tr("What you answer to the editor, in the form that journals ask for"));
  reply_->setEnabled(false);
  details_ = new QTextBrowser;
  details_->setAccessibleName(tr("The finding explained"));
  details_->setPlaceholderText(tr("A click on a finding explains it here and selects its atoms."));
  for (QWidget* part : {static_cast<QWidget*>(list_), static_cast<QWidget*>(details_)})
    part->setMinimumSize(fontMetrics().averageCharWidth() * 20, fontMetrics().height() * 3);
  splitter_ = new QSplitter;
  splitter_->addWidget(list_);
  splitter_->addWidget(details_);
  splitter_->setStretchFactor(0, 3);
  splitter_->setStretchFactor(1, 2);
  auto* head = new QHBoxLayout;
  head->addWidget(state_, 1);
  head->addWidget(levels_);
  head->addWidget(reply_);
  head->addWidget(items);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2, 2, 2, 2);
  layout->setSpacing(2);
  layout->addLayout(head);
  layout->addWidget(splitter_, 1);
  connect(levels_, &QComboBox::currentIndexChanged, this, &JournalPanel::ShowList);
  connect(items, &QPushButton::clicked, this, [this] {
    run_(kPublicationCommand, {});
    Follow();
  });
  connect(reply_, &QPushButton::clicked, this, &JournalPanel::Reply);
  connect(list_, &QTreeWidget::itemClicked, this, &JournalPanel::Chosen);
  connect(list_, &QTreeWidget::itemActivated, this, &JournalPanel::Chosen);
}

// Side by side where there is more room to the side.
void JournalPanel::resizeEvent(QResizeEvent* event) {
  Panel::resizeEvent(event);
  splitter_->setOrientation(width() > 2 * height() ? Qt::Horizontal : Qt::Vertical);
}

void JournalPanel::Follow() {
  Source now{JournalCif(bench_), {}, {}};
  if (!now.cif.empty()) {
    now.stamp = StampOf(now.cif);
    now.listStamp = StampOf(BaseNameOf(now.cif) + ".fcf");
  }
  // A refinement that runs writes it piece by piece.
  if (bench_.refining || now == source_) return Say();
  source_ = std::move(now);
  Check();
}

void JournalPanel::Check() {
  background_.Start([this, source = *source_]() -> std::function<void()> {
    auto findings = source.cif.empty() ? std::nullopt : CheckCifFile(source.cif);
    return [this, source, found = std::move(findings)]() mutable {
      if (source != source_) return;
      readable_ = found.has_value();
      findings_ = std::move(found).value_or(std::vector<Finding>());
      ShowList();
    };
  });
}

void JournalPanel::ShowList() {
  list_->clear();
  details_->clear();
  const FindingLevel least = kLevels[std::clamp(levels_->currentIndex(), 0, 3)];
  for (size_t i = 0; i < findings_.size(); ++i) {
    if (findings_[i].level > least) continue;
    list_->Add(findings_[i], i, ToText(NameOf(findings_[i].level)));
  }
  reply_->setEnabled(false);
  Say();
}

void JournalPanel::Say() {
  if (!source_ || source_->cif.empty())
    return state_->setText(tr("There is no CIF of this structure yet; a refinement writes it."));
  const QString name = PathToText(FileNameOf(source_->cif));
  if (!readable_ && !background_.IsBusy()) return state_->setText(tr("%1 cannot be read.").arg(name));
  QString text = name + QStringLiteral(":  ") + ToText(LevelCounts(findings_));
  if (bench_.modified) text += QStringLiteral("   ") + tr("The model has changed since: refine it.");
  state_->setText(text);
}

void JournalPanel::Chosen(const QTreeWidgetItem* item) {
  const size_t index = FindingList::IndexOf(*item);
  if (index >= findings_.size()) return;
  details_->setHtml(Explanation(findings_[index]));
  reply_->setEnabled(!ReplyTo(findings_[index], {}).item.empty());
  const std::string atoms = SelectionOfLabels(bench_.document, findings_[index].atoms);
  if (atoms.empty()) {
    run_(kDeselectCommand, {});
  } else {
    run_(kSelectAtomsCommand, "=" + atoms);
  }
}

void JournalPanel::Reply() {
  const QTreeWidgetItem* item = list_->currentItem();
  const auto state = FindPublication(bench_);
  if (!item || !state || FindingList::IndexOf(*item) >= findings_.size()) return;
  const auto [block, finding] = FindingOfBlock(findings_[FindingList::IndexOf(*item)], state->blocks);
  const auto answer = AskReply(this, ReplyTo(finding, block));
  if (answer) run_(kPublicationCommand, "data_" + block + "\n" + *answer);
  Follow();
}

}  // namespace marvik

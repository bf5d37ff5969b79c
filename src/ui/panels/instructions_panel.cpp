#include "ui/panels/instructions_panel.h"

#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QSplitter>
#include <QStringDecoder>
#include <QTextBlock>
#include <QVBoxLayout>
#include <algorithm>
#include <set>

#include "check/lint/lint.h"
#include "ui/panels/finding_list.h"
#include "ui/panels/instructions_editor.h"
#include "ui/text.h"

namespace marvik {
namespace {

// ms
constexpr int kTakePause = 900;
constexpr int kLintPause = 250;
constexpr int kCursorPause = 60;
constexpr size_t kMostFindings = 300;

}  // namespace

InstructionsPanel::InstructionsPanel(Workbench& bench, CommandRunner run)
    : bench_(bench), run_(std::move(run)), background_(this) {
  editor_ = new InstructionsEditor;
  editor_->setObjectName(QStringLiteral("editor"));
  list_ = new FindingList(tr("Line"), QString());
  list_->hide();
  state_ = new QLabel;
  state_->setTextFormat(Qt::PlainText);
  state_->setContentsMargins(4, 0, 4, 0);
  for (QWidget* part : {static_cast<QWidget*>(editor_), static_cast<QWidget*>(list_)})
    part->setMinimumSize(fontMetrics().averageCharWidth() * 20, fontMetrics().height() * 3);
  splitter_ = new QSplitter;
  splitter_->addWidget(editor_);
  splitter_->addWidget(list_);
  splitter_->setStretchFactor(0, 3);
  splitter_->setStretchFactor(1, 2);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2, 2, 2, 2);
  layout->setSpacing(2);
  layout->addWidget(splitter_, 1);
  layout->addWidget(state_);
  const auto setUp = [this](QTimer& timer, int pause, auto slot) {
    timer.setSingleShot(true);
    timer.setInterval(pause);
    connect(&timer, &QTimer::timeout, this, slot);
  };
  setUp(takeTimer_, kTakePause, [this] { TakeOver(); });
  setUp(lintTimer_, kLintPause, [this] { LookForFindings(); });
  setUp(cursorTimer_, kCursorPause, [this] { SelectAtCursor(); });
  connect(editor_, &InstructionsEditor::Typed, this, [this] {
    ++version_;
    takeTimer_.start();
    lintTimer_.start();
  });
  connect(editor_, &InstructionsEditor::FocusLeft, this, [this] { TakeOver(); });
  connect(editor_, &InstructionsEditor::MarkClicked, this, [this](int line) {
    for (int row = 0; row < list_->topLevelItemCount(); ++row)
      if (list_->topLevelItem(row)->text(FindingList::kMarkColumn).toInt() == line + 1)
        return list_->setCurrentItem(list_->topLevelItem(row));
  });
  connect(editor_, &QPlainTextEdit::cursorPositionChanged, this, [this] {
    if (editor_->hasFocus()) cursorTimer_.start();
  });
  connect(list_, &QTreeWidget::itemClicked, this, &InstructionsPanel::Chosen);
  connect(list_, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem* item, int column) {
    Chosen(item, column == FindingList::kLastColumn ? FindingList::kTextColumn : column);
  });
}

InstructionsPanel::Source InstructionsPanel::SourceNow() const {
  return {bench_.changes, bench_.document.instructions.source, bench_.saveLayout, bench_.document.CurrentFile};
}

void InstructionsPanel::Follow() {
  editor_->setReadOnly(bench_.refining);
  const bool anew = !source_ || *source_ != SourceNow();
  const bool opened = !source_ || (source_->file != bench_.document.CurrentFile &&
                                   source_->layout != bench_.document.instructions.source);
  if (anew) ShowText(opened);
  ShowSelection(anew);
}

QStringList InstructionsPanel::Shown(const TextLines& text, size_t first, size_t behind) const {
  QStringList lines;
  lines.reserve(static_cast<qsizetype>(behind - first));
  for (size_t i = first; i < behind; ++i) lines << InstructionsEditor::Shown(text.Line(i), utf8_);
  return lines;
}

// Only the lines that differ are shown anew. What is being typed stays.
void InstructionsPanel::ShowText(bool anew) {
  source_ = SourceNow();
  const bool nothing = !source_->layout && !bench_.document.atoms.head;
  TextLines now(nothing ? std::string() : TextOfStructure(bench_));
  atomLines_.reset();
  if (now.Text() == base_.Text() && !anew) return;
  QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
  const QString decoded = decoder(QByteArrayView(now.Text().data(), static_cast<qsizetype>(now.Text().size())));
  const bool utf8 = !decoder.hasError();
  hasControls_ = false;
  for (size_t i = 0; i < now.Count() && !hasControls_; ++i)
    hasControls_ = std::ranges::any_of(now.Line(i), [](unsigned char c) { return (c < 32 && c != '\t') || c == 127; });
  size_t first = 0, last = 0;  // the latter counted from the end
  const size_t fewest = std::min(now.Count(), base_.Count());
  while (first < fewest && now.Line(first) == base_.Line(first)) ++first;
  while (last < fewest - first && now.Line(now.Count() - 1 - last) == base_.Line(base_.Count() - 1 - last)) ++last;
  const auto typed = editor_->ChangedLines();
  const auto typedFirst = static_cast<size_t>(std::max(typed.first, 0));
  const auto typedBehind = static_cast<size_t>(typed.behind);
  const size_t oldCount = base_.Count();
  base_ = std::move(now);
  const int longer = static_cast<int>(base_.Count()) - static_cast<int>(oldCount);
  if (anew || utf8 != utf8_) {
    utf8_ = utf8;
    editor_->SetUnchanged();
    editor_->ShowLines(0, editor_->blockCount(), Shown(base_, 0, base_.Count()));
  } else if (typed.first < 0 || oldCount - last <= typedFirst) {
    // All of it stands before what is being typed, if anything is.
    const QStringList lines = Shown(base_, first, base_.Count() - last);
    editor_->ShowLines(static_cast<int>(first), static_cast<int>(oldCount - last - first), lines);
    if (typed.first >= 0) editor_->SetChanged(typed.first + longer, typed.behind);
  } else if (oldCount - first <= typedBehind) {
    const int count = static_cast<int>(oldCount - last - first);
    const int at = editor_->blockCount() - static_cast<int>(oldCount - first);
    editor_->ShowLines(at, count, Shown(base_, first, base_.Count() - last));
    editor_->SetChanged(typed.first, typed.behind + longer);
  } else {
    // Both at one place: what is typed stands, and is what will be taken over.
    editor_->SetChanged(static_cast<int>(std::min(first, typedFirst)), static_cast<int>(std::min(last, typedBehind)));
  }
  ++version_;
  lintTimer_.start();
}

std::optional<InstructionsPanel::Edit> InstructionsPanel::TypedEdit() const {
  const auto changed = editor_->ChangedLines();
  if (changed.first < 0) return {};
  auto first = static_cast<size_t>(changed.first);
  size_t behind = base_.Count() - std::min(static_cast<size_t>(changed.behind), base_.Count());
  int end = editor_->blockCount() - changed.behind;
  int begin = changed.first;
  const auto same = [this](size_t line, int block) {
    return InstructionsEditor::Shown(base_.Line(line), utf8_) == editor_->LineText(block);
  };
  for (; first < behind && begin < end && same(first, begin); ++begin) ++first;
  for (; first < behind && begin < end && same(behind - 1, end - 1); --end) --behind;
  if (first >= behind && begin >= end) return {};
  Edit edit{first, behind > first ? behind - first : 0, {}};
  QTextBlock block = editor_->document()->findBlockByNumber(begin);
  for (int i = begin; i < end; ++i, block = block.next())
    edit.lines.push_back(InstructionsEditor::Bytes(block.text(), utf8_, hasControls_));
  return edit;
}

std::string InstructionsPanel::EditedText() const {
  const auto edit = TypedEdit();
  return edit ? base_.With(edit->first, edit->count, edit->lines) : base_.Text();
}

bool InstructionsPanel::TakeOver() {
  takeTimer_.stop();
  if (taking_ || bench_.refining || editor_->ChangedLines().first < 0) return true;
  const QScopedValueRollback<bool> taking(taking_, true);
  if (*source_ != SourceNow()) ShowText(false);
  const auto edit = TypedEdit();
  if (!edit) {
    editor_->SetUnchanged();
    return true;
  }
  const std::string fault = FaultOfText(base_.With(edit->first, edit->count, edit->lines));
  if (!fault.empty()) {
    Say(ToText(fault) + QLatin1Char(' ') + tr("The structure stays as it was; what you typed stays here."), true);
    return false;
  }
  if (run_(kEditLinesCommand, EditLinesArgument(edit->first, edit->count, edit->lines)) == Outcome::Failed)
    return false;
  editor_->SetUnchanged();
  base_ = TextLines(base_.With(edit->first, edit->count, edit->lines));
  ShowText(false);
  return true;
}

bool InstructionsPanel::Settle() {
  if (taking_ || TakeOver()) return true;
  QMessageBox box(QMessageBox::Warning, tr("Instructions"),
                  tr("What was typed in Instructions cannot be read, and is no part of the structure."),
                  QMessageBox::Ignore | QMessageBox::Cancel, this);
  box.setInformativeText(tr("Do you want to go on without it?"));
  box.setDefaultButton(QMessageBox::Cancel);
  const bool goOn = box.exec() == QMessageBox::Ignore;
  if (!goOn) editor_->setFocus();
  return goOn;
}

// Side by side where there is more room to the side.
void InstructionsPanel::resizeEvent(QResizeEvent* event) {
  Panel::resizeEvent(event);
  splitter_->setOrientation(width() > 2 * height() ? Qt::Horizontal : Qt::Vertical);
}

void InstructionsPanel::Say(const QString& text, bool wrong) {
  state_->setText(text);
  QPalette colours = palette();
  if (wrong) colours.setColor(QPalette::WindowText, FindingList::ColourOf(FindingLevel::Error));
  state_->setPalette(colours);
}

void InstructionsPanel::LookForFindings() {
  background_.Start([this, text = EditedText(), folder = bench_.document.WorkingDirectory,
                     version = version_]() -> std::function<void()> {
    auto findings = text.empty() ? std::vector<Finding>() : LintInstructionText(text, folder);
    return [this, version, found = std::move(findings)]() mutable {
      if (version == version_) ShowFindings(std::move(found));
    };
  });
}

void InstructionsPanel::ShowFindings(std::vector<Finding> findings) {
  findings_ = std::move(findings);
  std::ranges::stable_sort(findings_, {}, &Finding::line);
  std::map<int, InstructionsEditor::Mark> marks;
  list_->clear();
  size_t errors = 0;
  for (const Finding& finding : findings_) {
    errors += finding.level == FindingLevel::Error;
    auto& mark =
        marks.try_emplace(std::max(finding.line, 1) - 1, InstructionsEditor::Mark{finding.level, {}}).first->second;
    mark.level = std::min(mark.level, finding.level);
    mark.text += (mark.text.isEmpty() ? QString() : QStringLiteral("\n")) + ToText(finding.text + " " + finding.repair);
    if (static_cast<size_t>(list_->topLevelItemCount()) < kMostFindings) AddFinding(finding);
  }
  editor_->SetMarks(std::move(marks));
  list_->setVisible(!findings_.empty());
  Say(findings_.empty() ? tr("Nothing found.") : tr("Findings: %1, errors: %2").arg(findings_.size()).arg(errors),
      false);
}

void InstructionsPanel::AddFinding(const Finding& finding) {
  QTreeWidgetItem* item = list_->Add(finding, static_cast<size_t>(&finding - findings_.data()),
                                     finding.line > 0 ? QString::number(finding.line) : QString());
  if (!finding.edit) return;
  item->setText(FindingList::kLastColumn, tr("Repair"));
  item->setForeground(FindingList::kLastColumn, palette().color(QPalette::Link));
  QFont font = list_->font();
  font.setUnderline(true);
  item->setFont(FindingList::kLastColumn, font);
}

void InstructionsPanel::Chosen(QTreeWidgetItem* item, int column) {
  const auto index = FindingList::IndexOf(*item);
  if (index >= findings_.size()) return;
  const Finding finding = findings_[index];
  if (finding.line > 0) editor_->GoTo(finding.line - 1);
  cursorTimer_.start();
  // What was found in an older text may stand elsewhere now.
  if (column == FindingList::kLastColumn && finding.edit && !lintTimer_.isActive() && !background_.IsBusy())
    Repair(*finding.edit);
}

void InstructionsPanel::Repair(const TextEdit& edit) {
  QStringList lines;
  if (!edit.text.empty()) lines = ToText(edit.text).split(QLatin1Char('\n'));
  const int first = std::clamp(edit.line - 1, 0, editor_->blockCount());
  editor_->TypeLines(first, std::min(edit.count, editor_->blockCount() - first), lines);
  TakeOver();
}

const std::vector<AtomLines>& InstructionsPanel::LinesOfAtoms() {
  if (!atomLines_) atomLines_ = FindAtomLines(base_, bench_.document);
  return *atomLines_;
}

// What is typed is no line of the structure yet.
void InstructionsPanel::SelectAtCursor() {
  if (!source_ || *source_ != SourceNow() || bench_.refining) return;
  const auto typed = editor_->ChangedLines();
  const QTextCursor cursor = editor_->textCursor();
  const auto lineAt = [&](int position) { return editor_->document()->findBlock(position).blockNumber(); };
  int first = lineAt(cursor.selectionStart());
  int last = lineAt(cursor.selectionEnd());
  if (typed.first >= 0 && first >= editor_->blockCount() - typed.behind) {
    const int longer = editor_->blockCount() - static_cast<int>(base_.Count());
    first -= longer;
    last -= longer;
  } else if (typed.first >= 0 && last >= typed.first) {
    return;
  }
  std::string wanted;
  std::vector<uint32_t> serials;
  for (const AtomLines& atom : LinesOfAtoms()) {
    if (static_cast<int>(atom.last) < first || static_cast<int>(atom.first) > last) continue;
    wanted += (wanted.empty() ? "#" : " #") + std::to_string(atom.serial);
    serials.push_back(atom.serial);
  }
  std::ranges::sort(serials);
  if (!serials.empty() && serials != selected_) run_(kSelectAtomsCommand, wanted);
}

void InstructionsPanel::ShowSelection(bool anew) {
  std::vector<uint32_t> selected;
  for (const AtomRecord* atom : bench_.document.atoms.selection) selected.push_back(atom->serial);
  std::ranges::sort(selected);
  if (selected == selected_ && !anew) return;
  const bool moved = selected != selected_;
  selected_ = std::move(selected);
  const auto typed = editor_->ChangedLines();
  const int longer = editor_->blockCount() - static_cast<int>(base_.Count());
  std::vector<std::pair<int, int>> lines;
  if (!selected_.empty()) {
    for (const AtomLines& atom : LinesOfAtoms()) {
      if (!std::ranges::binary_search(selected_, atom.serial)) continue;
      const auto first = static_cast<int>(atom.first), last = static_cast<int>(atom.last);
      const bool behind = typed.first >= 0 && first >= static_cast<int>(base_.Count()) - typed.behind;
      if (behind || typed.first < 0 || last < typed.first)
        lines.emplace_back(first + (behind ? longer : 0), last + (behind ? longer : 0));
    }
  }
  editor_->SetSelectedLines(lines);
  if (moved && !lines.empty() && !editor_->hasFocus()) editor_->GoTo(lines.front().first);
}

}  // namespace marvik

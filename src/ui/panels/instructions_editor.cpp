#include "ui/panels/instructions_editor.h"

#include <QFontDatabase>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScopedValueRollback>
#include <QStringDecoder>
#include <QSyntaxHighlighter>
#include <QTextBlock>
#include <QToolTip>
#include <algorithm>
#include <functional>

#include "base/numbers.h"
#include "language/keywords.h"
#include "language/tokenizer.h"
#include "ui/panels/finding_list.h"
#include "ui/text.h"

namespace marvik {

namespace {

constexpr char16_t kPictures = 0x2400;  // where the pictures of control characters begin
constexpr char16_t kDelete = 0x2421;
constexpr int kMostSelectedLines = 2000;

bool IsDark(const QPalette& palette) {
  return palette.color(QPalette::Base).lightness() < 128;
}

// Colours a line by what the reader takes it for: by its shape while it is typed, and as wrong once it was found so.
class Colours : public QSyntaxHighlighter {
 public:
  Colours(QTextDocument* document, bool dark, std::function<bool(int line)> isWrong)
      : QSyntaxHighlighter(document), isWrong_(std::move(isWrong)) {
    const auto set = [](QTextCharFormat& format, const char* colour) { format.setForeground(QColor(colour)); };
    set(keyword_, dark ? "#7fb4ff" : "#00509e");
    set(atom_, dark ? "#8fd694" : "#1c6b2a");
    set(remark_, dark ? "#9a9a9a" : "#707070");
    set(unknown_, dark ? "#ff8a80" : "#b3261e");
    keyword_.setFontWeight(QFont::Bold);
    atom_.setFontWeight(QFont::Bold);
    remark_.setFontItalic(true);
  }

 protected:
  void highlightBlock(const QString& text) override {
    const bool continues = previousBlockState() == kOpen;
    const std::string bytes = text.toLatin1().toStdString();
    const InstructionKeyword keyword = HeadOf(bytes).keyword;
    const bool plain = keyword == InstructionKeyword::kRem || keyword == InstructionKeyword::kTitl;
    int end = static_cast<int>(text.size());
    if (!plain || continues) end = static_cast<int>(std::min<size_t>(bytes.find('!'), bytes.size()));
    setCurrentBlockState(!plain && bytes.substr(0, static_cast<size_t>(end)).find('=') != std::string::npos ? kOpen
                                                                                                            : kClosed);
    if (end < text.size()) setFormat(end, static_cast<int>(text.size()) - end, remark_);
    if (continues) return;
    if (isWrong_(currentBlock().blockNumber())) {
      const int first = FirstWord(text);
      if (first >= 0) setFormat(first, WordEnd(text, first) - first, unknown_);
    } else if (keyword == InstructionKeyword::kRem) {
      setFormat(0, end, remark_);
    } else if (keyword == InstructionKeyword::kAtomLine) {
      const int first = FirstWord(text);
      if (first >= 0) setFormat(first, WordEnd(text, first) - first, IsAtom(bytes) ? atom_ : unknown_);
    } else if (keyword != InstructionKeyword::kBlank) {
      const int first = FirstWord(text);
      if (first >= 0) setFormat(first, WordEnd(text, first) - first, keyword_);
    }
  }

 private:
  enum State { kClosed = 0, kOpen = 1 };
  static int FirstWord(const QString& text) {
    for (int i = 0; i < text.size(); ++i)
      if (!text[i].isSpace()) return text[i] == QLatin1Char('!') ? -1 : i;
    return -1;
  }
  static int WordEnd(const QString& text, int at) {
    while (at < text.size() && !text[at].isSpace()) ++at;
    return at;
  }
  // A name, a number on SFAC and three coordinates.
  static bool IsAtom(const std::string& line) {
    std::vector<std::string_view> words;
    SplitWords(line, words);
    double value = 0.0;
    const auto isNumber = [&](std::string_view word) { return ParseWholeNumber(word, value); };
    return words.size() >= 5 && !isNumber(words[0]) && std::all_of(words.begin() + 1, words.begin() + 5, isNumber);
  }

  std::function<bool(int)> isWrong_;
  QTextCharFormat keyword_, atom_, remark_, unknown_;
};

}  // namespace

// The numbers of the lines, and the marks.
class LineMargin : public QWidget {
 public:
  explicit LineMargin(InstructionsEditor& editor) : QWidget(&editor), editor_(editor) {}
  QSize sizeHint() const override { return {editor_.MarginWidth(), 0}; }

 protected:
  void paintEvent(QPaintEvent* event) override { editor_.PaintMargin(event, *this); }
  void mousePressEvent(QMouseEvent* event) override {
    if (const int line = editor_.LineAtY(qRound(event->position().y())); line >= 0) Q_EMIT editor_.MarkClicked(line);
  }
  bool event(QEvent* event) override {
    if (event->type() != QEvent::ToolTip) return QWidget::event(event);
    auto* help = static_cast<QHelpEvent*>(event);
    return editor_.ShowTip(help->pos(), help->globalPos(), *this);
  }

 private:
  InstructionsEditor& editor_;
};

InstructionsEditor::InstructionsEditor(QWidget* parentWidget) : QPlainTextEdit(parentWidget) {
  setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  setLineWrapMode(NoWrap);
  setAccessibleName(tr("Instructions"));
  colours_ = new Colours(document(), IsDark(palette()), [this](int line) { return IsWrong(line); });
  margin_ = new LineMargin(*this);
  connect(this, &QPlainTextEdit::blockCountChanged, this, [this] { setViewportMargins(MarginWidth(), 0, 0, 0); });
  connect(this, &QPlainTextEdit::updateRequest, this, [this](const QRect& rectangle, int dy) {
    dy ? margin_->scroll(0, dy) : margin_->update(0, rectangle.y(), margin_->width(), rectangle.height());
  });
  connect(document(), &QTextDocument::contentsChange, this,
          [this](int position, int, int added) { NoteChange(position, added); });
  connect(document(), &QTextDocument::contentsChanged, this, [this] {
    if (!quiet_ && changed_.first >= 0) Q_EMIT Typed();
  });
  setViewportMargins(MarginWidth(), 0, 0, 0);
}

QString InstructionsEditor::Shown(std::string_view line, bool utf8) {
  const QByteArrayView view(line.data(), static_cast<qsizetype>(line.size()));
  QString text = utf8 ? QString::fromUtf8(view) : QString::fromLatin1(view);
  for (QChar& c : text) {
    if (c < QLatin1Char(' ') && c != QLatin1Char('\t')) c = QChar(char16_t(kPictures + c.unicode()));
    if (c.unicode() == 0x7F) c = QChar(kDelete);
    if (c == QChar::ParagraphSeparator || c == QChar::LineSeparator) c = QChar(u'\u2424');
    if (c.unicode() == 0xFDD0 || c.unicode() == 0xFDD1) c = QChar(QChar::ReplacementCharacter);
  }
  return text;
}

std::string InstructionsEditor::Bytes(QString line, bool utf8, bool mapControls) {
  for (QChar& c : line) {
    if (!mapControls) break;
    if (c.unicode() >= kPictures && c.unicode() < kPictures + 32) c = QChar(char16_t(c.unicode() - kPictures));
    if (c.unicode() == kDelete) c = QChar(u'\x7F');
  }
  const QByteArray latin = line.toLatin1();
  return !utf8 && QString::fromLatin1(latin) == line ? latin.toStdString() : line.toStdString();
}

QString InstructionsEditor::LineText(int line) const {
  return document()->findBlockByNumber(line).text();
}

void InstructionsEditor::Replace(int first, int count, const QStringList& lines) {
  QTextCursor cursor(document());
  const int blocks = blockCount();
  const auto start = [this](int line) { return document()->findBlockByNumber(line).position(); };
  const auto end = [this](int line) {
    const QTextBlock block = document()->findBlockByNumber(line);
    return block.position() + block.length() - 1;
  };
  QString text = lines.join(QLatin1Char('\n'));
  const int behind = first + count;
  int from = first < blocks ? start(first) : end(blocks - 1);
  int to = count > 0 ? end(behind - 1) : from;
  if (count == 0 && !lines.isEmpty()) text = first < blocks ? text + QLatin1Char('\n') : QLatin1Char('\n') + text;
  if (lines.isEmpty() && count > 0) {
    if (behind < blocks) {
      to = start(behind);
    } else if (first > 0) {
      from = end(first - 1);
    }
  }
  cursor.setPosition(from);
  cursor.setPosition(to, QTextCursor::KeepAnchor);
  cursor.insertText(text);
}

void InstructionsEditor::ShowLines(int first, int count, const QStringList& lines) {
  const QScopedValueRollback<bool> quiet(quiet_, true);
  if (first == 0 && count >= blockCount()) {
    setPlainText(lines.join(QLatin1Char('\n')));
  } else {
    Replace(first, count, lines);
  }
  document()->clearUndoRedoStacks();
}

void InstructionsEditor::TypeLines(int first, int count, const QStringList& lines) {
  Replace(first, count, lines);
}

void InstructionsEditor::NoteChange(int position, int added) {
  if (quiet_) return;
  const int first = document()->findBlock(position).blockNumber();
  const QTextBlock last = document()->findBlock(position + added);
  const int behind = last.isValid() ? blockCount() - 1 - last.blockNumber() : 0;
  changed_ = changed_.first < 0 ? Changed{first, behind}
                                : Changed{std::min(first, changed_.first), std::min(behind, changed_.behind)};
}

void InstructionsEditor::SetUnchanged() {
  changed_ = {};
  document()->clearUndoRedoStacks();
}

void InstructionsEditor::SetMarks(std::map<int, Mark> marks) {
  marks_.swap(marks);
  const QScopedValueRollback<bool> quiet(quiet_, true);
  const auto recolour = [this](int line) { colours_->rehighlightBlock(document()->findBlockByNumber(line)); };
  const auto wasWrong = [&marks](int line) {
    const auto before = marks.find(line);
    return before != marks.end() && before->second.level == FindingLevel::Error;
  };
  for (const auto& [line, mark] : marks_)
    if (IsWrong(line) != wasWrong(line)) recolour(line);
  for (const auto& [line, mark] : marks)
    if (!marks_.contains(line) && wasWrong(line)) recolour(line);
  margin_->update();
}

bool InstructionsEditor::IsWrong(int line) const {
  const auto mark = marks_.find(line);
  return mark != marks_.end() && mark->second.level == FindingLevel::Error;
}

void InstructionsEditor::SetSelectedLines(const std::vector<std::pair<int, int>>& lines) {
  QList<QTextEdit::ExtraSelection> selections;
  QColor colour = palette().color(QPalette::Highlight);
  colour.setAlpha(70);
  for (const auto& [first, last] : lines) {
    for (int line = first; line <= last && selections.size() < kMostSelectedLines; ++line) {
      QTextEdit::ExtraSelection selection;
      selection.format.setBackground(colour);
      selection.format.setProperty(QTextFormat::FullWidthSelection, true);
      selection.cursor = QTextCursor(document()->findBlockByNumber(line));
      selections.push_back(selection);
    }
  }
  setExtraSelections(selections);
}

void InstructionsEditor::GoTo(int line) {
  setTextCursor(QTextCursor(document()->findBlockByNumber(std::clamp(line, 0, blockCount() - 1))));
  centerCursor();
}

int InstructionsEditor::MarginWidth() const {
  const int digits = static_cast<int>(QString::number(std::max(999, blockCount())).size());
  return fontMetrics().horizontalAdvance(QLatin1Char('9')) * digits + fontMetrics().height() + 6;
}

int InstructionsEditor::LineAtY(int y) const {
  for (QTextBlock block = firstVisibleBlock(); block.isValid(); block = block.next()) {
    const QRectF box = blockBoundingGeometry(block).translated(contentOffset());
    if (box.top() > y) break;
    if (box.bottom() > y) return block.blockNumber();
  }
  return -1;
}

void InstructionsEditor::PaintMargin(QPaintEvent* event, QWidget& margin) {
  QPainter painter(&margin);
  painter.fillRect(event->rect(), palette().color(QPalette::AlternateBase));
  painter.setRenderHint(QPainter::Antialiasing);
  const int height = fontMetrics().height();
  for (QTextBlock block = firstVisibleBlock(); block.isValid(); block = block.next()) {
    const QRectF box = blockBoundingGeometry(block).translated(contentOffset());
    if (box.top() > event->rect().bottom()) break;
    const int line = block.blockNumber();
    painter.setPen(palette().color(QPalette::PlaceholderText));
    painter.drawText(QRectF(height, box.top(), margin.width() - height - 4, height), Qt::AlignRight,
                     QString::number(line + 1));
    const auto mark = marks_.find(line);
    if (mark == marks_.end()) continue;
    painter.setPen(Qt::NoPen);
    painter.setBrush(FindingList::ColourOf(mark->second.level));
    const double side = height * 0.55;
    painter.drawEllipse(QRectF((height - side) / 2 + 1, box.top() + (height - side) / 2, side, side));
  }
}

bool InstructionsEditor::ShowTip(const QPoint& place, const QPoint& global, QWidget& over) {
  const int line = LineAtY(place.y());
  const auto mark = marks_.find(line);
  const KeywordRow& row = RowOf(HeadOf(LineText(line).toStdString()).keyword);
  QString text = mark != marks_.end() ? mark->second.text : QString();
  if (text.isEmpty() && !row.meaning.empty())
    text = ToText(row.spelling).trimmed() + QStringLiteral(": ") + ToText(row.meaning);
  text.isEmpty() ? QToolTip::hideText() : QToolTip::showText(global, text, &over);
  return true;
}

bool InstructionsEditor::viewportEvent(QEvent* event) {
  if (event->type() != QEvent::ToolTip) return QPlainTextEdit::viewportEvent(event);
  const auto* help = static_cast<QHelpEvent*>(event);
  return ShowTip(help->pos(), help->globalPos(), *viewport());
}

bool InstructionsEditor::event(QEvent* event) {
  // Undo of what the structure has taken over is the program's.
  if (event->type() == QEvent::ShortcutOverride && changed_.first < 0) {
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->matches(QKeySequence::Undo) || key->matches(QKeySequence::Redo)) {
      event->ignore();
      return true;
    }
  }
  return QPlainTextEdit::event(event);
}

void InstructionsEditor::resizeEvent(QResizeEvent* event) {
  QPlainTextEdit::resizeEvent(event);
  const QRect inside = contentsRect();
  margin_->setGeometry(inside.left(), inside.top(), MarginWidth(), inside.height());
}

void InstructionsEditor::focusOutEvent(QFocusEvent* event) {
  QPlainTextEdit::focusOutEvent(event);
  if (event->reason() != Qt::PopupFocusReason) Q_EMIT FocusLeft();
}

}  // namespace marvik

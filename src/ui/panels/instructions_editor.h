#pragma once

#include <QPlainTextEdit>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "check/finding.h"

class QSyntaxHighlighter;

namespace marvik {

// The text of an instruction file line by line: coloured by what the program understood, with their numbers and a mark
// beside each that has a finding. It knows which lines the user has changed since they were shown.
class InstructionsEditor : public QPlainTextEdit {
  Q_OBJECT

 public:
  explicit InstructionsEditor(QWidget* parentWidget = nullptr);

  // Lines as they are to be shown: control characters by their pictures.
  static QString Shown(std::string_view line, bool utf8);
  static std::string Bytes(QString line, bool utf8, bool mapControls);

  // Not the user's doing: `count` lines from `first` on give way to others. All other lines and the cursor stay.
  void ShowLines(int first, int count, const QStringList& lines);
  // The user's doing, as if it were typed.
  void TypeLines(int first, int count, const QStringList& lines);
  QString LineText(int line) const;

  // What lies between the first and the last changed line, the latter counted from the end; first < 0 without any.
  struct Changed {
    int first = -1;
    int behind = 0;
  };
  Changed ChangedLines() const { return changed_; }
  void SetChanged(int first, int behind) { changed_ = {first, behind}; }
  void SetUnchanged();

  // The sentences beside each line, and the most serious level.
  struct Mark {
    FindingLevel level = FindingLevel::Note;
    QString text;
  };
  void SetMarks(std::map<int, Mark> marks);
  // Lines behind which something is selected.
  void SetSelectedLines(const std::vector<std::pair<int, int>>& lines);
  void GoTo(int line);

 Q_SIGNALS:
  // The user has changed the text.
  void Typed();
  void FocusLeft();
  void MarkClicked(int line);

 protected:
  bool event(QEvent* event) override;
  bool viewportEvent(QEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;

 private:
  friend class LineMargin;
  void Replace(int first, int count, const QStringList& lines);
  void NoteChange(int position, int added);
  void PaintMargin(QPaintEvent* event, QWidget& margin);
  int MarginWidth() const;
  int LineAtY(int y) const;
  bool IsWrong(int line) const;
  bool ShowTip(const QPoint& place, const QPoint& global, QWidget& over);

  QWidget* margin_ = nullptr;
  QSyntaxHighlighter* colours_ = nullptr;
  std::map<int, Mark> marks_;
  Changed changed_;
  bool quiet_ = false;
};

}  // namespace marvik

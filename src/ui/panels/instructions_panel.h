#pragma once

#include <QTimer>

#include "app/structure_text.h"
#include "check/finding.h"
#include "ui/background.h"
#include "ui/panels/panel_set.h"

class QLabel;
class QSplitter;
class QTreeWidgetItem;

namespace marvik {

class FindingList;
class InstructionsEditor;

// The file as a save would write it, live: what is typed becomes part of the structure when the typing pauses, in one
// step of undo; what is done elsewhere changes the lines that it concerns. The findings stand beside their lines and in
// a list, those that can be repaired with a click for it. The cursor and the picture select the same atoms.
class InstructionsPanel : public Panel {
  Q_OBJECT

 public:
  InstructionsPanel(Workbench& bench, CommandRunner run);
  void Follow() override;

  // Takes over what was typed; a text that cannot be read stays as it is, with a word on it. False then.
  bool TakeOver();
  // The same before something else is done with the structure: asks whether it may go on without such a text.
  bool Settle() override;

  InstructionsEditor& Editor() { return *editor_; }
  // Whether findings are still being looked for.
  bool IsBusy() const { return lintTimer_.isActive() || takeTimer_.isActive() || background_.IsBusy(); }

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  // What the text was composed from.
  struct Source {
    unsigned changes = 0;
    std::shared_ptr<const SourceLayout> layout;
    FileLayout saveLayout = FileLayout::AsRead;
    std::string file;
    friend bool operator==(const Source&, const Source&) = default;
  };
  Source SourceNow() const;
  void ShowText(bool anew);
  // What is typed as an edit of the text that was shown; nothing when it is the same.
  struct Edit {
    size_t first = 0;
    size_t count = 0;
    std::vector<std::string> lines;
  };
  std::optional<Edit> TypedEdit() const;
  std::string EditedText() const;
  QStringList Shown(const TextLines& text, size_t first, size_t behind) const;
  void LookForFindings();
  void ShowFindings(std::vector<Finding> findings);
  void AddFinding(const Finding& finding);
  void Chosen(QTreeWidgetItem* item, int column);
  void Repair(const TextEdit& edit);
  void Say(const QString& text, bool wrong);

  const std::vector<AtomLines>& LinesOfAtoms();
  void SelectAtCursor();
  void ShowSelection(bool anew);

  Workbench& bench_;
  CommandRunner run_;
  InstructionsEditor* editor_ = nullptr;
  QSplitter* splitter_ = nullptr;
  FindingList* list_ = nullptr;
  QLabel* state_ = nullptr;
  QTimer takeTimer_;
  QTimer lintTimer_;
  QTimer cursorTimer_;
  Background background_;

  std::optional<Source> source_;
  TextLines base_;  // the text of the structure, which the editor shows but for what is being typed
  bool utf8_ = true;
  bool hasControls_ = false;
  bool taking_ = false;
  unsigned version_ = 0;  // of what the editor shows
  std::vector<Finding> findings_;
  std::optional<std::vector<AtomLines>> atomLines_;  // of the base
  std::vector<uint32_t> selected_;
};

}  // namespace marvik

#pragma once

#include "base/files.h"
#include "check/finding.h"
#include "ui/background.h"
#include "ui/panels/panel_set.h"

class QComboBox;
class QLabel;
class QPushButton;
class QSplitter;
class QTextBrowser;
class QTreeWidgetItem;

namespace marvik {

class FindingList;

// What an editor would say of the CIF that belongs to the structure; looked at anew whenever the file is another. A
// finding selects its atoms in the picture and is explained below the list.
class JournalPanel : public Panel {
  Q_OBJECT

 public:
  JournalPanel(Workbench& bench, CommandRunner run);
  void Follow() override;
  bool IsBusy() const { return background_.IsBusy(); }

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  // A file, and the list of reflections beside it, as they were when they were looked at.
  struct Source {
    std::string cif;
    std::optional<FileStamp> stamp, listStamp;
    friend bool operator==(const Source&, const Source&) = default;
  };
  void Check();
  void ShowList();
  void Say();
  void Chosen(const QTreeWidgetItem* item);
  void Reply();

  Workbench& bench_;
  CommandRunner run_;
  QLabel* state_ = nullptr;
  QComboBox* levels_ = nullptr;
  QPushButton* reply_ = nullptr;
  FindingList* list_ = nullptr;
  QTextBrowser* details_ = nullptr;
  QSplitter* splitter_ = nullptr;
  Background background_;
  std::optional<Source> source_;
  bool readable_ = false;
  std::vector<Finding> findings_;
};

}  // namespace marvik

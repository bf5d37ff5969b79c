#pragma once

#include <QDialog>
#include <QList>

#include "app/workbench.h"

class QLineEdit;
class QTreeWidget;
class QTreeWidgetItem;

namespace marvik {

// Finds a command by what its name, its menu or its synonyms say; those used last stand first. Enter runs the marked
// one. What cannot be done now is grey and says what it needs.
class CommandPalette : public QDialog {
  Q_OBJECT

 public:
  // `recent` are numbers of commands, the latest first.
  CommandPalette(QWidget* parentWidget, const Workbench& bench, const QList<int>& recent);
  // The number of the command that was chosen, 0 for none.
  int Chosen() const { return chosen_; }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  struct Entry {
    int id = 0;
    QString name;
    QString menu;  // where it stands, "View > Labels"
    QString key;
    QString reason;  // why it cannot be done now, "" where it can
    QString words;   // everything that it is found by, lower case
    int rank = 0;    // place among the recent ones, larger for all others
  };
  void Collect(const Workbench& bench, const QList<int>& recent);
  void ShowMatches();
  void Choose(QTreeWidgetItem* item);

  QList<Entry> entries_;
  QLineEdit* line_ = nullptr;
  QTreeWidget* list_ = nullptr;
  int chosen_ = 0;
};

}  // namespace marvik

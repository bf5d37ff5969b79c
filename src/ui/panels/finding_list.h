#pragma once

#include <QTreeWidget>

#include "check/finding.h"

namespace marvik {

// Findings as rows: a mark in front that says where or how grave, the sentence, and a cell for whoever shows them.
class FindingList : public QTreeWidget {
 public:
  enum Column { kMarkColumn, kTextColumn, kLastColumn };

  FindingList(const QString& mark, const QString& last);
  // `index` is what IndexOf gives again.
  QTreeWidgetItem* Add(const Finding& finding, size_t index, const QString& mark);
  static size_t IndexOf(const QTreeWidgetItem& item);
  static QColor ColourOf(FindingLevel level);
};

}  // namespace marvik

#include "ui/panels/finding_list.h"

#include <QHeaderView>

#include "ui/text.h"

namespace marvik {

FindingList::FindingList(const QString& mark, const QString& last) {
  setObjectName(QStringLiteral("findings"));
  setAccessibleName(QObject::tr("Findings"));
  setHeaderLabels({mark, QObject::tr("Finding"), last});
  setRootIsDecorated(false);
  setUniformRowHeights(true);
  header()->setStretchLastSection(false);
  header()->setSectionResizeMode(kTextColumn, QHeaderView::Stretch);
  header()->setSectionResizeMode(kLastColumn, QHeaderView::ResizeToContents);
  setColumnWidth(kMarkColumn, fontMetrics().horizontalAdvance(QLatin1Char('0')) * 8);
}

QTreeWidgetItem* FindingList::Add(const Finding& finding, size_t index, const QString& mark) {
  auto* item = new QTreeWidgetItem(this, {mark, ToText(finding.text), QString()});
  item->setForeground(kMarkColumn, ColourOf(finding.level));
  item->setData(kMarkColumn, Qt::UserRole, static_cast<int>(index));
  for (const int column : {kMarkColumn, kTextColumn, kLastColumn}) item->setToolTip(column, ToText(finding.repair));
  return item;
}

size_t FindingList::IndexOf(const QTreeWidgetItem& item) {
  return static_cast<size_t>(item.data(kMarkColumn, Qt::UserRole).toInt());
}

QColor FindingList::ColourOf(FindingLevel level) {
  switch (level) {
    case FindingLevel::A:
    case FindingLevel::Error:
      return {0xD9, 0x30, 0x25};
    case FindingLevel::B:
    case FindingLevel::Warning:
      return {0xE0, 0x8A, 0x00};
    default:
      return {0x3B, 0x7D, 0xD8};
  }
}

}  // namespace marvik

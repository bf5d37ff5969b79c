#include "ui/panels/structure_panel.h"

#include <QFormLayout>
#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>

#include "ui/text.h"

namespace marvik {

StructurePanel::StructurePanel(const Workbench& bench) : bench_(bench) {
  auto* inside = new QWidget;
  rows_ = new QFormLayout(inside);
  rows_->setRowWrapPolicy(QFormLayout::WrapAllRows);
  rows_->setVerticalSpacing(2);
  rows_->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
  auto* scroll = new QScrollArea;
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setWidget(inside);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(scroll);
}

// The axes of a cell in one line.
QSize StructurePanel::sizeHint() const {
  return OfWidth(fontMetrics().averageCharWidth() * 42);
}

void StructurePanel::Follow() {
  auto facts = StructureFacts(bench_.document);
  if (facts.empty()) facts.push_back({"", "No structure is open."});
  if (facts == shown_) return;
  while (rows_->rowCount() > 0) rows_->removeRow(0);
  for (const StructureFact& fact : facts) {
    auto* value = new QLabel(ToText(fact.value));
    value->setTextFormat(Qt::PlainText);
    value->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    value->setWordWrap(true);
    value->setAccessibleName(Translated(fact.caption));
    value->setContentsMargins(8, 0, 0, 4);
    auto* caption = new QLabel(Translated(fact.caption));
    caption->setForegroundRole(QPalette::PlaceholderText);
    rows_->addRow(caption, value);
  }
  shown_ = std::move(facts);
}

}  // namespace marvik

#include "app/ui/dialogs/argument_dialogs.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QVBoxLayout>

#include "app/ui/text.h"

namespace marvik {
namespace {

struct Prompt {
  const char* argument;  // as the command table names it
  const char* text;
};
constexpr Prompt kPrompts[] = {
    {"ATOMS", "Atoms to select: names, with * and ?, ranges such as C1 > C6, $C for an element"},
    {"ATOM", "Atom:"},
    {"FILE", "File:"},
    {"WIDTH", "Bond width in Å:"},
    {"A,A,B,B,C,C", "Limits along a, b and c, in cells: 0,1,0,1,0,1"},
};

QString PromptOf(const CommandRow& row) {
  for (const Prompt& prompt : kPrompts) {
    if (std::string_view(prompt.argument) == row.argument) return QString::fromUtf8(prompt.text);
  }
  return QString::fromUtf8(row.argument);
}

}  // namespace

std::optional<int> AskDepthCueLevel(QWidget* parent, int level) {
  QDialog dialog(parent);
  dialog.setWindowTitle(QDialog::tr("Z Level Depth Cue"));
  auto* bar = new QScrollBar(Qt::Horizontal);
  bar->setRange(0, 100);
  bar->setSingleStep(1);
  bar->setPageStep(10);
  bar->setValue(level);
  bar->setMinimumWidth(320);
  bar->setFocusPolicy(Qt::StrongFocus);
  bar->setInvertedControls(false);  // the right arrow key raises the level
  auto* value = new QLabel(QString::number(bar->value()));
  value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  value->setMinimumWidth(value->fontMetrics().horizontalAdvance(QStringLiteral("0000")));
  QObject::connect(bar, &QScrollBar::valueChanged, value, qOverload<int>(&QLabel::setNum));
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
  QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);

  auto* line = new QHBoxLayout;
  line->addWidget(bar, 1);
  line->addWidget(value);
  auto* layout = new QVBoxLayout(&dialog);
  layout->addWidget(new QLabel(QDialog::tr("What is nearer or farther than this slab is drawn dimmer.")));
  layout->addLayout(line);
  layout->addWidget(buttons);
  layout->setSizeConstraint(QLayout::SetFixedSize);
  bar->setFocus();
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  return bar->value();
}

std::optional<std::string> AskCommandText(QWidget* parent, const CommandRow& row, const std::string& initial) {
  bool accepted = false;
  const QString text = QInputDialog::getText(parent, PlainCommandName(row.text), PromptOf(row), QLineEdit::Normal,
                                             ToText(initial), &accepted);
  if (!accepted || text.trimmed().isEmpty()) return std::nullopt;
  return ToBytes(text.trimmed());
}

}  // namespace marvik

#include "ui/dialogs/argument_dialogs.h"

#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QRadioButton>
#include <QScrollBar>
#include <QVBoxLayout>
#include <array>

#include "edit/edit_fields.h"
#include "ui/text.h"

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
    {"FRONT,BACK|off", "Depths in Å before and behind the middle, such as 2,-2, or off:"},
};

QString PromptOf(const CommandRow& row) {
  for (const Prompt& prompt : kPrompts) {
    if (std::string_view(prompt.argument) == row.argument) return QString::fromUtf8(prompt.text);
  }
  return QString::fromUtf8(row.argument);
}

// What the command's own words are, where it has some.
QString TipOf(const CommandRow& row) {
  QStringList lines;
  if (row.fields)
    for (const FieldRange& field : row.fields())
      lines << QStringLiteral("%1 = %2 %3").arg(ToText(field.key), ToText(field.caption), ToText(ValuesOf(field)));
  return lines.isEmpty() ? PromptOf(row) : lines.join(QLatin1Char('\n'));
}

QDialogButtonBox* Buttons(QDialog& dialog) {
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
  QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  return buttons;
}

}  // namespace

std::optional<int> AskDepthCueLevel(QWidget* parent, int level) {
  QDialog dialog(parent);
  dialog.setWindowTitle(QDialog::tr("Z Level Depth Cue"));
  dialog.setObjectName(QStringLiteral("depth-cue"));
  auto* bar = new QScrollBar(Qt::Horizontal);
  bar->setObjectName(QStringLiteral("level"));
  bar->setAccessibleName(QDialog::tr("Thickness of the slab"));
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

  auto* line = new QHBoxLayout;
  line->addWidget(bar, 1);
  line->addWidget(value);
  auto* layout = new QVBoxLayout(&dialog);
  layout->addWidget(new QLabel(QDialog::tr("What is nearer or farther than this slab is drawn dimmer.")));
  layout->addLayout(line);
  layout->addWidget(Buttons(dialog));
  layout->setSizeConstraint(QLayout::SetFixedSize);
  bar->setFocus();
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  return bar->value();
}

std::optional<std::string> AskPackParameters(QWidget* parent, const std::string& text) {
  QDialog dialog(parent);
  dialog.setWindowTitle(QDialog::tr("Pack Parameters"));
  dialog.setObjectName(QStringLiteral("pack"));
  auto* grid = new QGridLayout;
  const QStringList before = ToText(text).split(QLatin1Char(','));
  const QLocale numbers = QLocale::c();
  std::array<QDoubleSpinBox*, 6> limits{};
  for (int i = 0; i < 6; ++i) {
    auto* box = new QDoubleSpinBox;
    box->setObjectName(QLatin1String(i % 2 ? "high" : "low") + QLatin1Char("abc"[i / 2]));
    box->setLocale(numbers);
    box->setRange(-50.0, 50.0);
    box->setSingleStep(0.5);
    box->setDecimals(2);
    const double usual = i % 2;
    box->setValue(before.size() >= 6 ? numbers.toDouble(before[i]) : usual);
    limits[static_cast<size_t>(i)] = box;
    if (i % 2 == 0) {
      auto* axis = new QLabel(QStringLiteral("Along &%1:").arg(QLatin1Char("abc"[i / 2])));
      axis->setBuddy(box);
      grid->addWidget(axis, i / 2, 0);
    } else {
      box->setAccessibleName(QDialog::tr("Along %1 to").arg(QLatin1Char("abc"[i / 2])));
      grid->addWidget(new QLabel(QDialog::tr("to")), i / 2, 2);
    }
    grid->addWidget(box, i / 2, i % 2 ? 3 : 1);
  }
  auto* molecules = new QRadioButton(QDialog::tr("Whole &molecules whose middle is inside"));
  auto* single = new QRadioButton(QDialog::tr("&Single atoms inside"));
  molecules->setObjectName(QStringLiteral("molecules"));
  single->setObjectName(QStringLiteral("single"));
  (before.size() == 7 ? single : molecules)->setChecked(true);

  auto* layout = new QVBoxLayout(&dialog);
  layout->addWidget(new QLabel(QDialog::tr("The box to fill, in unit cells:")));
  layout->addLayout(grid);
  layout->addWidget(molecules);
  layout->addWidget(single);
  layout->addWidget(Buttons(dialog));
  layout->setSizeConstraint(QLayout::SetFixedSize);
  limits[0]->setFocus();
  limits[0]->selectAll();
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  QStringList words;
  for (const QDoubleSpinBox* box : limits) words << numbers.toString(box->value(), 'g', 6);
  if (single->isChecked()) words << QStringLiteral("atoms");
  return ToBytes(words.join(QLatin1Char(',')));
}

std::optional<std::string> AskCommandText(QWidget* parent, const CommandRow& row, const std::string& initial) {
  QInputDialog dialog(parent);
  dialog.setWindowTitle(PlainCommandName(row.text));
  dialog.setLabelText(PromptOf(row));
  dialog.setTextValue(ToText(initial));
  dialog.findChild<QLineEdit*>()->setToolTip(TipOf(row));
  if (dialog.exec() != QDialog::Accepted || dialog.textValue().trimmed().isEmpty()) return std::nullopt;
  return ToBytes(dialog.textValue().trimmed());
}

}  // namespace marvik

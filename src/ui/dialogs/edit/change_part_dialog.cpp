#include "ui/dialogs/edit/change_part_dialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <cstdlib>

#include "base/numbers.h"
#include "edit/edit_part.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr int kPlaces = 6;

QString VariableText(int variable, bool isNew) {
  if (variable == 0) return QDialog::tr("refined by itself");
  if (variable == 1) return QDialog::tr("held fixed");
  const QString name = isNew ? QDialog::tr("new free variable %1") : QDialog::tr("free variable %1");
  const QString text = name.arg(std::abs(variable));
  return variable > 0 ? text : QDialog::tr("1 - %1").arg(text);
}

}  // namespace

ChangePartDialog::ChangePartDialog(QWidget* parentWidget, Workbench& bench, Runner run)
    : EditForm(parentWidget, tr("Disorder Part Number")), bench_(bench), run_(std::move(run)) {
  setObjectName(QStringLiteral("part"));
  auto* fields = new QFormLayout;
  atoms_ = new QLabel;
  atoms_->setMinimumWidth(260);
  fields->addRow(tr("Selected:"), atoms_);
  part_ = AddField("part", {});
  fields->addRow(CaptionOf("part", tr("&PART:")), part_);
  occupancy_ = AddField("occupancy", {});
  fields->addRow(CaptionOf("occupancy", tr("&Occupancy:")), occupancy_);
  variable_ = new QComboBox;
  variable_->setObjectName(QStringLiteral("fvar"));
  auto* times = new QLabel(tr("&times:"));
  times->setBuddy(variable_);
  fields->addRow(times, variable_);
  value_ = AddField("value", {});
  fields->addRow(CaptionOf("value", tr("&Value of the variable:")), value_);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Apply | QDialogButtonBox::Close);
  QPushButton* apply = buttons->button(QDialogButtonBox::Apply);
  apply->setDefault(true);
  connect(apply, &QPushButton::clicked, this, &ChangePartDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(variable_, &QComboBox::currentIndexChanged, this, &ChangePartDialog::ShowValue);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(fields);
  layout->addWidget(buttons);
  layout->setSizeConstraint(QLayout::SetFixedSize);
  setTabOrder(part_, occupancy_);
  setTabOrder(occupancy_, variable_);
  setTabOrder(variable_, value_);
  setTabOrder(value_, apply);
  Follow();
}

std::vector<AtomRecord*> ChangePartDialog::Selected() const {
  const AtomArray& selection = bench_.document.atoms.selection;
  return {selection.begin(), selection.end()};
}

void ChangePartDialog::FillVariables(int chosen) {
  const int next = static_cast<int>(bench_.document.instructions.freeVariables.size()) + 2;
  const QSignalBlocker quiet(variable_);
  variable_->clear();
  for (const int plain : {0, 1}) variable_->addItem(VariableText(plain, false), plain);
  for (int number = 2; number <= next; ++number) {
    for (const int sign : {1, -1}) variable_->addItem(VariableText(sign * number, number == next), sign * number);
  }
  variable_->setCurrentIndex(variable_->findData(chosen));
}

void ChangePartDialog::ShowValue() {
  const int number = std::abs(variable_->currentData().toInt());
  const auto& variables = bench_.document.instructions.freeVariables;
  const size_t index = static_cast<size_t>(std::max(number - 2, 0));
  value_->setEnabled(number >= 2);
  const bool known = number >= 2 && index < variables.size();
  value_->setText(known ? ToText(FieldText(static_cast<double>(variables[index]), kPlaces))
                        : QLatin1String(number >= 2 ? "0.5" : ""));
}

void ChangePartDialog::Follow() {
  const std::vector<AtomRecord*> atoms = Selected();
  const PartChange state = PartOf(bench_.document, atoms);
  std::string now;
  for (const AtomRecord* atom : atoms) AppendPrintf(now, "%u ", atom->serial);
  AppendPrintf(now, "%d %d %g %g", state.part.value_or(-9999), state.fvar.value_or(0), state.occupancy.value_or(0.0),
               state.value.value_or(0.0));
  AppendPrintf(now, " %zu", bench_.document.instructions.freeVariables.size());
  if (now == shown_) return;
  shown_ = now;
  constexpr size_t kMostNamed = 6;
  QStringList names;
  for (size_t i = 0; i < std::min(atoms.size(), kMostNamed); ++i) names << ToText(atoms[i]->name);
  if (atoms.size() > kMostNamed) names << tr("and %1 more").arg(atoms.size() - kMostNamed);
  atoms_->setText(names.isEmpty() ? tr("no atoms") : names.join(QLatin1Char(' ')));
  part_->setText(state.part ? QString::number(*state.part) : QString());
  occupancy_->setText(state.occupancy ? ToText(FieldText(*state.occupancy, kPlaces)) : QString());
  FillVariables(state.fvar.value_or(0));
  ShowValue();
}

EditArguments ChangePartDialog::Arguments() const {
  EditArguments arguments = Entered();
  std::erase_if(arguments.fields,
                [this](const EditArguments::Field& field) { return field.key == "value" && !value_->isEnabled(); });
  arguments.fields.push_back({"fvar", ToBytes(variable_->currentData().toString())});
  return arguments;
}

void ChangePartDialog::accept() {
  const EditArguments arguments = Arguments();
  EditFault fault;
  if (Selected().empty()) {
    fault = {"", "You must have at least one atom selected!"};
  } else {
    ParsePartChange(bench_.document, arguments, fault);
  }
  if (!Accepts(fault)) return;
  run_(kChangePartCommand, JoinEditArguments(arguments));
  Follow();
}

}  // namespace marvik

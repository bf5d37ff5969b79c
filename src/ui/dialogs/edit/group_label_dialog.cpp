#include "ui/dialogs/edit/group_label_dialog.h"

#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

#include "edit/edit_label.h"
#include "ui/dialogs/edit/edit_form.h"
#include "ui/text.h"

namespace marvik {
namespace {

EditFault Plan(const Document& document, const std::vector<AtomRecord*>& atoms, const EditArguments& arguments,
               LabelPlan& plan) {
  EditFault fault;
  const auto label = ParseGroupLabel(arguments, fault);
  if (!label) return fault;
  plan = PlanGroupLabels(document, atoms, *label);
  return plan.fault;
}

QString Preview(const LabelPlan& plan) {
  constexpr size_t kMostShown = 6;
  QStringList pairs;
  for (size_t i = 0; i < std::min(plan.names.size(), kMostShown); ++i) {
    pairs << QDialog::tr("%1 becomes %2").arg(ToText(plan.names[i].first->name), ToText(plan.names[i].second));
  }
  if (plan.names.size() > kMostShown) pairs << QDialog::tr("and %1 more").arg(plan.names.size() - kMostShown);
  return pairs.join(QLatin1Char('\n'));
}

}  // namespace

std::optional<std::string> AskGroupLabel(QWidget* parent, const Document& document,
                                         const std::vector<AtomRecord*>& atoms, const std::string& initial) {
  EditForm form(parent, QDialog::tr("Atom Group Labeling"));
  form.setObjectName(QStringLiteral("group-label"));
  const EditArguments before = SplitEditArguments(initial);
  const auto text = [&before](const char* key, const char* usual) {
    const std::string* value = before.Find(key);
    return ToText(value ? *value : usual);
  };
  auto* fields = new QFormLayout;
  const auto add = [&](const char* key, const QString& caption, const QString& value) {
    QLineEdit* field = form.AddField(key, value);
    fields->addRow(form.CaptionOf(key, caption), field);
    return field;
  };
  QLineEdit* prefix = add("prefix", QDialog::tr("&Prefix:"), text("prefix", ""));
  prefix->setPlaceholderText(QDialog::tr("the element"));
  QLineEdit* first = add("first", QDialog::tr("&First number:"), text("first", "1"));
  QLineEdit* suffix = add("suffix", QDialog::tr("&Suffix:"), text("suffix", ""));
  auto* preview = new QLabel;
  preview->setWordWrap(true);
  preview->setMinimumSize(300, preview->fontMetrics().lineSpacing() * 7);
  preview->setAlignment(Qt::AlignTop | Qt::AlignLeft);
  const auto show = [&] {
    LabelPlan plan;
    const EditFault fault = Plan(document, atoms, form.Entered(), plan);
    preview->setText(fault ? ToText(fault.text) : Preview(plan));
  };
  for (QLineEdit* field : {prefix, first, suffix}) QObject::connect(field, &QLineEdit::textChanged, preview, show);
  auto* layout = new QVBoxLayout(&form);
  layout->addWidget(new QLabel(QDialog::tr("Labels for %1 atoms in the order they were selected:").arg(atoms.size())));
  layout->addLayout(fields);
  layout->addWidget(preview);
  form.AddButtons(*layout);
  show();
  first->setFocus();
  first->selectAll();
  form.SetCheck([&](const EditArguments& arguments) {
    LabelPlan plan;
    return Plan(document, atoms, arguments, plan);
  });
  return form.Ask();
}

}  // namespace marvik

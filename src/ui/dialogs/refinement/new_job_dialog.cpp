#include "ui/dialogs/refinement/new_job_dialog.h"

#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

#include "app/refinement/new_job.h"
#include "ui/dialogs/edit/edit_form.h"
#include "ui/text.h"

namespace marvik {

std::optional<std::string> AskNewJob(QWidget* parent, const std::string& reflections) {
  const JobStart known = KnownOfJob(reflections);
  EditForm form(parent, QDialog::tr("New from Reflections"));
  form.setObjectName(QStringLiteral("new-job"));
  auto* fields = new QFormLayout;
  const char* const captions[] = {
      QT_TR_NOOP("&Reflections:"),
      QT_TR_NOOP("&Cell (Å, degrees):"),
      QT_TR_NOOP("&Wavelength (Å):"),
      QT_TR_NOOP("&Formula:"),
      QT_TR_NOOP("&Z:"),
      QT_TR_NOOP("&Title:"),
  };
  size_t i = 0;
  for (const EditArguments::Field& field : JobFields(reflections, known).fields) {
    QLineEdit* line = form.AddField(field.key.c_str(), ToText(field.value));
    line->setMinimumWidth(line->fontMetrics().averageCharWidth() * 60);
    line->setCursorPosition(0);
    if (field.key == "z") line->setPlaceholderText(QDialog::tr("what fits cell and formula"));
    if (field.key == "formula") line->setPlaceholderText(QStringLiteral("C10 H12 N2 O"));
    fields->addRow(form.CaptionOf(field.key.c_str(), QDialog::tr(captions[i++])), line);
  }
  auto* layout = new QVBoxLayout(&form);
  layout->addWidget(new QLabel(known.from.empty() ? QDialog::tr("Nothing beside the reflections says more of them.")
                                                  : QDialog::tr("As %1 says:").arg(ToText(known.from))));
  layout->addLayout(fields);
  form.AddButtons(*layout);
  form.SetCheck([&](const EditArguments& arguments) -> EditFault {
    JobStart start = known;
    if (EditFault fault = ApplyJobFields(arguments, start)) return fault;
    std::string sentence;
    if (!ComposeJobStart(start, sentence).empty()) return {};
    return {!start.cell ? "cell" : start.wavelength > 0.0 ? "formula" : "wavelength", sentence};
  });
  return form.Ask();
}

}  // namespace marvik

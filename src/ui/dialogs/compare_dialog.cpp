#include "ui/dialogs/compare_dialog.h"

#include <QComboBox>
#include <QDateTime>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLocale>

#include "app/refinement/refine_flow.h"
#include "base/files.h"
#include "edit/edit_fields.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr char kOther[] = "";

QComboBox* MakeList(const Workbench& bench, const char* usual) {
  auto* list = new QComboBox;
  list->setObjectName(QLatin1String(usual));
  list->addItem(QObject::tr("The structure as it is now"), QStringLiteral("current"));
  if (!bench.document.CurrentFile.empty())
    list->addItem(QObject::tr("The file %1").arg(ToText(bench.Title())), QStringLiteral("disk"));
  auto steps = StepHistory(JobBase(bench)).Steps();
  for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
    const QString time = QLocale().toString(QDateTime::fromSecsSinceEpoch(step->time), QLocale::ShortFormat);
    list->addItem(QObject::tr("Step %1 of the refinement history, R1 %2 (%3)")
                      .arg(step->number)
                      .arg(ToText(FigureText(step->r1, 4)), time),
                  QString::number(step->number));
  }
  list->addItem(QObject::tr("Another file..."), QLatin1String(kOther));
  list->setCurrentIndex(std::max(0, list->findData(QLatin1String(usual))));
  QObject::connect(list, &QComboBox::activated, list, [list, folder = bench.document.WorkingDirectory](int index) {
    if (list->itemData(index).toString() != QLatin1String(kOther)) return;
    const QString path =
        QFileDialog::getOpenFileName(list, QObject::tr("Compare"), PathToText(folder),
                                     QObject::tr("Instruction and Result Files (*.res *.ins *.RES *.INS)") +
                                         QStringLiteral(";;") + QObject::tr("All Files (*)"));
    if (!path.isEmpty()) list->insertItem(index, QFileInfo(path).fileName(), path);
    list->setCurrentIndex(path.isEmpty() ? 0 : index);
  });
  return list;
}

}  // namespace

std::optional<std::string> AskComparison(QWidget* parentWidget, const Workbench& bench) {
  QDialog dialog(parentWidget);
  dialog.setWindowTitle(QObject::tr("Compare"));
  dialog.setObjectName(QStringLiteral("compare"));
  QComboBox* before = MakeList(bench, "disk");
  QComboBox* after = MakeList(bench, "current");
  auto* layout = new QFormLayout(&dialog);
  layout->addRow(QObject::tr("&Older:"), before);
  layout->addRow(QObject::tr("&Newer:"), after);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
  QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  layout->addRow(buttons);
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  EditArguments arguments;
  arguments.fields = {{"old", PathToBytes(before->currentData().toString())},
                      {"new", PathToBytes(after->currentData().toString())}};
  return JoinEditArguments(arguments);
}

std::optional<std::string> AskSwing(QWidget* parentWidget, const Workbench& bench, const QString& folder) {
  QDialog dialog(parentWidget);
  dialog.setWindowTitle(QObject::tr("Save Swing"));
  dialog.setObjectName(QStringLiteral("compare"));
  QComboBox* before = MakeList(bench, "disk");
  before->removeItem(before->findData(QStringLiteral("current")));
  auto* note =
      new QLabel(QObject::tr("An animated PNG goes from that model to the present one and back, drawn as the "
                             "window shows it and as large as the last picture."));
  note->setWordWrap(true);
  auto* layout = new QFormLayout(&dialog);
  layout->addRow(note);
  layout->addRow(QObject::tr("&From:"), before);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel);
  QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
  QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  layout->addRow(buttons);
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  const QString name = QDir(folder).filePath(PathToText(BaseNameOf(bench.Title()) + "_swing.apng"));
  const QString path = QFileDialog::getSaveFileName(parentWidget, dialog.windowTitle(), name,
                                                    QObject::tr("Animated PNG pictures (*.apng *.png)"));
  if (path.isEmpty()) return std::nullopt;
  return JoinEditArguments({{{"old", PathToBytes(before->currentData().toString())}, {"file", PathToBytes(path)}}, ""});
}

}  // namespace marvik

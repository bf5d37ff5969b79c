#include "ui/dialogs/file_dialogs.h"

#include <QFileDialog>

namespace marvik {
namespace {

// "Results Files (*.RES) (*.RES *.res)": what the user sees, and in the last parentheses what matches, which some
// platforms take case for case.
QString ToolkitFilter(const FileFilter& filter) {
  const QString pattern = QString::fromUtf8(filter.pattern);
  QStringList patterns{pattern.toLower(), pattern.toUpper()};
  if (pattern == QLatin1String("*.*")) patterns = {QStringLiteral("*")};
  patterns.removeDuplicates();
  return QStringLiteral("%1 (%2)").arg(QString::fromUtf8(filter.text), patterns.join(QLatin1Char(' ')));
}

void SetUp(QFileDialog& dialog, const QString& directory, std::span<const FileFilter> filters) {
  QStringList names;
  for (const FileFilter& filter : filters) names << ToolkitFilter(filter);
  dialog.setOption(QFileDialog::HideNameFilterDetails);
  dialog.setNameFilters(names);
  dialog.setDirectory(directory);
}

QString SuffixOf(const QString& nameFilter) {
  for (const FileFilter& filter : kSaveFilters) {
    if (ToolkitFilter(filter) == nameFilter || nameFilter.startsWith(QString::fromUtf8(filter.text))) {
      return QString::fromUtf8(filter.pattern).mid(2);
    }
  }
  return QStringLiteral("ins");
}

std::optional<QString> Chosen(QFileDialog& dialog) {
  if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return std::nullopt;
  return dialog.selectedFiles().constFirst();
}

}  // namespace

std::optional<QString> OpenFileDialog(QWidget* parent, const QString& directory, std::span<const FileFilter> filters) {
  QFileDialog dialog(parent, QFileDialog::tr("Open a File"));
  dialog.setAcceptMode(QFileDialog::AcceptOpen);
  dialog.setFileMode(QFileDialog::ExistingFile);
  SetUp(dialog, directory, filters);
  return Chosen(dialog);
}

std::optional<QString> SaveFileDialog(QWidget* parent, const QString& directory, const QString& suggestedName,
                                      bool& standardLayout) {
  QFileDialog dialog(parent, QFileDialog::tr("Save a File"));
  dialog.setAcceptMode(QFileDialog::AcceptSave);
  dialog.setFileMode(QFileDialog::AnyFile);
  SetUp(dialog, directory, kSaveFilters);
  dialog.setDefaultSuffix(QStringLiteral("ins"));
  // A changed filter changes the extension that is added, and that of a name which has one of ours already.
  QObject::connect(&dialog, &QFileDialog::filterSelected, &dialog,
                   [&dialog](const QString& filter) { dialog.setDefaultSuffix(SuffixOf(filter)); });
  if (!suggestedName.isEmpty()) dialog.selectFile(suggestedName);
  const auto chosen = Chosen(dialog);
  standardLayout = dialog.selectedNameFilter().startsWith(QLatin1String(kStandardLayoutFilter));
  return chosen;
}

}  // namespace marvik

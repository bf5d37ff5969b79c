#include "ui/conquest.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include "base/files.h"
#include "ui/text.h"

namespace marvik {
namespace {

// Program and arguments of a desktop entry, without the field codes that stand for files; empty when it is of another
// program or cannot be run.
QStringList ProgramOf(const QString& desktopFile) {
  const FileContent file = ReadWholeFile(PathToBytes(desktopFile));
  bool isEntry = false;
  bool isConQuest = false;
  QStringList command;
  for (const QString& line : QString::fromUtf8(file.content.c_str()).split(QLatin1Char('\n'))) {
    if (line.startsWith(QLatin1Char('['))) isEntry = line.startsWith(QLatin1String("[Desktop Entry]"));
    if (!isEntry) continue;
    const QString value = line.section(QLatin1Char('='), 1).trimmed();
    const QString key = line.section(QLatin1Char('='), 0, 0).trimmed();
    if (key == QLatin1String("Name")) isConQuest = value.startsWith(QLatin1String("ConQuest"), Qt::CaseInsensitive);
    if (key == QLatin1String("Exec")) command = QProcess::splitCommand(value);
  }
  if (!isConQuest || command.isEmpty()) return {};
  command.removeIf([](const QString& word) { return word.size() == 2 && word.startsWith(QLatin1Char('%')); });
  command.front() = QStandardPaths::findExecutable(command.front());
  return command.front().isEmpty() ? QStringList() : command;
}

QStringList InstalledProgram() {
  for (const char* name : {"conquest", "cq"}) {
    const QString program = QStandardPaths::findExecutable(QLatin1String(name));
    if (!program.isEmpty()) return {program};
  }
  for (const QString& folder : QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation)) {
    for (const QFileInfo& entry : QDir(folder).entryInfoList({QStringLiteral("*conquest*.desktop")}, QDir::Files)) {
      const QStringList command = ProgramOf(entry.filePath());
      if (!command.isEmpty()) return command;
    }
  }
  return {};
}

}  // namespace

std::optional<QStringList> ConQuestCommand(const std::string& queryFile) {
  QStringList command = InstalledProgram();
  if (command.isEmpty()) return std::nullopt;
  return command << QFileInfo(PathToText(queryFile)).absoluteFilePath();
}

void StartConQuest(const std::string& queryFile, UserMessages& messages) {
  auto command = ConQuestCommand(queryFile);
  if (!command) {
    messages.Show({MessageIcon::Warning, "Error: Couldn't Find ConQuest",
                   "The query was written to " + FileNameOf(queryFile) +
                       ", but ConQuest is not installed here.\n"
                       "Install it, or take the file to where it is."});
    return;
  }
  const QString program = command->takeFirst();
  if (!QProcess::startDetached(program, *command)) {
    messages.Show({MessageIcon::Warning, "Error: Couldn't Find ConQuest",
                   "Could Not Create Child Process for ConQuest\n" + PathToBytes(program)});
  }
}

}  // namespace marvik

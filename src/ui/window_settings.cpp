#include "ui/window_settings.h"

#include <QSettings>

#include "app/package_settings.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr char kFile[] = "marvikui.ini";
constexpr QLatin1String kGeometry("window/geometry");
constexpr QLatin1String kLayout("window/layout");
constexpr QLatin1String kRecentCommands("window/recentCommands");
constexpr QLatin1String kDirectory("files/directory");
constexpr QLatin1String kSelect("dialogs/select");
constexpr QLatin1String kPack("dialogs/pack");
constexpr QLatin1String kDialogValues("values/");
constexpr const char* kDialogNames[] = {"select", "sort", "group label", "picture"};
constexpr QLatin1String kCloseRun("refinement/closeRunWhenFinished");
constexpr QLatin1String kSkipResult("refinement/skipsResult");
constexpr QLatin1String kSkipBelow("refinement/skipsResultBelow");

}  // namespace

void WindowSettings::Load() {
  const auto path = PackageFile(kFile);
  if (!path) return;
  const QSettings file(PathToText(*path), QSettings::IniFormat);
  geometry = file.value(kGeometry).toByteArray();
  layout = file.value(kLayout).toByteArray();
  for (const QVariant& id : file.value(kRecentCommands).toList()) recentCommands.push_back(id.toInt());
  directory = file.value(kDirectory).toString();
  selectText = file.value(kSelect).toString();
  packText = file.value(kPack).toString();
  for (const char* name : kDialogNames) {
    const QString key = QString::fromUtf8(name);
    dialogValues.insert(key, file.value(kDialogValues + key).toString());
  }
  closeRunWhenFinished = file.value(kCloseRun, closeRunWhenFinished).toBool();
  skipsResult = file.value(kSkipResult, skipsResult).toBool();
  skipsResultBelow = file.value(kSkipBelow, skipsResultBelow).toDouble();
}

void WindowSettings::Save() const {
  const auto path = PackageFile(kFile);
  if (!path) return;
  QSettings file(PathToText(*path), QSettings::IniFormat);
  file.setValue(kGeometry, geometry);
  file.setValue(kLayout, layout);
  QVariantList ids;
  for (const int id : recentCommands) ids.push_back(id);
  file.setValue(kRecentCommands, ids);
  file.setValue(kDirectory, directory);
  file.setValue(kSelect, selectText);
  file.setValue(kPack, packText);
  for (const char* name : kDialogNames) {
    const QString key = QString::fromUtf8(name);
    file.setValue(kDialogValues + key, dialogValues.value(key));
  }
  file.setValue(kCloseRun, closeRunWhenFinished);
  file.setValue(kSkipResult, skipsResult);
  file.setValue(kSkipBelow, skipsResultBelow);
}

}  // namespace marvik

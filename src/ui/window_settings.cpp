#include "ui/window_settings.h"

#include <QSettings>

#include "base/package_file.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr size_t kOwnSlots = 4;  // recent files that "marvikrf.ini" holds
constexpr char kFile[] = "marvikui.ini";
constexpr QLatin1String kGeometry("window/geometry");
constexpr QLatin1String kLayout("window/layout");
constexpr QLatin1String kRecentCommands("window/recentCommands");
constexpr QLatin1String kDirectory("files/directory");
constexpr QLatin1String kSelect("dialogs/select");
constexpr QLatin1String kPack("dialogs/pack");
constexpr QLatin1String kDialogValues("values/");
constexpr const char* kDialogNames[] = {"select", "sort", "group label", "picture"};
constexpr QLatin1String kRendition("view/rendition");
constexpr QLatin1String kLook("view/look");
constexpr QLatin1String kLookFollows("view/lookFollowsDesktop");
constexpr QLatin1String kSafeColours("view/safeColours");
constexpr QLatin1String kShadow("view/ambientShadow");
constexpr QLatin1String kInertia("view/inertia");
constexpr QLatin1String kLabels("view/labels");
constexpr QLatin1String kHydrogenLabels("view/hydrogenLabels");
constexpr QLatin1String kHybridColours("view/hybridColours");
constexpr QLatin1String kTourSeen("window/tourSeen");
constexpr QLatin1String kRestoresSession("files/restoresSession");
constexpr QLatin1String kLastFile("files/last");
constexpr QLatin1String kOlderFiles("files/older");
constexpr QLatin1String kEngine("refinement/program");
constexpr QLatin1String kEngineOptions("refinement/options");
constexpr QLatin1String kCloseRun("refinement/closeRunWhenFinished");
constexpr QLatin1String kSkipResult("refinement/skipsResult");
constexpr QLatin1String kSkipBelow("refinement/skipsResultBelow");

}  // namespace

void WindowSettings::ShowIn(Workbench& bench) const {
  bench.RenditionMode = rendition;
  bench.look = look;
  bench.lookFollowsDesktop = lookFollowsDesktop;
  bench.SafeColours = safeColours;
  bench.figure.ambientShadow = ambientShadow;
  bench.inertia = inertia;
  bench.LabelsOn = labels;
  bench.HydrogenLabelsOn = hydrogenLabels;
  bench.HybridLabelColoration = hybridColours;
  bench.settings.Engine = PathToBytes(engine);
  bench.settings.EngineOptions = PathToBytes(engineOptions);
  auto& slots = bench.settings.RecentFiles;
  for (qsizetype i = 0; i < olderFiles.size() && kOwnSlots + static_cast<size_t>(i) < slots.size(); ++i)
    slots[kOwnSlots + static_cast<size_t>(i)] = PathToBytes(olderFiles[i]);
}

void WindowSettings::TakeFrom(const Workbench& bench) {
  rendition = bench.RenditionMode;
  look = bench.look;
  lookFollowsDesktop = bench.lookFollowsDesktop;
  safeColours = bench.SafeColours;
  ambientShadow = bench.figure.ambientShadow;
  inertia = bench.inertia;
  labels = bench.LabelsOn;
  hydrogenLabels = bench.HydrogenLabelsOn;
  hybridColours = bench.HybridLabelColoration;
  lastFile = PathToText(bench.document.CurrentFile);
  engine = PathToText(bench.settings.Engine);
  engineOptions = PathToText(bench.settings.EngineOptions);
  olderFiles.clear();
  const auto& slots = bench.settings.RecentFiles;
  for (size_t i = kOwnSlots; i < slots.size() && !slots[i].empty(); ++i) olderFiles << PathToText(slots[i]);
}

void WindowSettings::Load() {
  const auto path = PackageFile(kFile);
  if (!path) return;
  const QSettings file(PathToText(*path), QSettings::IniFormat);
  layout = file.value(kLayout).toByteArray();
  // A version without panels left a place that leaves no room for the picture beside them.
  if (!layout.isEmpty()) geometry = file.value(kGeometry).toByteArray();
  for (const QVariant& id : file.value(kRecentCommands).toList()) recentCommands.push_back(id.toInt());
  directory = file.value(kDirectory).toString();
  selectText = file.value(kSelect).toString();
  packText = file.value(kPack).toString();
  for (const char* name : kDialogNames) {
    const QString key = QString::fromUtf8(name);
    dialogValues.insert(key, file.value(kDialogValues + key).toString());
  }
  rendition = std::clamp(file.value(kRendition, rendition).toInt(), 0, kLitRendition);
  look = LookNamed(file.value(kLook).toString().toStdString()).value_or(look);
  lookFollowsDesktop = file.value(kLookFollows, lookFollowsDesktop).toBool();
  safeColours = file.value(kSafeColours, safeColours).toBool();
  ambientShadow = file.value(kShadow, ambientShadow).toBool();
  inertia = file.value(kInertia, inertia).toBool();
  labels = file.value(kLabels, labels).toBool();
  hydrogenLabels = file.value(kHydrogenLabels, hydrogenLabels).toBool();
  hybridColours = file.value(kHybridColours, hybridColours).toBool();
  tourSeen = file.value(kTourSeen, tourSeen).toBool();
  restoresSession = file.value(kRestoresSession, restoresSession).toBool();
  lastFile = file.value(kLastFile).toString();
  olderFiles = file.value(kOlderFiles).toStringList();
  engine = file.value(kEngine).toString();
  engineOptions = file.value(kEngineOptions).toString();
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
  file.setValue(kRendition, rendition);
  file.setValue(kLook, ToText(NameOf(look)));
  file.setValue(kLookFollows, lookFollowsDesktop);
  file.setValue(kSafeColours, safeColours);
  file.setValue(kShadow, ambientShadow);
  file.setValue(kInertia, inertia);
  file.setValue(kLabels, labels);
  file.setValue(kHydrogenLabels, hydrogenLabels);
  file.setValue(kHybridColours, hybridColours);
  file.setValue(kTourSeen, tourSeen);
  file.setValue(kRestoresSession, restoresSession);
  file.setValue(kLastFile, lastFile);
  file.setValue(kOlderFiles, olderFiles);
  file.setValue(kEngine, engine);
  file.setValue(kEngineOptions, engineOptions);
  file.setValue(kCloseRun, closeRunWhenFinished);
  file.setValue(kSkipResult, skipsResult);
  file.setValue(kSkipBelow, skipsResultBelow);
}

}  // namespace marvik

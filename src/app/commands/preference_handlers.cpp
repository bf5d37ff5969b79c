#include "app/commands/command_handlers.h"
#include "app/preferences/atom_preferences.h"
#include "app/preferences/opengl_preferences.h"

namespace marvik {
namespace {

bool BondRadiiDiffer(const ElementTable& a, const ElementTable& b) {
  for (int row = 0; row < kElementRows; ++row) {
    if (a[row].bondRadius != b[row].bondRadius) return true;
  }
  return false;
}

Outcome SayUnwritable(Workbench& bench, const std::string& path) {
  return Refuse(bench, "Error: File I/O", "Error opening file (" + path + ") for writing.");
}

}  // namespace

Outcome AtomPreferencesHandler(Workbench& bench, const CommandCall& call) {
  ElementTable& elements = bench.document.elements;
  AtomPreferences preferences{elements, bench.pictures.probability};
  if (const PreferenceFault fault = ApplyAtomPreferences(SplitEditArguments(call.argument), preferences)) {
    bench.messages.Show(fault.message);
    return Outcome::Failed;
  }
  const bool reconnect = BondRadiiDiffer(elements, preferences.elements);
  elements = preferences.elements;
  bench.pictures.probability = preferences.probability;
  if (reconnect) bench.ConnectAndReframe();
  // What cannot be kept for the next session is in force in this one.
  SavePictureSettings(bench.pictures);
  const auto path = ElementFilePath();
  return !path || WriteElementFile(elements, *path) ? Outcome::Done : SayUnwritable(bench, *path);
}

Outcome OpenGlPreferencesHandler(Workbench& bench, const CommandCall& call) {
  if (const PreferenceFault fault = ApplyOpenGlPreferences(SplitEditArguments(call.argument), bench.GlSettings())) {
    bench.messages.Show(fault.message);
    return Outcome::Failed;
  }
  const auto path = OpenGlSettingsFile();
  return !path || SaveOpenGlSettings(bench.GlSettings()) ? Outcome::Done : SayUnwritable(bench, *path);
}

}  // namespace marvik

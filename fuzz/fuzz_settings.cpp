#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

#include "app/package_settings.h"
#include "app/picture/picture_settings.h"
#include "app/preferences/atom_preferences.h"
#include "app/preferences/opengl_preferences.h"
#include "app/refinement/refine_fields.h"
#include "base/files.h"
#include "base/package_file.h"
#include "draw/renderer/look.h"
#include "edit/edit_fields.h"
#include "gl/gl_settings.h"

#include "fuzz/require.h"

using namespace marvik;

namespace {

// The text as each of the files of a package directory.
void ReadFiles(const std::string& text) {
  static const std::string folder = [] {
    char name[] = "/dev/shm/marvik-fuzz-settings-XXXXXX";  // where flushing costs nothing
    if (!mkdtemp(name)) std::abort();
    setenv(kPackageVariable, (std::string(name) + "/").c_str(), 1);
    std::atexit([] { std::filesystem::remove_all(*PackageFile("")); });
    return std::string(name) + "/";
  }();
  for (const char* name : {"sfac.tab", "qtrn.ini", "marvik.ini", "marvikrf.ini", "marvikui.ini"})
    std::ofstream(folder + name, std::ios::binary | std::ios::trunc) << text;
  ElementTable elements;
  InitElementTable(elements, true);
  WriteElementFile(elements, folder + "again.tab");
  ElementTable again;
  ReadElementFile(again, folder + "again.tab");
  for (int row = 1; row < kElementRows; ++row)
    Require(again[row].colour == elements[row].colour && again[row].texture == elements[row].texture,
            "an element reads otherwise", text);
  RecordingMessages messages;
  PackageSettings settings;
  LoadEditorConfiguration(settings, messages);
  LoadRecentFiles(settings);
  NoteRecentFile(settings, "/a/b.res");
  Require(settings.RecentFiles[0] == "/a/b.res", "the file that was opened is not the first", text);
  PictureSettings pictures;
  LoadPictureSettings(pictures);
  Require(pictures.probability >= 0.001 && pictures.probability <= 1.0, "an impossible probability", text);
  SavePictureSettings(pictures);
  PictureSettings same;
  LoadPictureSettings(same);
  Require(std::fabs(same.probability - pictures.probability) < 1e-8, "another probability", text);
}

}  // namespace

// Fields of settings that a line gives, and files that hold them: what is refused leaves them as they were, what was
// taken is given back and taken again.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const EditArguments arguments = SplitEditArguments(text);
  AtomPreferences atoms;
  InitElementTable(atoms.elements, false);
  const AtomPreferences usual = atoms;
  if (ApplyAtomPreferences(arguments, atoms))
    Require(AtomPreferenceChanges(usual, atoms).empty(), "a fault changed something", text);
  AtomPreferences again = usual;
  const std::string changes = AtomPreferenceChanges(usual, atoms);
  Require(!ApplyAtomPreferences(SplitEditArguments(changes), again), "what was written is refused", changes);
  Require(AtomPreferenceChanges(again, atoms).empty(), "what was written reads otherwise", text + "\n---\n" + changes);
  OpenGlSettings settings;
  ApplyOpenGlPreferences(arguments, settings);
  OpenGlSettings same = settings;
  Require(!ApplyOpenGlPreferences(OpenGlPreferenceFields(settings), same), "own fields are refused", text);
  OpenGlSettings read = ParseOpenGlSettings(text);
  const std::string line = ComposeOpenGlSettings(read);
  Require(ComposeOpenGlSettings(ParseOpenGlSettings(line)) == line, "what was written reads otherwise", line);
  ReadFiles(text);
  RefinementSettings refinement;
  ApplyRefinementFields(arguments, refinement);
  LookNamed(text);
  return 0;
}

#include <cstddef>
#include <cstdint>
#include <string>

#include "app/preferences/atom_preferences.h"
#include "app/preferences/opengl_preferences.h"
#include "app/refinement/refine_fields.h"
#include "draw/renderer/look.h"
#include "edit/edit_fields.h"

#include "fuzz/require.h"

using namespace marvik;

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
  RefinementSettings refinement;
  ApplyRefinementFields(arguments, refinement);
  LookNamed(text);
  return 0;
}

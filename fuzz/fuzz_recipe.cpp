#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

#include "app/picture/picture_output.h"

#include "fuzz/require.h"

using namespace marvik;

// A recipe that was understood is written as it was read, and whatever it says leaves a view that can be drawn.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  ReadRecipe(text);
  const RecipeReading reading = ReadRecipe("Marvik picture recipe 1\n" + text);
  Require(reading.recipe.has_value(), "the first line is not known", text);
  const std::string written = RecipeText(*reading.recipe);
  const RecipeReading again = ReadRecipe(written);
  Require(again.recipe && again.skipped.empty(), "what was written is not understood", written);
  Require(RecipeText(*again.recipe) == written, "writing does not settle", written);
  RecordingMessages messages;
  Workbench bench(messages);
  for (const char* name : {"C1", "C2", "Q1"}) {
    AtomRecord* atom = bench.document.atoms.CreateAtom(bench.document.elements, messages);
    atom->name = name;
    bench.document.atoms.LinkAtTail(atom);
  }
  ApplyRecipe(bench, *reading.recipe);
  for (const auto& row : bench.view.combined) {
    for (const double v : row) Require(std::isfinite(v), "the view is not finite", written);
  }
  Require(RecipeOf(bench).rendition == reading.recipe->rendition, "another rendition", written);
  return 0;
}

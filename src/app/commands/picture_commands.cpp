#include <algorithm>

#include "app/commands/command_handlers.h"
#include "app/picture/picture_output.h"
#include "base/files.h"
#include "base/numbers.h"
#include "picture/view_page.h"

namespace marvik {
namespace {

constexpr size_t kMostNamed = 8;
constexpr FieldRange kPictureFields[] = {{"size", "Pixels a side", kSmallestPicture, kLargestPicture},
                                         {"resolution", "Dots per inch", 0, kLargestResolution},
                                         WordField("background", "Background", "usual|black|white|transparent"),
                                         WordField("renderer", "Renderer", "interactive|opengl"),
                                         WordField("journal", "Column", "none|single-column|double-column"),
                                         WordField("trim", "No empty rows", "on|off"),
                                         WordField("frames", "Side by side", "one|stereo|axes|turn")};

bool WriteBytes(Workbench& bench, const std::string& path, std::string_view bytes) {
  const int error = WriteFileAtomically(path, bytes);
  if (error == 0) return true;
  Refuse(bench, "Error: File I/O", WriteFault(path, error));
  return false;
}

// "C1, C2 and 3 more"
std::string SomeOf(const std::vector<std::string>& names) {
  std::string text;
  for (size_t i = 0; i < std::min(names.size(), kMostNamed); ++i) text += (i ? ", " : "") + names[i];
  if (names.size() > kMostNamed) text += " and " + std::to_string(names.size() - kMostNamed) + " more";
  return text;
}

void Note(Workbench& bench, const std::string& text) {
  bench.messages.Show({MessageIcon::Information, "Picture Recipe", text});
}

}  // namespace

std::span<const FieldRange> SavePictureFields() {
  return kPictureFields;
}

// "size=1200 resolution=300 background=white renderer=opengl FILE", all but the file as last time where they are
// missing.
Outcome SavePictureHandler(Workbench& bench, const CommandCall& call) {
  std::string wrong;
  const auto request = ParsePictureRequest(call.argument, bench.pictureFile, wrong);
  if (!request) return Refuse(bench, "Command Usage Error:", wrong);
  bench.pictureFile = request->options;
  bench.SetBusy(true);
  const bool written = WritePicture(bench, request->options, request->path, "");
  bench.SetBusy(false);
  return written ? Outcome::Done : Outcome::Failed;
}

std::span<const FieldRange> FigureFields() {
  static const std::vector<FieldRange> fields = [] {
    std::vector<FieldRange> all;
    for (const StyleField& field : StyleFields())
      all.push_back({field.key, field.caption, field.low, field.high, field.words});
    return all;
  }();
  return fields;
}

// Sets what is named of all that a style holds; the rest stays.
Outcome FigureHandler(Workbench& bench, const CommandCall& call) {
  const EditArguments words = SplitEditArguments(call.argument);
  PictureStyle style = StyleOf(bench);
  std::string wrong = words.atoms.empty() ? "" : words.atoms + " is no field with a value.";
  for (const EditArguments::Field& field : words.fields)
    if (wrong.empty()) wrong = SetStyleField(style, field.key, field.value);
  if (!wrong.empty()) return Refuse(bench, "Command Usage Error:", wrong);
  ApplyStyle(bench, style);
  return Outcome::Done;
}

Outcome SaveStyleHandler(Workbench& bench, const CommandCall& call) {
  return WriteBytes(bench, call.argument, StyleText(StyleOf(bench))) ? Outcome::Done : Outcome::Failed;
}

Outcome ApplyStyleHandler(Workbench& bench, const CommandCall& call) {
  const FileContent file = ReadWholeFile(call.argument);
  if (!file.opened || !file.complete)
    return Refuse(bench, "Error: File I/O", "The picture style " + call.argument + " could not be read.");
  PictureStyle style = StyleOf(bench);
  const StyleReading reading = ReadStyle(file.content, style);
  if (!reading.refusal.empty()) return Refuse(bench, "Error: Picture Style", call.argument + reading.refusal);
  ApplyStyle(bench, style);
  if (!reading.skipped.empty())
    bench.messages.Show(
        {MessageIcon::Information, "Picture Style",
         "These lines of the style were not understood and left out: " + SomeOf(reading.skipped) + "."});
  return Outcome::Done;
}

Outcome FigureToggleHandler(Workbench& bench, const CommandCall& call) {
  static constexpr bool FigureChoices::*kFlags[] = {&FigureChoices::tripod,        &FigureChoices::scaleBar,
                                                    &FigureChoices::legend,        &FigureChoices::hydrogenBonds,
                                                    &FigureChoices::shortContacts, &FigureChoices::paleMates,
                                                    &FigureChoices::taperedBonds,  &FigureChoices::measures};
  bool& shown = bench.figure.*(call.id == kPlanesCommand ? &FigureChoices::planes : kFlags[call.id - kTripodCommand]);
  shown = !shown;
  const bool contacts = call.id == kHydrogenBondsCommand || call.id == kShortContactsCommand;
  if (!contacts || !shown || !bench.hooks.tell) return Outcome::Done;
  const bool bonds = call.id == kHydrogenBondsCommand;
  const ContactLine line = bonds ? ContactLine::HydrogenBond : ContactLine::Short;
  const auto count = std::ranges::count(*bench.Contacts(), line, &DrawnContact::line);
  bench.hooks.tell(Printf("%d %s%s between atoms that are shown%s", static_cast<int>(count),
                          bonds ? "hydrogen bond" : "short contact", count == 1 ? "" : "s",
                          count == 0 ? "; Grow and Pack show those between molecules" : ""));
  return Outcome::Done;
}

// With the name of a file the page goes there as PDF, without one to the printer that the user chooses.
Outcome PrintHandler(Workbench& bench, const CommandCall& call) {
  if (call.argument.empty()) {
    if (bench.hooks.printView) return bench.hooks.printView() ? Outcome::Done : Outcome::Cancelled;
    return Refuse(bench, "Command Usage Error:", "Print: This command needs a value, 154=FILE.pdf.");
  }
  PictureSubject subject = SubjectOf(bench);
  const auto bytes = DrawPdfPage(subject);
  return bytes && WriteBytes(bench, call.argument, *bytes) ? Outcome::Done : Outcome::Failed;
}

Outcome SaveRecipeHandler(Workbench& bench, const CommandCall& call) {
  return WriteBytes(bench, call.argument, RecipeText(RecipeOf(bench))) ? Outcome::Done : Outcome::Failed;
}

Outcome ApplyRecipeHandler(Workbench& bench, const CommandCall& call) {
  const FileContent file = ReadWholeFile(call.argument);
  if (!file.opened || !file.complete)
    return Refuse(bench, "Error: File I/O", "The picture recipe " + call.argument + " could not be read.");
  const RecipeReading reading = ReadRecipe(file.content);
  if (!reading.recipe) return Refuse(bench, "Error: Picture Recipe", call.argument + " is no picture recipe.");
  if (!reading.skipped.empty())
    Note(bench, "These lines of the recipe were not understood and left out: " + SomeOf(reading.skipped) + ".");
  const auto gone = ApplyRecipe(bench, *reading.recipe);
  if (!gone.empty())
    Note(bench, "The recipe speaks of what the structure does not have; this was left out: " + SomeOf(gone) + ".");
  return Outcome::Changed;
}

}  // namespace marvik

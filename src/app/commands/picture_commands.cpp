#include <algorithm>

#include "app/commands/command_handlers.h"
#include "app/picture/picture_output.h"
#include "app/picture/picture_recipe.h"
#include "base/files.h"
#include "base/numbers.h"

namespace marvik {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr size_t kMostNamed = 8;
constexpr FieldRange kPictureFields[] = {{"size", "Pixels a side", kSmallestPicture, kLargestPicture},
                                         {"resolution", "Dots per inch", 0, kLargestResolution},
                                         WordField("background", "Background", "usual|black|white|transparent"),
                                         WordField("renderer", "Renderer", "interactive|opengl")};

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

std::optional<PictureRequest> ParsePictureRequest(std::string_view text, const PictureOptions& usual,
                                                  std::string& wrong) {
  PictureRequest request{usual, ""};
  while (true) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
    const size_t equals = word.find('=');
    const std::string_view key = word.substr(0, equals);
    if (equals == std::string_view::npos || !FindField(kPictureFields, key)) break;
    const std::string_view value = word.substr(equals + 1);
    double number = 0.0;
    if (key == "background") {
      const auto background = BackgroundNamed(value);
      if (!background) wrong = "The background is black, white or transparent.";
      request.options.background = background.value_or(usual.background);
    } else if (key == "renderer") {
      if (value != "interactive" && value != "opengl") wrong = "The renderer is interactive or opengl.";
      request.options.openGl = value == "opengl";
    } else if (!ParseWholeNumber(value, number)) {
      wrong = std::string(word) + " is not a number.";
    } else if (key == "size") {
      const bool whole = number >= kSmallestPicture && number <= kLargestPicture && number == RoundHalfAway(number);
      if (!whole) wrong = PictureSizeRule();
      request.options.size = whole ? RoundHalfAway(number) : usual.size;
    } else {
      if (!(number >= 0.0 && number <= kLargestResolution)) wrong = "The resolution is 0 to 10000 dots per inch.";
      request.options.resolution = number;
    }
    if (!wrong.empty()) return {};
    text.remove_prefix(word.size());
  }
  const size_t last = text.find_last_not_of(kBlanks);
  if (last == std::string_view::npos) {
    wrong = "The name of the file to write is missing.";
    return {};
  }
  request.path = text.substr(0, last + 1);
  return request;
}

std::string PictureArgument(const PictureRequest& request) {
  const PictureOptions& o = request.options;
  return Printf("size=%d resolution=%.9g background=", o.size, o.resolution) + std::string(NameOf(o.background)) +
         (o.openGl ? " renderer=opengl " : " renderer=interactive ") + request.path;
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

// With the name of a file the page goes there as PDF, without one to the printer that the user chooses.
Outcome PrintHandler(Workbench& bench, const CommandCall& call) {
  if (call.argument.empty()) {
    if (bench.hooks.printView) return bench.hooks.printView() ? Outcome::Done : Outcome::Cancelled;
    return Refuse(bench, "Command Usage Error:", "Print: This command needs a value, 154=FILE.pdf.");
  }
  const auto bytes = DrawPdfPage(bench);
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

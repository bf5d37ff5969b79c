#include <algorithm>
#include <cmath>

#include "app/commands/command_handlers.h"
#include "app/open_save.h"
#include "app/picture/picture_output.h"
#include "app/refinement/refine_flow.h"
#include "app/structure_text.h"
#include "base/numbers.h"
#include "files/cif/cif_translation.h"
#include "files/res/reader.h"
#include "run/file_comparison.h"

namespace marvik {
namespace {

constexpr char kUnreadable[] = "Error: File Unreadable";

// One side of a comparison.
struct Compared {
  std::string name;
  std::string text;
  std::string path;  // beside which uncertainties may lie
};

// "current", "disk", the number of a step of the job's history, or a path. Nothing after a message.
std::optional<Compared> FindCompared(Workbench& bench, const std::string& what) {
  const std::string& current = bench.document.CurrentFile;
  if (what == "current") return Compared{bench.Title() + ", as it is now", TextOfStructure(bench), current};
  Compared found{what, "", FullPath(what)};
  double number = 0.0;
  if (what == "disk") {
    found = {bench.Title() + ", the file", "", current};
  } else if (ParseWholeNumber(what, number)) {
    const auto steps = StepHistory(JobBase(bench)).Steps();
    const auto step = std::ranges::find(steps, number, [](const RefinementStep& s) { return double(s.number); });
    if (step == steps.end()) {
      Refuse(bench, "Error: File Not Found", "The history of this job has no step " + what + ".");
      return {};
    }
    found = {"step " + what, "", step->path};
  }
  FileContent file = ReadWholeFile(found.path);
  if (!file.opened) {
    Refuse(bench, kUnreadable, "This file is either missing, empty or corrupt:\n" + found.path);
    return {};
  }
  found.text = std::move(file.content);
  return found;
}

}  // namespace

std::span<const FieldRange> CompareFields() {
  static constexpr FieldRange kFields[] = {WordField("old", "Older structure", "disk|current|STEP|FILE"),
                                           WordField("new", "Newer structure", "current|disk|STEP|FILE")};
  return kFields;
}

Outcome CompareHandler(Workbench& bench, const CommandCall& call) {
  const EditArguments arguments = SplitEditArguments(call.argument);
  const auto field = [&](const char* key, const char* usual) {
    const std::string* value = arguments.Find(key);
    return value ? *value : std::string(usual);
  };
  const auto before = FindCompared(bench, field("old", arguments.atoms.empty() ? "disk" : arguments.atoms.c_str()));
  const auto after = before ? FindCompared(bench, field("new", "current")) : std::nullopt;
  if (!after) return Outcome::Failed;
  const std::string text = ComparisonAsText(CompareTexts(before->text, after->text, after->path));
  const std::string title = before->name + " -> " + after->name;
  if (bench.hooks.showText) {
    bench.hooks.showText(title, text);
  } else {
    bench.messages.Show({MessageIcon::Information, title, text});
  }
  return Outcome::Done;
}

std::span<const FieldRange> SwingFields() {
  static constexpr FieldRange kFields[] = {WordField("old", "Model to swing from", "disk|STEP|FILE"),
                                           {"file", "File to write"}};
  return kFields;
}

Outcome SaveSwingHandler(Workbench& bench, const CommandCall& call) {
  const EditArguments arguments = SplitEditArguments(call.argument);
  const std::string* old = arguments.Find("old");
  const std::string* file = arguments.Find("file");
  if (!file) return Refuse(bench, "Command Usage Error:", "Save Swing: the name of the file to write is missing.");
  const auto from = FindCompared(bench, old ? *old : "disk");
  if (!from) return Outcome::Failed;
  std::string text = from->text;
  if (LowerExtensionOf(from->path) == "cif") text = ResultFileOfCif(from->path, bench.messages).value_or("");
  const auto other = std::make_shared<Document>();
  if (!ReadInstructionText(*other, std::move(text), bench.messages) || !other->atoms.head)
    return Refuse(bench, kUnreadable, from->name + " holds no atoms.");
  bench.SetBusy(true);
  const bool written = WriteSwing(bench, other, bench.pictureFile, *file);
  bench.SetBusy(false);
  return written ? Outcome::Done : Outcome::Failed;
}

// "LINE COUNT", and behind a blank or a line end the lines that come in their place.
Outcome EditLinesHandler(Workbench& bench, const CommandCall& call) {
  const std::string_view argument = call.argument;
  const size_t first = std::min(argument.find(' '), argument.size());
  const size_t second = std::min(argument.find_first_of(" \n", first + 1), argument.size());
  double line = 0.0, count = 0.0;
  const auto isCount = [](double number) { return number >= 0 && number == std::floor(number) && number < 1e9; };
  if (first == argument.size() || !ParseWholeNumber(argument.substr(0, first), line) || line < 1 || !isCount(line) ||
      !ParseWholeNumber(argument.substr(first + 1, second - first - 1), count) || !isCount(count)) {
    return Refuse(bench,
                  "Command Usage Error:", "A line, the number of lines to be replaced, and their text are wanted.");
  }
  std::vector<std::string> lines;
  for (size_t at = second; at < argument.size();) {
    const size_t end = std::min(argument.find('\n', at + 1), argument.size());
    lines.emplace_back(argument.substr(at + 1, end - at - 1));
    at = end;
  }
  const TextLines text(TextOfStructure(bench));
  std::string edited = text.With(static_cast<size_t>(line) - 1, static_cast<size_t>(count), lines);
  if (edited == text.Text()) return Outcome::Done;
  const std::string fault = ReplaceByText(bench, std::move(edited));
  return fault.empty() ? Outcome::Changed : Refuse(bench, kUnreadable, fault);
}

Outcome ReloadHandler(Workbench& bench, const CommandCall&) {
  const std::string path = bench.document.CurrentFile;
  if (path.empty()) return Refuse(bench, "Command Usage Error:", "There is no file to be read again.");
  const auto stamp = StampOf(path);
  FileContent file = ReadWholeFile(path);
  const std::string fault =
      file.opened && file.complete ? ReplaceByText(bench, std::move(file.content)) : "The file cannot be read.";
  if (!fault.empty()) return Refuse(bench, kUnreadable, fault + "\n" + path);
  bench.document.stamp = stamp;
  bench.SetModified(false);
  bench.TitleChanged();
  return Outcome::Done;
}

}  // namespace marvik

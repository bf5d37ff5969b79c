#include "app/cli/command_line_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "base/files.h"
#include "picture/picture_formats.h"

namespace marvik {
namespace {

void CheckTogether(CommandLineOptions& options) {
  const auto wrong = [&](const std::string& what) {
    if (options.error.empty()) options.error = what;
  };
  const bool batch = !options.batch.empty();
  // What finds the model comes before what is made of it, wherever it stands.
  const auto leads = [](const BatchAction& action) { return action.Is("--solve") || action.Is("--complete"); };
  std::stable_partition(options.actions.begin(), options.actions.end(), leads);
  for (size_t i = 1; i < options.actions.size() && !batch; ++i) {
    if (!leads(options.actions[i - 1]))
      wrong(std::string(options.actions[i].row->name) + " cannot go together with another task");
  }
  // Figures of lines have patterns of their own.
  if (options.blackWhite && !options.openGl && options.Has("--picture")) {
    const BatchAction& picture =
        *std::ranges::find_if(options.actions, [](const BatchAction& a) { return a.Is("--picture"); });
    const PictureFormat* format =
        PictureFormatNamed(options.format.empty() ? LowerExtensionOf(picture.value) : options.format);
    options.openGl = format && format->encode;
  }
  bool reads = false;
  std::string unknown = options.format;
  for (const BatchAction& action : options.actions) {
    reads |= action.row->run != nullptr;
    if (action.row->formats.empty()) continue;
    if (action.value.empty()) wrong(std::string(action.row->name) + " needs the name of a file to write");
    if (action.value == "-" && options.format.empty()) wrong("Standard output needs --format");
    if (batch && action.value.find("{name}") == std::string::npos)
      wrong("With --batch the name of OUT holds {name}, which stands for that of each file without its extension");
    if (std::ranges::find(action.row->formats, options.format) != action.row->formats.end()) unknown.clear();
  }
  // Commands alone may be such as need no structure: opening a file, asking where a help document lies.
  const bool alone = options.Has("--script") || options.Has("--edit");
  if (batch && (!reads || alone)) wrong("--batch needs something to do with each file");
  if (batch && !options.file.empty()) wrong("--batch takes its files from the list, not from " + options.file);
  if (!batch && (options.jobs || options.timeLimit || !options.results.empty() || !options.shard.empty()))
    wrong("--jobs, --time-limit, --results and --shard belong to --batch");
  if (reads && !batch && options.file.empty()) wrong("The name of a FILE to read is missing");
  const bool frames =
      options.packing || !options.files.empty() || options.frames.value_or(PictureFrames::One) != PictureFrames::One;
  if (frames && !options.labelReport.empty()) wrong("--label-report tells of a picture with one frame");
  if (!options.files.empty() && (options.packing || options.frames))
    wrong("A sheet of several structures has one frame of each");
  if (!options.recipe.empty() && !options.Has("--picture")) wrong("--recipe belongs to --picture");
  if (!options.style.empty() && !options.Has("--picture")) wrong("--style belongs to --picture");
  if (options.fields && !options.Has("--list-commands")) wrong("--fields belongs to --list-commands");
  if (!unknown.empty()) wrong("There is no format " + unknown + " for this task");
}

// Hands the values of an option over, one after another.
bool Take(const OptionRow& row, const CLI::results_t& values, CommandLineOptions& options) {
  for (const std::string& value : values) {
    std::string wrong;
    if (!row.choices.empty() && std::ranges::find(row.choices, value) == row.choices.end()) {
      wrong = std::string(row.name) + " takes one of " + row.ValueText() + ", not " + value;
    } else if (row.IsAction()) {
      options.actions.push_back({&row, value});
    } else {
      wrong = row.take(options, value);
    }
    if (options.error.empty()) options.error = wrong;
  }
  return true;
}

void TakeFiles(const CLI::results_t& files, CommandLineOptions& options) {
  const bool sheet = options.actions.size() == 1 && options.Has("--picture") && options.batch.empty();
  if (files.size() > 1 && !sheet)
    options.error = "Only one FILE can be given; there are " + files[0] + " and " + files[1];
  if (std::ranges::any_of(files, &std::string::empty)) options.error = "The name of FILE is empty";
  if (files.size() > 1) options.files = files;
  if (!files.empty()) options.file = files[0];
}

}  // namespace

bool BatchAction::Is(std::string_view name) const {
  return row->name == name;
}

bool CommandLineOptions::Has(std::string_view action) const {
  return std::ranges::any_of(actions, [&](const BatchAction& a) { return a.Is(action); });
}

std::string OptionRow::ValueText() const {
  std::string text = value;
  for (const std::string_view choice : choices) text.append(text.empty() ? "" : "|").append(choice);
  return text;
}

CommandLineOptions ParseCommandLine(const std::vector<std::string>& words) {
  CommandLineOptions options;
  CLI::App app;
  app.set_help_flag();
  app.allow_extras();
  for (const OptionRow& row : OptionTable()) {
    const std::string name = row.name == std::string_view("--help") ? "-h,--help" : row.name;
    const auto take = [&](const CLI::results_t& values) { return Take(row, values, options); };
    if (row.IsFlag()) {
      app.add_flag_callback(name, [take] { take({""}); });
    } else {
      app.add_option(name, take)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    }
  }
  std::vector<std::string> files;
  app.add_option("FILE", files);
  try {
    std::vector<std::string> reversed(words.rbegin(), words.rend());
    app.parse(reversed);
  } catch (const CLI::ArgumentMismatch& mismatch) {
    const std::string text = mismatch.what();
    options.error = text.substr(0, text.find(':')) + " needs a value";
  } catch (const CLI::Error& error) {
    options.error = error.what();
  }
  for (const std::string& strange : app.remaining())
    if (strange != "--" && options.error.empty()) options.error = "There is no option " + strange;
  if (options.error.empty()) TakeFiles(files, options);
  if (options.error.empty()) CheckTogether(options);
  return options;
}

}  // namespace marvik

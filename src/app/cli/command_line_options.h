#pragma once

#include <array>
#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "app/commands/command_table.h"
#include "draw/renderer/look.h"
#include "picture/picture_options.h"

namespace marvik {

class BatchSession;
struct CommandLineOptions;
struct OptionRow;

// What is to be done with FILE, or an answer that needs none.
struct BatchAction {
  const OptionRow* row = nullptr;
  std::string value;  // behind the option: the output's name, the kind of a report

  bool Is(std::string_view name) const;  // "--write"
};

// The options of the command line, each once: parser, --help, man page and completion come from this table. An action
// has `run`, or `answer` when it reads no file; everything else sets a field.
struct OptionRow {
  const char* name;                           // "--size"
  const char* value;                          // what stands behind it: "PIXELS", "FILE", "DIR"; "" for a flag
  std::span<const std::string_view> choices;  // the words that it takes, where these are few
  const char* group;                          // heading in --help; "" is in none
  const char* help;
  // Sets the option; gives what is wrong with the value, "" for nothing. Null for actions.
  std::string (*take)(CommandLineOptions& options, const std::string& value);
  bool (*run)(BatchSession& session, const BatchAction& action) = nullptr;
  void (*answer)(const CommandLineOptions& options, std::ostream& out) = nullptr;
  std::span<const std::string_view> formats = {};  // of an action with an output: the extensions that it writes

  bool IsAction() const { return run || answer; }
  bool IsFlag() const { return value[0] == '\0' && choices.empty(); }
  // "PIXELS", or the choices parted by "|".
  std::string ValueText() const;
};
std::span<const OptionRow> OptionTable();

struct CommandLineOptions {
  std::vector<BatchAction> actions;
  std::string file;
  std::vector<std::string> files;  // all of them, where a sheet is made of several
  std::string format;              // an extension without its dot, lower case; "" goes by the output's name
  std::string select;
  std::string documentTemplate;
  std::string into;  // a folder that extracted files go to; "" for the CIF's own
  std::string packageDirectory;
  std::vector<CommandStep> commands;
  std::optional<int> rendition;    // a DisplayMode
  std::array<double, 3> rotate{};  // degrees about the screen's X, Y, Z, in this order
  std::optional<int> size;         // pixels
  std::optional<double> resolution;
  std::optional<PictureFrames> frames;
  bool packing = false;
  const JournalPreset* journal = nullptr;
  bool trim = false;
  std::optional<PictureBackground> background;
  std::string style;   // a picture style's file
  std::string recipe;  // a picture recipe's file
  std::string swing;   // another model of the structure
  std::string labelReport;
  std::optional<Look> look;
  std::optional<bool> labels;
  std::optional<bool> peaks;
  bool cell = false;
  std::optional<bool> openGl;
  bool blackWhite = false;
  std::optional<int> layers;
  bool json = false;
  bool csv = false;
  bool yes = false;
  bool timing = false;
  std::string batch;                     // a list of files, a folder, "-" for standard input; "" for one FILE
  std::optional<int> jobs;               // worker processes; as many as there are processors
  std::optional<double> timeLimit;       // seconds a file
  std::string results;                   // the file that lines of a batch run go to
  std::string shard;                     // "I/N"
  bool fields = false;                   // --list-commands tells of fields
  bool standardLayout = false;           // of what --write makes
  std::optional<double> skipTableBelow;  // Å: a refinement that moved less prints no table

  bool Has(std::string_view action) const;
  // Anything was asked for that needs no window.
  bool IsBatch() const { return !actions.empty() || !commands.empty(); }

  std::string error;  // what is wrong with the command line, "" when nothing is
};

// Reads the words behind the program's name, options and FILE in any order.
CommandLineOptions ParseCommandLine(const std::vector<std::string>& words);

// Made from the option table: what --help prints, the man page in troff, and a completion script for bash.
std::string CommandLineHelp();
std::string ManualPage();
std::string CompletionScript();

}  // namespace marvik

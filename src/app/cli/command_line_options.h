#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "picture/picture_options.h"

namespace marvik {

enum class BatchTask { None, Help, Version, ListCommands, Write, Picture, Report, Refine, Script, Edit };

// One step of --commands.
struct CommandStep {
  int id = 0;
  std::string argument;
};

struct CommandLineOptions {
  BatchTask task = BatchTask::None;
  std::string file;
  std::string output;  // "-" is standard output
  std::string format;  // an extension without its dot, lower case; "" goes by the output's name
  std::string report;
  std::string select;
  std::string packageDirectory;
  std::vector<CommandStep> commands;
  std::optional<int> rendition;    // a DisplayMode
  std::array<double, 3> rotate{};  // degrees about the screen's X, Y, Z, in this order
  std::optional<int> size;         // pixels
  std::optional<double> resolution;
  std::optional<PictureBackground> background;
  std::string recipe;  // a picture recipe's file
  std::optional<bool> labels;
  bool cell = false;
  std::optional<bool> openGl;
  bool blackWhite = false;
  std::optional<int> layers;
  bool json = false;
  bool yes = false;
  bool timing = false;
  std::optional<double> skipTableBelow;  // Å: a refinement that moved less prints no table

  // Anything was asked for that needs no window.
  bool IsBatch() const { return task != BatchTask::None || !commands.empty(); }

  std::string error;  // what is wrong with the command line, "" when nothing is
};

// Reads the words behind the program's name. After an error the rest is not looked at.
CommandLineOptions ParseCommandLine(const std::vector<std::string>& words);

// "203; 144=C*; 138, 139": steps end at ";", bare numbers also at ",". Nothing, with the offending step in `wrong`,
// when one does not begin with a number.
std::optional<std::vector<CommandStep>> ParseCommandSteps(const std::string& text, std::string& wrong);

// What --help prints.
const char* CommandLineHelp();

}  // namespace marvik

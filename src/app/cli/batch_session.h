#pragma once

#include <iosfwd>
#include <string>

#include "app/cli/command_line_options.h"
#include "app/workbench.h"

namespace marvik {

// One line on standard error for each message; questions are answered without asking.
class LineMessages : public UserMessages {
 public:
  LineMessages(std::ostream& err, bool yes) : err_(err), yes_(yes) {}

  void Show(const UserMessage& message) override;
  bool AskYesNo(const UserMessage& question, Unattended answer) override;
  void RequestQuit() override { quitRequested = hasProblem = true; }

  std::string place;  // of what is being played, before each line
  bool hasProblem = false;
  bool quitRequested = false;

 private:
  std::ostream& err_;
  bool yes_;
};

// One file without a window: reads it, runs the commands, then the actions.
class BatchSession {
 public:
  BatchSession(const CommandLineOptions& commandLine, const std::string& executable, std::ostream& results,
               std::ostream& errors);
  // Reads the file and runs the commands. False after a message.
  bool Open() { return Prepare() && RunSteps(); }
  // All of it; gives an exit status.
  int Run();
  // By the angles of the command line.
  void Turn();

  const CommandLineOptions& options;
  std::ostream& out;
  std::ostream& err;
  LineMessages messages;
  Workbench bench;

 private:
  bool Prepare();
  void SetUpRefinement();
  bool RunSteps();
  void PrintTiming();
};

// The actions of the option table. False after a message.
bool WriteAction(BatchSession& session, const BatchAction& action);
bool PictureAction(BatchSession& session, const BatchAction& action);
// Makes the session's structure and settings what the picture is to show. False after a message.
bool PreparePicture(BatchSession& session);
void ApplyPictureOptions(const CommandLineOptions& options, PictureOptions& picture);
// One picture of the several files; gives an exit status.
int RunSheet(const CommandLineOptions& options, const std::string& executable, std::ostream& out, std::ostream& err);
bool BenchmarkViewAction(BatchSession& session, const BatchAction& action);
bool ReportAction(BatchSession& session, const BatchAction& action);
bool ScriptAction(BatchSession& session, const BatchAction& action);
// Look at the bytes of the file, whatever the reader would make of it. False from an error or level A on.
bool LintAction(BatchSession& session, const BatchAction& action);
bool CheckAction(BatchSession& session, const BatchAction& action);
// Prints every item that is the user's to give.
bool PublicationAction(BatchSession& session, const BatchAction& action);
bool CompareAction(BatchSession& session, const BatchAction& action);
// From the CIF of FILE's refinement.
bool DocumentAction(BatchSession& session, const BatchAction& action);
// Writes the files that a CIF carries beside it, or where --into says.
bool ExtractAction(BatchSession& session, const BatchAction& action);
// Needs the window; here it says so.
bool EditAction(BatchSession& session, const BatchAction& action);

// What to refine of a CIF that carries reflections: NAME.res beside them, written out, or the CIF where there are none.
// "" after a message.
std::string JobOfCif(BatchSession& session);

}  // namespace marvik

#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace marvik {

class Workbench;
struct EditFault;
struct FieldRange;

// What became of a command. Failed: a message was shown and nothing was changed. Cancelled: the user or the caller
// backed out without a word. Changed: done, and the structure or its drawing is no longer what it was.
enum class Outcome : uint8_t { Failed, Cancelled, Done, Changed };

// Which part of the document a command may change. Drawing is what no instruction file holds (bond styles, labels,
// hidden atoms); Structure is what a save writes.
enum class CommandEffect : uint8_t { None, Drawing, Structure };

// When a menu shows a command that has a handler as available. Commands whose precondition has a message of its own
// are always available.
enum class EnabledRule : uint8_t {
  Always,
  Atoms,
  Selection,
  PickedAtom,
  PickedOrSelected,
  KilledAtoms,
  PickedBond,
  BondsChosen,
  UndoStep,
  RedoStep,
  RecentFile
};

// Commands that code speaks of by name; the numbers of all others stand in the table only.
enum CommandId : int {
  kOpenCommand = 100,
  kSaveCommand = 101,
  kSaveAsCommand = 102,
  kRefineCommand = 103,
  kExitCommand = 104,
  kLabelsCommand = 106,
  kDepthCueCommand = 107,
  kKillSelectedCommand = 113,
  kEditAtomCommand = 114,
  kSortCommand = 115,
  kZoomOutCommand = 118,
  kZoomCommand = 119,
  kPanCommand = 120,
  kRotateCommand = 121,
  kWireFrameCommand = 123,
  kBallAndStickCommand = 124,
  kThermalEllipsoidCommand = 125,
  kSelectPickedAtomCommand = 127,
  kEditPickedAtomCommand = 128,
  kGrowCommand = 138,
  kShowCellCommand = 143,
  kSelectAtomsCommand = 144,
  kPipesCommand = 158,
  kReadFileCommand = 160,
  kSelectByNameCommand = 163,
  kPackCommand = 142,
  kPackCountCommand = 164,
  kChangePartCommand = 167,
  kHidePartCommand = 168,
  kGroupLabelCommand = 183,
  kSelectPickedBondCommand = 186,
  kDeselectCommand = 184,
  kHfixCommand = 192,
  kRestoreCommand = 193,
  kKillPeaksCommand = 203,
  kAtomPreferencesCommand = 206,
  kColourScreenCommand = 208,
  kColourPrinterCommand = 209,
  kColourJpegCommand = 214,
  kBlackWhiteJpegCommand = 215,
  kOpenGlPreferencesCommand = 216,
  kCustomWidthCommand = 220,
  kSameCommand = 239,
  kPositionLabelCommand = 196,
  kFmolCommand = 200,
  kRecentFilesMenu = 228,  // the sub-menu that lists the recent files; no command
  kFmolAfterChangesCommand = 229,
  kSaveAllCommand = 230,
  kAboutCommand = 300,
  kUndoCommand = 500,
  kRedoCommand = 501,
  kZoomInCommand = 502,
  kResetViewCommand = 503,
  kSavePictureCommand = 504,
  kSaveRecipeCommand = 505,
  kApplyRecipeCommand = 506,
  kCompareCommand = 507,
  kReloadCommand = 508,
  kRenameAtomCommand = 510,
  kEditLinesCommand = 512,
  kRefinementStepCommand = 520,
  kSolveCommand = 521,
  kCompleteCommand = 522,
  kNewFromReflectionsCommand = 523,
  kStructurePanelCommand = 530,
  kRefinementPanelCommand = 531,
  kModelPanelCommand = 532,
  kHistoryPanelCommand = 533,
  kInstructionsPanelCommand = 534,
  kGeometryPanelCommand = 535,
  kUsualPanelsCommand = 538,
  kNoPanelsCommand = 539,
  kPaletteCommand = 540,
  kKeySheetCommand = 541,
  kDarkLookCommand = 560,
  kLightLookCommand = 561,
  kPaperLookCommand = 562,
  kClassicLookCommand = 563,
  kDesktopLookCommand = 564,
  kLitCommand = 566,
  kPreferencesCommand = 570,
  kTourCommand = 571,
  kAmbientShadowCommand = 572,
  kInertiaCommand = 573,
  kViewDirectionCommand = 580,  // the first of six: a b c a* b* c*
  kViewBestPlaneCommand = 586,
  kViewAlongBondCommand = 588,
  kDensityCommand = 590,
  kDensityDifferenceCommand = 591,
  kDensityTwiceCommand = 592,
  kDensityObservedCommand = 593,
  kDensityLevelCommand = 594,
  kDensityRaiseCommand = 595,
  kDensityLowerCommand = 596,
  kSplitCommand = 600,
  kJoinCommand = 601,
  kShowPartCommand = 602,
  kPeakLevelCommand = 603,
  kSwingCommand = 661,
  kRestrainCommand = 605,
  kRemoveRestraintCommand = 607,
  kPartsPanelCommand = 610,
  kRestraintsPanelCommand = 611,
  kEditRestraintCommand = 614,
  kFragmentCommand = 617,
  kJournalPanelCommand = 630,
  kPublicationCommand = 631,
  kFigureCommand = 650,
  kSaveStyleCommand = 651,
  kApplyStyleCommand = 652,
  kTripodCommand = 653,
  kPlanesCommand = 662,
  kScaleBarCommand = 654,
  kLegendCommand = 655,
  kHydrogenBondsCommand = 656,
  kShortContactsCommand = 657,
  kClipCommand = 682,
  kClipThinnerCommand = 683,
  kClipThickerCommand = 684,
  kClipNearerCommand = 685,
  kClipFartherCommand = 686,
  kFirstRecentFileCommand = 10101,  // to 10110
};
inline constexpr int kRecentFileCount = 10;

struct CommandCall {
  int id = 0;
  std::string argument;  // what a dialog or a pick would give, "" for none
};

struct CommandRow {
  int id;
  const char* name;      // on the command line and in scripts: "kill"; each once
  const char* text;      // of its menu entry, "&" before the key; commands without an entry have a plain one
  const char* shortcut;  // "Ctrl+O", "" for none
  // What the text behind "=" is: "" takes none, "[ATOM]" may have one, "FILE" must; "[on|off]" sets what the command
  // without it would toggle.
  const char* argument;
  CommandEffect effect;
  EnabledRule rule;
  Outcome (*run)(Workbench&, const CommandCall&);     // null: not available, for the reason below
  bool (*checked)(const Workbench&);                  // null: an entry without a check mark
  const char* greyed;                                 // a plain sentence, "" with a handler
  std::span<const FieldRange> (*fields)() = nullptr;  // every FIELD=VALUE that the argument may hold

  bool NeedsArgument() const { return argument[0] != '\0' && argument[0] != '['; }
  bool TakesOnOff() const { return argument == std::string_view("[on|off]"); }
};

// Why what changes or saves the document cannot be done during a refinement.
inline constexpr char kRefinementRuns[] = "A refinement is running: wait for it, or cancel it.";

// Every command of the program, each once, ascending.
std::span<const CommandRow> CommandTable();
// Nothing for an unknown id.
const CommandRow* FindCommand(int id);
// By name, or by number as text.
const CommandRow* FindCommand(std::string_view nameOrNumber);
// The menu text without its marks: "Save As".
std::string PlainText(const CommandRow& row);

// One command with the text behind its "=".
struct CommandStep {
  int id = 0;
  std::string argument;
};
// "203; select=C*; grow, trim": steps end at ";", bare names and numbers also at ",". Nothing, with the offending step
// in `wrong`, when one begins with neither a number nor the name of a command.
std::optional<std::vector<CommandStep>> ParseCommandSteps(std::string_view text, std::string& wrong);

// What is wrong with the text behind "=" as far as the table tells: a field that the command does not have, a value
// where it takes none, or neither "on" nor "off".
EditFault ArgumentFault(const CommandRow& row, const std::string& argument);

// Every command a line: number, name and menu text. With fields a line for what each command takes as a whole and for
// each of its fields: number, name, field, values, caption. Parted by tabs.
std::string CommandList(bool fields);

// What a menu shows now.
bool CommandEnabled(const Workbench& bench, int id);
bool CommandChecked(const Workbench& bench, int id);
// The text of the entry, with the name of the command that undo would take back or redo repeat.
std::string CommandText(const Workbench& bench, int id);

// The one way to run a command: menus, context menus, shortcuts, keys, the demo, the command line and the tests. An
// unknown command, one without a handler, and one that needs an argument where neither the caller nor the window gives
// one are answered with a message. Marks the document as changed and asks for a repaint as the outcome says.
Outcome RunCommand(Workbench& bench, int id, const std::string& argument = {});

enum class MenuKind : uint8_t { Bar, AtomPopup, BondPopup, BackgroundPopup };

// A command (id, no items), a sub-menu (items, or the id kRecentFilesMenu), or a separator (id 0, no text).
struct MenuNode {
  int id = 0;
  std::string text;
  std::vector<MenuNode> items;

  bool IsSeparator() const { return id == 0 && text.empty(); }
  bool IsMenu() const { return !items.empty() || id == kRecentFilesMenu; }
};

// The entries of a menu in their order; of the bar, the top-level menus. The Recent Files sub-menu is empty here.
std::vector<MenuNode> MenuOf(MenuKind kind);
// The entries of the Recent Files sub-menu now: one for each slot that holds a path.
std::vector<MenuNode> RecentFileEntries(const Workbench& bench);

}  // namespace marvik

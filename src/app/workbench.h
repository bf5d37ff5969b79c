#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "app/package_settings.h"
#include "app/picture/picture_settings.h"
#include "app/uncertainty_files.h"
#include "base/user_messages.h"
#include "chem/environment.h"
#include "draw/canvas/image.h"
#include "draw/renderer/interactive_renderer.h"
#include "draw/view/view_state.h"
#include "files/res/writer.h"
#include "gl/gl_settings.h"
#include "model/document.h"
#include "model/undo.h"
#include "picture/picture_options.h"

namespace marvik {

class PicturePage;
struct ReportRequest;

class RefinementRun;
struct DensityState;
struct RefinementReport;
struct FoundModels;
struct StrainedAtoms;

// Gives what is to be done with what it worked out, or nothing; see StopScope.
using BackgroundWork = std::function<std::function<void()>()>;

// By which the core tells a window that something is to be shown anew. All may be empty: then nobody is looking.
struct WindowHooks {
  std::function<void()> repaint;
  std::function<void()> titleChanged;        // Title() or modified changed
  std::function<void()> recentFilesChanged;  // the sub-menu is to be rebuilt
  std::function<void(bool)> busy;            // the wait cursor on and off
  std::function<void()> quit;                // leave the program
  // Opens a file in the user's editor, waiting until it is closed when the flag says so. False after a message.
  std::function<bool(const std::string& path, bool wait)> runEditor;
  // Shows the dialog of a command, or starts its pick, and gives the text that stands for what was entered. Nothing
  // when it was cancelled, or when the window will run the command itself once the pick is made.
  std::function<std::optional<std::string>(int id)> askArgument;
  // The stages of a refinement: the dialog that edits its settings (false: cancelled), its run from start to end, and
  // what becomes of its result (true: accepted). Without them the settings are taken as they are, the run is followed
  // on the calling thread, and a result is accepted unless there is a doubt about it.
  std::function<bool(RefinementSettings&)> editRefinement;
  std::function<void(RefinementRun&)> followRun;
  // Ends the program that is followed; empty where nobody could ask for it.
  std::function<void()> stopRun;
  std::function<bool(const RefinementReport&)> judgeRefinement;
  // Which model of a solution or completion is taken, nothing for none; `show` puts one into the window meanwhile.
  // Without it the proposed one is.
  std::function<std::optional<size_t>(const FoundModels&, const std::function<void(size_t row)>& show)> chooseModel;
  // After a file was opened: its full path.
  std::function<void(const std::string& path)> fileOpened;
  // Shows a help document, a PDF file. False after a message.
  std::function<bool(const std::string& path)> openDocument;
  // Hands a query file to ConQuest, or says that there is none. Without a hook the file is all there is.
  std::function<void(const std::string& path)> startConQuest;
  // Prints the view on a printer that the user chooses. False when that was cancelled or, after a message, failed.
  std::function<bool()> printView;
  // Shows the picture of the view's square, with this colour (0 to 1) around it, until the drawing would change.
  std::function<void(const Image& picture, const std::array<double, 3>& around)> showPicture;
  // The printer that the user chooses; nothing when that was cancelled or, after a message, failed.
  std::function<std::unique_ptr<PicturePage>()> choosePrinter;
  // Asked during the drawing of a picture file or a page: whether to go on. False is the user's Escape or Space.
  std::function<bool()> goOn;
  // Starts the demo, which sets DemoRunning and plays on a thread of its own, or stops it.
  std::function<void(bool on)> demo;
  // Shows or hides a panel, or all of them, by the command that does so; says whether one is shown.
  std::function<void(int command, bool on)> showPanel;
  std::function<bool(int command)> isPanelShown;
  std::function<bool()> isDesktopDark;
  // Shows a dialog of the window that changes nothing by itself, by its command.
  std::function<void(int command)> showTool;
  // Shows a text in a window beside the model; the command line prints it.
  std::function<void(const std::string& title, const std::string& text)> showText;
  // What is being typed becomes part of the structure before something else is done with it. False when the user wants
  // to go on typing.
  std::function<bool()> settleText;
  // Asks whether unsaved changes may be lost, or saves them first; `what` is what comes next. Without it the question
  // is one of yes and no.
  std::function<bool(const std::string& what)> mayLoseChanges;
  // Takes a report: a window beside the model, or the command line's output.
  std::function<void(const ReportRequest& request)> showReport;
  // Does work off the window's thread, then what it gives in the window's; without it whoever has work does it itself.
  // One piece at a time: newer work of a name takes the place of older one, and the user may stop it.
  std::function<void(const std::string& name, BackgroundWork work)> inBackground;
  // The text of the clipboard. The command line has none.
  std::function<void(const std::string& text)> setClipboard;
  std::function<std::string()> clipboard;
  // Says something where it is soon gone again; nobody has to answer.
  std::function<void(const std::string& text)> tell;
};

// What the reports of a session remember.
struct ReportState {
  // Normal of the last plane, in the frame of this file and cell.
  std::optional<Cartesian> planeNormal;
  std::string planeKey;
  double environmentRadius = kDefaultEnvironment;  // Å, as last asked for
  mutable UncertaintyFile uncertainties;           // what was read and may be read again
};

// Seconds spent so far, for the command line's timing line.
struct StageSeconds {
  double read = 0.0;
  double connect = 0.0;
  double draw = 0.0;
  double write = 0.0;
};

// Adds the time from its making to its end to one of them.
class StageClock {
 public:
  explicit StageClock(double& seconds) : seconds_(seconds) {}
  ~StageClock() { seconds_ += std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count(); }
  StageClock(const StageClock&) = delete;
  StageClock& operator=(const StageClock&) = delete;

 private:
  double& seconds_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

enum MouseModeValue { kMouseZoom = 0, kMousePan = 1, kMouseRotate = 2 };

// The document, how it is shown, the settings of the session, and who is told. Commands take one of these.
class Workbench {
 public:
  // `messages` must outlive the workbench. Reads no file.
  explicit Workbench(UserMessages& userMessages) : messages(userMessages) {}
  Workbench(const Workbench&) = delete;
  Workbench& operator=(const Workbench&) = delete;

  Document document;
  ViewState view;
  InteractiveRenderer renderer;
  UserMessages& messages;
  WindowHooks hooks;
  PackageSettings settings;
  PictureSettings pictures;
  PictureOptions pictureFile;  // of the picture file saved last
  StageSeconds seconds;
  ReportState reports;
  std::shared_ptr<DensityState> density;  // null until it is first asked for
  UndoHistory history;
  std::string installedDirectory;  // what the installation brings for the package directory, "" when not known
  std::vector<std::vector<uint32_t>> uniqHistory;  // serials of what was shown before each UNIQ, empty for everything

  int RenditionMode = kWireFrame;
  int MouseMode = kMouseRotate;
  bool LabelsOn = true;
  bool HydrogenLabelsOn = false;
  bool HybridLabelColoration = false;
  bool ShowCell = false;
  bool elementBadges = false;
  Look look = Look::Classic;
  FigureChoices figure;
  double labelPoints = 9.0;
  LabelForm labelForm = LabelForm::Plain;
  std::vector<std::string> measuredGroups;  // planes and centroids of the picture beside those that the file keeps
  bool lookFollowsDesktop = false;
  bool SafeColours = false;
  bool inertia = false;  // a view that is let go while it turns turns on for a while
  bool FmolAfterChanges = true;
  bool SaveAllPending = false;
  bool keepsRecentFiles = false;  // whether a successful read enters the recent list; the window says yes
  bool refining = false;          // a refinement runs beside the window: the document has to stay as it is
  bool modified = false;          // the structure has changes that no file holds
  unsigned changes = 0;           // counts what changed the structure
  bool quitRequested = false;
  std::atomic<uint8_t> DemoRunning{0};  // the one thing here that the demo's thread may touch

  // "Marvik" without a file, else the name of the current file. The mark of unsaved changes is the window's.
  std::string Title() const;
  // Classic is the bare picture as stated, a wire frame where it was lit; another look after it has the usual panels.
  void SetLook(Look chosen);
  // What the interactive renderer is to draw on the screen.
  RenderOptions ScreenOptions() const;
  // What the figure shows of hydrogen bonds, short contacts, measures and restraints, null for none. Kept until the
  // structure or the atoms shown are others.
  std::shared_ptr<const std::vector<DrawnContact>> Contacts() const;
  std::shared_ptr<const FigureMarks> Marks() const;

  // The atom or bond that a context menu was opened on. The window picks before it shows the menu and clears the pick
  // once the command has run. They are kept by serial number, so that nothing dangles when the structure changes.
  void PickAtom(const AtomRecord* atom);
  void PickBond(const BondRecord* bond);
  void ClearPick();
  AtomRecord* PickedAtom() const;
  BondRecord* PickedBond() const;

  // Rebuilds the bonds. The view's centre follows the atoms unless the view is zoomed on a selection; radius, zoom and
  // pan stay.
  void ConnectAndReframe();
  // Lets the view's centre follow the atoms after a change that has made the bonds already.
  void FollowCentre();
  // What follows every change of which atoms there are or where they are: bonds, molecules brought together when
  // runFmol is set and nothing was generated, centre, repaint.
  void RefreshAfterStructureChange(bool runFmol);
  // Fits the view to the whole structure again; with `face` it turns to the best plane and nothing is cut away, as
  // after loading. The classic look keeps the sphere about the model's middle and the rotation.
  void ResetViewToModel(bool face = false);
  // Whether the view still has the frame that the last reset gave it; its rotation may be another.
  bool ViewIsFitted() const;
  // The tightest frame as the view stands now, but in the classic look.
  void FitView();

  // What "opengl.prf" said when it was first needed, and what was set since.
  OpenGlSettings& GlSettings();

  void SetModified(bool on);
  // Whether undo and redo have come back to the state that a file holds. NoteState, after each command, keeps that one.
  bool IsAsSaved() const { return history.State() == savedState_; }
  void NoteState() {
    if (!modified) savedState_ = history.State();
  }
  void Repaint() const;
  void TitleChanged() const;
  void SetBusy(bool on) const;

  // Files that this program wrote since it started, as it left them: overwriting them again keeps no backup.
  std::map<std::string, FileStamp> writtenFiles;
  FileLayout saveLayout = FileLayout::AsRead;
  std::set<std::string> remarksShown;     // files whose remarks were already shown as lost by saving
  std::set<std::string> includesAllowed;  // files of other folders that may be included

 private:
  uint64_t savedState_ = 0;
  uint32_t pickedAtom_ = 0;
  uint32_t pickedBondOwner_ = 0;
  uint32_t pickedBondPartner_ = 0;
  Cartesian followedCentre_;
  Cartesian modelCentre_;  // of the sphere about the model when the view was fitted
  double fittedRadius_ = 0.0;
  std::optional<OpenGlSettings> glSettings_;
  size_t KeyOfShown() const;
  // How far each restraint is from being kept. For large models they are worked out beside the window, and those from
  // before are given until then.
  std::shared_ptr<const std::vector<StrainedAtoms>> Strains(size_t key) const;
  template <class Kept>
  struct KeptForKey {
    std::shared_ptr<const Kept> value;
    size_t key = 0;
  };
  mutable KeptForKey<std::vector<DrawnContact>> contacts_;
  mutable KeptForKey<FigureMarks> marks_;
  mutable KeptForKey<std::vector<StrainedAtoms>> strains_;
};

}  // namespace marvik

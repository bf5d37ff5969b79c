#include "help_pictures.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTimer>
#include <array>
#include <cstdio>
#include <functional>
#include <sstream>

#include "app/cli/command_line.h"
#include "app/package_directory.h"
#include "app/picture/picture_output.h"
#include "run/refinement_run.h"
#include "ui/area/drawing_area.h"
#include "ui/dialogs/refinement/run_dialog.h"
#include "ui/main_window.h"
#include "ui/panels/journal_panel.h"
#include "ui/panels/panel_set.h"
#include "ui/text.h"
#include "ui/texts/help_window.h"
#include "ui/texts/report_window.h"
#include "ui/window_messages.h"

namespace marvik {
namespace {

struct PictureRow {
  const char* name;
  const char* example;
  const char* commands;  // as the command line has them
  int rendition;
  std::array<double, 3> rotate;  // degrees about the screen's axes
  int size;
  bool labels;
};
constexpr PictureRow kPictures[] = {
    {"wire.png", "azathiop", "", kWireFrame, {0, 0, 0}, 560, false},
    {"ball.png", "azathiop", "", kBallAndStick, {0, 0, 0}, 560, false},
    {"ellipsoid.png", "oligomer", "", kThermalEllipsoid, {0, 0, 0}, 560, false},
    {"lit.png", "oligomer", "", kLitRendition, {0, 0, 0}, 560, false},
    {"pipes.png", "azathiop", "", kPipes, {0, 0, 0}, 560, false},
    {"peaks.png", "azastart", "", kBallAndStick, {0, 0, 0}, 900, true},
    {"finished.png", "azathiop", "", kBallAndStick, {0, 0, 0}, 900, true},
    {"sulphur.png", "sulphur", "", kBallAndStick, {0, 0, 0}, 560, true},
    {"sulphur-grown.png", "sulphur", "138", kBallAndStick, {0, 0, 0}, 560, true},
    {"packed.png", "oligomer", "142=0,1,0,1,0,1;143", kPipes, {0, 0, 0}, 900, false},
};

// What is grabbed: the window itself, the dialog or report that the command brings up (New from Reflections behind the
// file dialog), what a run ends with, that run when it has finished, the panel that the command shows, or a document.
enum class Shot { Window, Dialog, AfterFile, Result, Run, Panel, Help };
struct ShotRow {
  const char* name;
  const char* example;
  const char* commands;
  int command;  // run last, 0 for none
  Shot shot;
  bool refined = false;  // once, and accepted, before the last command
};
constexpr char kNamePeaks[] =
    "510=Q1 O18; 510=Q2 O19; 510=Q3 N16; 510=Q4 N13; 510=Q5 C12; 510=Q6 C14; 510=Q7 C15; 510=Q8 N17; 510=Q9 C11; 203";
constexpr ShotRow kShots[] = {
    {"window.png", "azathiop", "", 0, Shot::Window},
    {"look-dark.png", "oligomer", "539; 560", 0, Shot::Window},
    {"look-light.png", "oligomer", "539; 561", 0, Shot::Window},
    {"look-paper.png", "oligomer", "539; 562", 0, Shot::Window},
    {"look-classic.png", "oligomer", "563", 0, Shot::Window},
    {"look-safe.png", "azathiop", "539; 561; 565", 0, Shot::Window},
    {"tour.png", "azathiop", "539; 571", 0, Shot::Window},
    {"structure-panel.png", "azathiop", "", kStructurePanelCommand, Shot::Panel},
    {"refinement-panel.png", "azastart", kNamePeaks, kRefinementPanelCommand, Shot::Panel, true},
    {"model-panel.png", "azathiop", "144=N2 H3", kModelPanelCommand, Shot::Panel},
    {"geometry-panel.png", "azathiop", "144=C3 N2 C7 S1", kGeometryPanelCommand, Shot::Panel},
    {"parts-panel.png", "whewell", "", kPartsPanelCommand, Shot::Panel},
    {"restraints-panel.png", "azathiop", "605=kind=distance target=1.33 C3 N2 C3 N4", kRestraintsPanelCommand,
     Shot::Panel},
    {"history-panel.png", "azastart", kNamePeaks, kHistoryPanelCommand, Shot::Panel, true},
    {"instructions-panel.png", "azathiop", "144=N4", kInstructionsPanelCommand, Shot::Panel},
    {"journal-panel.png", "azastart", kNamePeaks, kJournalPanelCommand, Shot::Panel, true},
    {"refine-control.png", "azastart", "203", kRefineCommand, Shot::Dialog},
    {"refine-run.png", "azastart", kNamePeaks, kRefineCommand, Shot::Run},
    {"refine-result.png", "azastart", kNamePeaks, kRefineCommand, Shot::Result},
    {"refinement-history.png", "azastart", kNamePeaks, kRefinementStepCommand, Shot::Dialog, true},
    {"publication.png", "azastart", kNamePeaks, kPublicationCommand, Shot::Dialog, true},
    {"compare.png", "azastart", kNamePeaks, kCompareCommand, Shot::Dialog, true},
    {"save-swing.png", "azastart", kNamePeaks, kSwingCommand, Shot::Dialog, true},
    {"select-atoms.png", "azathiop", "", kSelectAtomsCommand, Shot::Dialog},
    {"rename.png", "azathiop", "144=S1", kRenameAtomCommand, Shot::Dialog},
    {"edit-atom.png", "azathiop", "144=S1", kEditAtomCommand, Shot::Dialog},
    {"sort.png", "azathiop", "", 115, Shot::Dialog},
    {"group-label.png", "azathiop", "144=C*", 183, Shot::Dialog},
    {"change-part.png", "whewell", "144=O1*", kChangePartCommand, Shot::Dialog},
    {"hide-part.png", "whewell", "", 168, Shot::Dialog},
    {"hfix.png", "azathiop", "144=N10", kHfixCommand, Shot::Dialog},
    {"restore.png", "azathiop", "144=H*; 113", 193, Shot::Dialog},
    {"bond-width.png", "azathiop", "186=C5 C6", 220, Shot::Dialog},
    {"split.png", "whewell", "144=C1 C2", kSplitCommand, Shot::Dialog},
    {"restrain.png", "azathiop", "144=C3 N2", kRestrainCommand, Shot::Dialog},
    {"fragment.png", "azathiop", "144=C5 C6 C9", kFragmentCommand, Shot::Dialog},
    {"pack.png", "azathiop", "", 142, Shot::Dialog},
    {"depth-cue.png", "azathiop", "", kDepthCueCommand, Shot::Dialog},
    {"save-picture.png", "azathiop", "", kSavePictureCommand, Shot::Dialog},
    {"atom-preferences.png", "azathiop", "", kAtomPreferencesCommand, Shot::Dialog},
    {"opengl-preferences.png", "azathiop", "124", kOpenGlPreferencesCommand, Shot::Dialog},
    {"preferences.png", "azathiop", "", kPreferencesCommand, Shot::Dialog},
    {"find-command.png", "azathiop", "", kPaletteCommand, Shot::Dialog},
    {"keys.png", "azathiop", "", kKeySheetCommand, Shot::Dialog},
    {"editor.png", "azathiop", "", 148, Shot::Dialog},
    {"bitmap-preferences.png", "azathiop", "", 214, Shot::Dialog},
    {"overlay.png", "azathiop", "144=C3 N2 C7 C14 N13 C12", 621, Shot::Dialog},
    {"bonds-report.png", "azathiop", "", 137, Shot::Dialog},
    {"open-file.png", "azastart", "", kOpenCommand, Shot::Dialog},
    {"save-file.png", "azastart", "", kSaveAsCommand, Shot::Dialog},
    {"new-job.png", "azastart", "", kNewFromReflectionsCommand, Shot::AfterFile},
    {"found-models.png", "azastart", "", kSolveCommand, Shot::Result},
    {"help.png", "azastart", "", 0, Shot::Help},  // last: the document has pictures
};

// Takes the picture of every window that comes up beside the main one, and dismisses it.
class Photographer : public QObject {
 public:
  explicit Photographer(const QWidget& mainWindow) : main_(mainWindow) { qApp->installEventFilter(this); }
  ~Photographer() override { qApp->removeEventFilter(this); }
  QString target;
  QString file;  // what a file dialog is given that comes before; empty: that dialog is the picture
  bool taken = false;
  std::function<bool(const QWidget&)> isReady;  // empty: at once

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    auto* widget = qobject_cast<QWidget*>(watched);
    if (event->type() != QEvent::Show || !widget || !widget->isWindow() || widget == &main_) return false;
    QTimer::singleShot(0, widget, [this, widget] { Take(*widget); });
    return false;
  }

 private:
  void Take(QWidget& widget) {
    auto* dialog = qobject_cast<QDialog*>(&widget);
    auto* files = qobject_cast<QFileDialog*>(dialog);
    if (files && !file.isEmpty()) {
      files->selectFile(file);
      return dialog->accept();
    }
    if (!taken && isReady && !isReady(widget))
      return QTimer::singleShot(50, &widget, [this, &widget] { Take(widget); });
    if (!taken) taken = widget.grab().save(target);
    // Closing one that would lose something brings up a question.
    dialog ? dialog->done(QDialog::Rejected) : static_cast<void>(widget.close());
  }

  const QWidget& main_;
};

bool Draw(const PictureRow& row, const QString& examples, const QString& folder) {
  WindowMessages messages;
  Workbench bench(messages);
  InitElementTable(bench.document.elements, true);
  bench.RenditionMode = row.rendition;
  bench.LabelsOn = row.labels;
  bench.FmolAfterChanges = false;
  const QString file = examples + QLatin1Char('/') + QString::fromUtf8(row.example) + QStringLiteral(".res");
  if (RunCommand(bench, kReadFileCommand, PathToBytes(file)) != Outcome::Done) return false;
  std::string wrong;
  const auto steps = ParseCommandSteps(row.commands, wrong);
  if (!steps) return false;
  for (const CommandStep& step : *steps) {
    if (RunCommand(bench, step.id, step.argument) == Outcome::Failed) return false;
  }
  bench.ResetViewToModel();
  constexpr std::array<std::array<double, 3>, 3> kAxes{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  for (size_t i = 0; i < 3; ++i) bench.view.RotateView(row.rotate[i], kAxes[i], true);
  // On white, as they are to be printed.
  PictureOptions options;
  options.size = row.size;
  options.background = PictureBackground::White;
  return WritePicture(bench, options, PathToBytes(folder + QLatin1Char('/') + QString::fromUtf8(row.name)), "png");
}

// The words of a shell's line, between blanks or single quotes.
bool RunGallery(const QString& command, const QString& examples, const QString& folder) {
  std::vector<std::string> words;
  for (QString word : QProcess::splitCommand(QString(command).replace(QLatin1Char('\''), QLatin1Char('"')))) {
    if (word.startsWith(QLatin1String("gallery-"))) word.prepend(folder + QLatin1Char('/'));
    if (word.endsWith(QLatin1String(".res"))) word.prepend(examples + QLatin1Char('/'));
    words.push_back(PathToBytes(word));
  }
  std::ostringstream out;
  std::ostringstream err;
  const int status = RunCommandLine(ParseCommandLine(words), {}, out, err);
  if (status != 0) std::fputs(err.str().c_str(), stderr);
  return status == 0;
}

// A run of which only the result is shown.
void RunUnseen(Workbench& bench, UserMessages& messages) {
  bench.hooks.editRefinement = [](RefinementSettings&) { return true; };
  bench.hooks.followRun = [&messages](RefinementRun& run) { RunToEnd(run, messages, [] { return false; }); };
}

void RefineAndAccept(Workbench& bench, MainWindow& window, UserMessages& messages) {
  const WindowHooks hooks = bench.hooks;
  RunUnseen(bench, messages);
  bench.hooks.judgeRefinement = [](const RefinementReport&) { return true; };
  window.Run(kRefineCommand, "acta=on");
  bench.hooks = hooks;
}

// Beside the picture alone, as the dock shows it.
bool GrabPanel(MainWindow& window, const ShotRow& row, const QString& target) {
  window.Run(kNoPanelsCommand);
  window.Run(row.command, "on");
  QCoreApplication::processEvents();
  QWidget* panel = window.Panels().Find(row.command);
  // What is counted and looked for meanwhile comes in by itself.
  QElapsedTimer clock;
  clock.start();
  const auto* journal = qobject_cast<JournalPanel*>(panel);
  while (clock.elapsed() < 600 || (journal && journal->IsBusy() && clock.elapsed() < 10000))
    QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
  return panel && panel->parentWidget()->grab().save(target);
}

bool Photograph(const ShotRow& row, const QString& examples, const QString& folder) {
  QTemporaryDir scratch;
  for (const char* extension : {".res", ".hkl"}) {
    const QString name = QLatin1Char('/') + QString::fromUtf8(row.example) + QString::fromUtf8(extension);
    QFile::copy(examples + name, scratch.path() + name);
  }
  const std::string file = PathToBytes(scratch.path() + QLatin1Char('/') + QString::fromUtf8(row.example)) + ".res";
  WindowMessages messages;
  Workbench bench(messages);
  InitElementTable(bench.document.elements, true);
  MainWindow window(bench, messages);
  Photographer photographer(window);
  photographer.target = folder + QLatin1Char('/') + QString::fromUtf8(row.name);
  window.resize(1120, 720);
  window.show();
  window.Run(kReadFileCommand, file);
  std::string wrong;
  for (const CommandStep& step : ParseCommandSteps(row.commands, wrong).value_or(std::vector<CommandStep>())) {
    window.Run(step.id, step.argument);
  }
  if (row.refined) RefineAndAccept(bench, window, messages);
  QCoreApplication::processEvents();
  if (row.shot == Shot::Window) {
    window.Area().Redraw();
    QCoreApplication::processEvents();
    photographer.taken = window.grab().save(photographer.target);
  } else if (row.shot == Shot::Help) {
    bench.installedDirectory = PathToBytes(folder) + "/../../";
    (new HelpWindow(bench, &window))->Show(QStringLiteral("Marvik_Tutor"), QStringLiteral("2-name-the-peaks"));
    QCoreApplication::processEvents();
  } else if (row.shot == Shot::Panel) {
    photographer.taken = GrabPanel(window, row, photographer.target);
  } else {
    if (row.shot == Shot::Result) RunUnseen(bench, messages);
    if (row.shot == Shot::AfterFile) {
      const QString base = PathToText(BaseNameOf(file));
      QFile::rename(base + QStringLiteral(".res"), base + QStringLiteral(".ins"));
      photographer.file = base + QStringLiteral(".hkl");
    }
    if (row.shot == Shot::Run) {
      bench.hooks.editRefinement = [](RefinementSettings&) { return true; };
      photographer.isReady = [](const QWidget& widget) {
        const auto* button = widget.findChild<QPushButton*>(QString::number(kRunButton));
        return !button || button->text() == QLatin1String("OK");
      };
    }
    if (row.command == 137) bench.PickAtom(bench.document.atoms.head);
    window.Run(row.command);
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
  }
  bench.modified = false;
  return photographer.taken;
}

}  // namespace

QStringList GalleryCommands(const QString& sources) {
  static const QRegularExpression kCommand(QStringLiteral("^    marvik (--picture gallery-\\S+\\.png .*)$"),
                                           QRegularExpression::MultilineOption);
  QStringList commands;
  for (const QFileInfo& entry : QDir(sources).entryInfoList({QStringLiteral("*.md")}, QDir::Files)) {
    QFile file(entry.filePath());
    if (!file.open(QIODevice::ReadOnly)) continue;
    static const QRegularExpression kContinued(QStringLiteral(" \\\\\n *"));
    const QString text = QString::fromUtf8(file.readAll()).replace(kContinued, QStringLiteral(" "));
    for (auto match = kCommand.globalMatch(text); match.hasNext();) commands << match.next().captured(1);
  }
  return commands;
}

QStringList HelpPictureNames(const QStringList& gallery) {
  QStringList names;
  for (const QString& command : gallery) names << command.section(QLatin1Char(' '), 1, 1);
  for (const PictureRow& row : kPictures) names << QString::fromUtf8(row.name);
  for (const ShotRow& row : kShots) names << QString::fromUtf8(row.name);
  return names;
}

QStringList MakeHelpPictures(const QStringList& gallery, const QString& examples, const QString& folder) {
  // Nothing of the user's own settings is to show.
  const QTemporaryDir package;
  SetUpPackageDirectory({}, PathToBytes(package.path()));
  const QString script = QStringLiteral("/zqfrommarvik.bat");
  QFile::copy(examples + QStringLiteral("/..") + script, package.path() + script);
  QStringList faults;
  for (const QString& command : gallery) {
    if (!RunGallery(command, examples, folder)) faults << QStringLiteral("%1 failed").arg(command);
  }
  for (const PictureRow& row : kPictures) {
    if (!Draw(row, examples, folder))
      faults << QStringLiteral("%1 could not be drawn").arg(QString::fromUtf8(row.name));
  }
  for (const ShotRow& row : kShots) {
    if (!Photograph(row, examples, folder)) {
      faults << QStringLiteral("%1 could not be taken").arg(QString::fromUtf8(row.name));
    }
  }
  return faults;
}

}  // namespace marvik

// The arguments of commands, asked by their dialogs.
#include <QDir>
#include <QFileInfo>
#include <memory>

#include "app/commands/gl_commands.h"
#include "app/commands/model_handlers.h"
#include "ui/area/drawing_area.h"
#include "ui/area/ghost_marks.h"
#include "ui/area/input_controller.h"
#include "ui/dialogs/argument_dialogs.h"
#include "ui/dialogs/compare_dialog.h"
#include "ui/dialogs/edit/edit_dialogs.h"
#include "ui/dialogs/edit/hfix_dialog.h"
#include "ui/dialogs/field_dialog.h"
#include "ui/dialogs/file_dialogs.h"
#include "ui/dialogs/picture_dialog.h"
#include "ui/dialogs/preferences/atom_preferences_dialog.h"
#include "ui/dialogs/preferences/bitmap_preferences_dialog.h"
#include "ui/dialogs/preferences/opengl_preferences_dialog.h"
#include "ui/dialogs/publication_dialog.h"
#include "ui/dialogs/refinement/new_job_dialog.h"
#include "ui/main_window.h"
#include "ui/refinement_windows.h"
#include "ui/text.h"

namespace marvik {

std::optional<std::string> MainWindow::AskArgument(int id) {
  const CommandRow* row = FindCommand(id);
  if (!row) return std::nullopt;
  if (id == kOpenCommand || id == kSaveAsCommand || id == kSaveAllCommand) return AskFile(id);
  if (id == kSavePictureCommand)
    return AskPicture(this, bench_, DialogDirectory(), settings_.dialogValues[QStringLiteral("picture")]);
  if (id == kSaveRecipeCommand || id == kApplyRecipeCommand) {
    const QString name = PathToText(BaseNameOf(bench_.Title()) + ".recipe");
    return AskRecipeFile(this, DialogDirectory(), name, id == kSaveRecipeCommand);
  }
  if (id == kSaveStyleCommand || id == kApplyStyleCommand)
    return AskStyleFile(this, DialogDirectory(), id == kSaveStyleCommand);
  if (id == kPublicationCommand) return AskPublication(this, bench_);
  if (id == kCompareCommand) return AskComparison(this, bench_);
  if (id == kSwingCommand) return AskSwing(this, bench_, DialogDirectory());
  if (id == kHfixCommand) return AskHfixOption(this);
  if (id == kRefinementStepCommand) return refinement_->AskStep();
  if (id == kNewFromReflectionsCommand) {
    const auto path = OpenFileDialog(this, DialogDirectory(), kReflectionFilters);
    return path ? AskNewJob(this, PathToBytes(*path)) : std::nullopt;
  }
  if (EditDialogs::Handles(id)) return edit_->Ask(id);
  if (id == kAtomPreferencesCommand) return AskAtomPreferences(this, bench_);
  if (id == kOpenGlPreferencesCommand) return AskOpenGlPreferences(this, bench_, *area_);
  if (id == kColourJpegCommand || id == kBlackWhiteJpegCommand) {
    // What cannot be drawn is answered by the command itself.
    const bool drawable = IsOpenGlRendition(bench_) && bench_.document.atoms.head;
    return drawable ? AskBitmapPreferences(this, bench_) : std::string();
  }
  if (id == kDepthCueCommand) {
    const auto level = AskDepthCueLevel(this, bench_.view.depthCueLevel);
    return level ? std::optional(std::to_string(*level)) : std::nullopt;
  }
  if (id == kPositionLabelCommand) {
    input_->StartLabelMove();
    return std::nullopt;
  }
  if (std::string_view(row->argument) == "ATOM" || id == kSameCommand) {
    // Without atoms to act on the command itself says what is missing.
    if (bench_.document.atoms.selection.Empty() && !bench_.PickedAtom()) return std::string();
    input_->StartPick(id);
    return std::nullopt;
  }
  if (id == kSplitCommand || id == kRestrainCommand || id == kEditRestraintCommand || id == kFragmentCommand) {
    QString& remembered = settings_.dialogValues[QString::fromUtf8(row->name)];
    FieldExtras extras;
    std::unique_ptr<GhostMarks> ghost;
    if (id == kFragmentCommand) {
      std::vector<std::string> faults;
      std::vector<GroupShape> library = FragmentLibrary(faults);
      for (const GroupShape& shape : library) extras.lists["fragment"] << ToText(shape.name);
      ghost = std::make_unique<GhostMarks>(*area_, FragmentPreview(bench_, std::move(library)));
    } else if (id == kSplitCommand) {
      ghost = std::make_unique<GhostMarks>(*area_, SplitPreview(bench_));
    }
    if (ghost) extras.preview = [&ghost](const EditArguments& entered) { return ghost->Show(entered); };
    const auto text = AskFields(this, *row, ToBytes(remembered), false, extras);
    if (text) remembered = ToText(*text);
    return text;
  }
  return AskText(*row);
}

std::optional<std::string> MainWindow::AskText(const CommandRow& row) {
  const std::string_view kind = row.argument;
  QString* remembered = kind == "ATOMS" ? &settings_.selectText : kind == "A,A,B,B,C,C" ? &settings_.packText : nullptr;
  const std::string before = remembered ? ToBytes(*remembered) : std::string();
  const auto text = kind == "A,A,B,B,C,C" ? AskPackParameters(this, before) : AskCommandText(this, row, before);
  if (text && remembered) *remembered = ToText(*text);
  return text;
}

QString MainWindow::DialogDirectory() const {
  const std::string& current = bench_.document.CurrentFile;
  if (!current.empty()) return QFileInfo(PathToText(current)).absolutePath();
  return QFileInfo(settings_.directory).isDir() ? settings_.directory : QDir::currentPath();
}

std::optional<std::string> MainWindow::AskFile(int id) {
  const QString name = ToText(BaseNameOf(FileNameOf(bench_.document.CurrentFile)));
  bool standardLayout = false;
  const auto path = id == kOpenCommand ? OpenFileDialog(this, DialogDirectory(), kOpenFilters)
                                       : SaveFileDialog(this, DialogDirectory(), name, standardLayout);
  if (!path) return std::nullopt;
  if (id != kOpenCommand) bench_.saveLayout = standardLayout ? FileLayout::Standard : FileLayout::AsRead;
  settings_.directory = QFileInfo(*path).absolutePath();
  return PathToBytes(*path);
}

}  // namespace marvik

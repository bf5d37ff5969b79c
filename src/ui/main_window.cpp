#include "ui/main_window.h"

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QStatusBar>
#include <QToolBar>
#include <algorithm>
#include <span>
#include <utility>

#include "app/commands/gl_commands.h"
#include "app/commands/model_handlers.h"
#include "app/open_save.h"
#include "app/package_settings.h"
#include "base/package_file.h"
#include "edit/edit_restraint.h"
#include "ui/area/atom_text.h"
#include "ui/area/contact_stubs.h"
#include "ui/area/drawing_area.h"
#include "ui/area/element_marks.h"
#include "ui/area/input_controller.h"
#include "ui/area/key_state.h"
#include "ui/background.h"
#include "ui/command_palette.h"
#include "ui/conquest.h"
#include "ui/demo_player.h"
#include "ui/dialogs/argument_dialogs.h"
#include "ui/dialogs/edit/edit_dialogs.h"
#include "ui/dialogs/field_dialog.h"
#include "ui/dialogs/file_dialogs.h"
#include "ui/dialogs/picture_dialog.h"
#include "ui/dialogs/preferences/preferences_dialog.h"
#include "ui/file_watch.h"
#include "ui/menu_set.h"
#include "ui/panels/panel_set.h"
#include "ui/panels/refinement_panel.h"
#include "ui/printing/page_printing.h"
#include "ui/printing/picture_printing.h"
#include "ui/refinement_windows.h"
#include "ui/text.h"
#include "ui/texts/help_window.h"
#include "ui/texts/key_sheet.h"
#include "ui/texts/report_window.h"
#include "ui/texts/text_editor.h"
#include "ui/texts/text_window.h"
#include "ui/texts/tour.h"
#include "ui/window_messages.h"

namespace marvik {
namespace {

constexpr int kMessageTime = 4000;  // ms
constexpr int kRecentCommands = 10;
constexpr size_t kMostRestraints = 20;  // in the menu of an atom
constexpr int kDemoTextTime = 10000;    // ms; usually the next comes first

QStringList LocalFiles(const QMimeData* data) {
  QStringList paths;
  if (!data) return paths;
  for (const QUrl& url : data->urls()) {
    if (url.isLocalFile()) paths << url.toLocalFile();
  }
  return paths;
}

}  // namespace

MainWindow::MainWindow(Workbench& bench, WindowMessages& messages) : bench_(bench) {
  settings_.Load();
  bench_.figure.measures = true;
  settings_.ShowIn(bench_);
  RestorePictureOptions(bench_, settings_.dialogValues.value(QStringLiteral("picture")));
  area_ = new DrawingArea(bench, this);
  area_->setAccessibleName(tr("Picture of the structure"));
  setCentralWidget(area_);
  input_ =
      new InputController(bench, *area_, [this](int id, const std::string& argument) { return Run(id, argument); });
  new ElementMarks(bench, *area_);
  input_->SetContacts([stubs = new ContactStubs(bench, *area_)](const QPointF& at) { return stubs->At(at); });
  menus_ = new MenuSet(bench, *menuBar(), [this](int id) { Run(id); });
  SetUpStatusBar();
  connect(input_, &InputController::StatusText, pointerText_, &QLabel::setText);
  connect(input_, &InputController::ContextMenuWanted, this, &MainWindow::ShowContextMenu);
  connect(area_, &DrawingArea::Interrupted, this,
          [this] { statusBar()->showMessage(tr("Drawing was stopped; any change draws it anew."), kMessageTime); });
  refreshTimer_.setSingleShot(true);
  refreshTimer_.setInterval(0);
  connect(&refreshTimer_, &QTimer::timeout, this, &MainWindow::Refresh);
  reports_ = new ReportWindows(bench, *this);
  help_ = new ContextHelp(bench, *this);
  SetUpHooks(messages);
  SetUpPanels();
  setAcceptDrops(true);
  ShowTitle();
  RestoreLayout();
  edit_ = new EditDialogs(bench, *this, settings_.dialogValues,
                          [this](int id, const std::string& argument) { return Run(id, argument); });
  area_->setFocus();
}

MainWindow::~MainWindow() {
  demo_.reset();
  bench_.hooks = {};
}

void MainWindow::SetUpHooks(WindowMessages& messages) {
  background_ = new Background(this, [this](const std::string& name) {
    workText_->setText(name.empty() ? QString() : tr("%1 ... Escape stops it").arg(ToText(name)));
    workText_->setVisible(!name.empty());
  });
  connect(input_, &InputController::Escaped, this, [this] {
    if (background_->Stop()) statusBar()->showMessage(tr("Stopped."), kMessageTime);
  });
  messages.parent = this;
  messages.beforeBox = [this] { area_->HoldFrames(true); };
  messages.afterBox = [this] { area_->HoldFrames(false); };
  messages.quit = [this] {
    quitNow_ = true;
    close();
  };
  bench_.hooks.repaint = [this] {
    area_->Redraw();
    refreshTimer_.start();
  };
  bench_.hooks.titleChanged = [this] { ShowTitle(); };
  bench_.hooks.recentFilesChanged = [this] { menus_->RebuildRecentFiles(); };
  bench_.hooks.busy = [this](bool on) { ShowBusy(on); };
  bench_.hooks.quit = [this] { close(); };
  bench_.hooks.runEditor = [this](const std::string& path, bool wait) {
    return RunEditor(*this, bench_.settings.EditorCommand, path, wait);
  };
  bench_.hooks.printView = [this] { return PrintViewWithDialog(this, bench_); };
  bench_.hooks.goOn = [watch = InterruptWatch()]() mutable { return watch.GoOn(); };
  bench_.hooks.openDocument = [this](const std::string& path) { return help_->OpenDocument(path); };
  bench_.hooks.askArgument = [this](int id) { return AskArgument(id); };
  refinement_ = std::make_unique<RefinementWindows>(
      bench_, *this, settings_, [this](const QString& text) { statusBar()->showMessage(text, kMessageTime); });
  refinement_->onCycles = [this](const std::vector<CyclePoint>& cycles) {
    if (auto* panel = qobject_cast<RefinementPanel*>(panels_->Find(kRefinementPanelCommand))) panel->ShowRun(cycles);
  };
  bench_.hooks.startConQuest = [this](const std::string& path) { StartConQuest(path, bench_.messages); };
  demo_ = std::make_unique<DemoPlayer>(
      bench_, *area_, [this](int id, const std::string& argument) { return Run(id, argument); },
      [this] { return running_ > 0; }, [this](const QString& text) { statusBar()->showMessage(text, kDemoTextTime); });
  bench_.hooks.demo = [this](bool on) { on ? demo_->StartDemo() : demo_->Stop(); };
  bench_.hooks.showPicture = [this](const Image& picture, const std::array<double, 3>& around) {
    area_->ShowPicture(picture, around);
  };
  bench_.hooks.choosePrinter = [this] { return ChoosePrinterPage(this, *area_, bench_.messages); };
  bench_.hooks.inBackground = [this](const std::string& name, BackgroundWork work) {
    background_->Start(name, std::move(work));
  };
  bench_.hooks.tell = [this](const std::string& text) { statusBar()->showMessage(ToText(text), kMessageTime); };
  bench_.hooks.showReport = [this](const ReportRequest& request) { reports_->Show(request); };
}

void MainWindow::SetUpPanels() {
  auto* tools = addToolBar(tr("Tools"));
  tools->setObjectName(QStringLiteral("tools"));
  menus_->FillToolBar(*tools);
  panels_ = new PanelSet(bench_, *this, [this](int id, const std::string& argument) { return Run(id, argument); });
  // The picture is between the panels, not below them.
  setCorner(Qt::BottomLeftCorner, Qt::LeftDockWidgetArea);
  setCorner(Qt::BottomRightCorner, Qt::RightDockWidgetArea);
  bench_.hooks.showPanel = [this](int command, bool on) { ShowPanel(command, on); };
  bench_.hooks.isPanelShown = [this](int command) { return panels_->IsShown(command); };
  bench_.hooks.isDesktopDark = [] { return QGuiApplication::palette().window().color().lightness() < 128; };
  if (bench_.lookFollowsDesktop) Run(kDesktopLookCommand);
  bench_.hooks.showTool = [this](int command) { ShowTool(command); };
  bench_.hooks.settleText = [this] { return panels_->Settle(); };
  bench_.hooks.mayLoseChanges = [this](const std::string& what) {
    return MayLose(tr("before you %1").arg(ToText(what)));
  };
  bench_.hooks.showText = [this](const std::string& title, const std::string& text) {
    ShowTextWindow(*this, ToText(title), ToText(text));
  };
  bench_.hooks.setClipboard = [](const std::string& text) { QGuiApplication::clipboard()->setText(ToText(text)); };
  bench_.hooks.clipboard = [] { return ToBytes(QGuiApplication::clipboard()->text()); };
  notices_ = new NoticeBar(this);
  addToolBarBreak();
  addToolBar(notices_);
  watch_ = new FileWatch(
      bench_, *notices_, [this](int id, const std::string& argument) { return Run(id, argument); },
      [this] { return running_ == 0 && !bench_.refining && !QApplication::activeModalWidget(); });
}

void MainWindow::RestoreLayout() {
  if (settings_.geometry.isEmpty() || !restoreGeometry(settings_.geometry)) {
    // All of the menu bar is to be seen, however large the letters, and panels beside the picture.
    QSize size = sizeHint().expandedTo(QSize(menuBar()->sizeHint().width() + 8, 0));
    if (screen()) size = QSize(size.width() * 7 / 4, size.height()).boundedTo(screen()->availableSize() * 9 / 10);
    resize(size);
  }
  if (settings_.layout.isEmpty() || !restoreState(settings_.layout)) panels_->ShowUsual();
  notices_->ShowIfNeeded();
}

void MainWindow::ShowPanel(int command, bool on) {
  if (command == kUsualPanelsCommand) {
    panels_->ShowUsual();
  } else if (command == kNoPanelsCommand) {
    panels_->HideAll();
  } else {
    panels_->Show(command, on);
  }
  refreshTimer_.start();
}

void MainWindow::ShowTool(int command) {
  if (command == kKeySheetCommand) return ShowKeySheet(this);
  if (command == kPreferencesCommand) return ShowPreferences();
  if (command == kTourCommand) return ShowTour(true);
  CommandPalette palette(this, bench_, settings_.recentCommands);
  const QPoint top = area_->mapToGlobal(QPoint(area_->width() / 2, area_->height() / 8));
  const QRect room = area_->screen()->availableGeometry();
  const QSize size = palette.sizeHint();
  palette.move(std::max(room.left(), std::min(top.x() - size.width() / 2, room.right() - size.width())),
               std::max(room.top(), std::min(top.y(), room.bottom() - size.height())));
  if (palette.exec() != QDialog::Accepted) return;
  const int chosen = palette.Chosen();
  settings_.recentCommands.removeAll(chosen);
  settings_.recentCommands.prepend(chosen);
  settings_.recentCommands.resize(std::min<qsizetype>(settings_.recentCommands.size(), kRecentCommands));
  // The command that opened the palette has to end first.
  QTimer::singleShot(0, this, [this, chosen] { Run(chosen); });
}

void MainWindow::SetUpStatusBar() {
  const auto label = [this](bool permanent) {
    auto* text = new QLabel(this);
    text->setTextFormat(Qt::PlainText);
    text->setContentsMargins(6, 0, 6, 0);
    permanent ? statusBar()->addPermanentWidget(text) : statusBar()->addWidget(text, 1);
    return text;
  };
  pointerText_ = label(false);
  // A long line is cut rather than making the window wider.
  pointerText_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  workText_ = label(true);
  workText_->hide();
  selectionText_ = label(true);
  countsText_ = label(true);
  fileText_ = label(true);
}

Outcome MainWindow::Run(int id, const std::string& argument) {
  if (id == kRefineCommand && !refinement_->PeaksMayGo([this] { return Run(kKillPeaksCommand) == Outcome::Changed; }))
    return Outcome::Cancelled;
  // What waits for a click speaks of the structure as it is now.
  const CommandRow* row = FindCommand(id);
  if (row && row->effect != CommandEffect::None) input_->CancelPending();
  ++running_;
  const int outer = std::exchange(help_->runningCommand, id);
  const Outcome outcome = RunCommand(bench_, id, argument);
  help_->runningCommand = outer;
  --running_;
  SayDone(id, outcome);
  const bool opens = id == kOpenCommand || id == kReadFileCommand || (row && row->rule == EnabledRule::RecentFile);
  if (opens && outcome == Outcome::Done) watch_->FileOpened();
  return outcome;
}

void MainWindow::SayDone(int id, Outcome outcome) {
  if (outcome != Outcome::Done && outcome != Outcome::Changed) return;
  if (id == kSaveCommand || id == kSaveAsCommand || id == kSaveAllCommand || id == kSavePictureCommand ||
      id == kSaveRecipeCommand) {
    statusBar()->showMessage(tr("Saved."), kMessageTime);
  }
}

void MainWindow::OpenSoon(const std::string& path) {
  QTimer::singleShot(0, this, [this, path] { Run(kReadFileCommand, path); });
}

void MainWindow::Refresh() {
  menus_->Refresh();
  edit_->Follow();
  reports_->Follow();
  panels_->Follow();
  watch_->Follow();
  const Document& document = bench_.document;
  const size_t atoms = document.atoms.selection.Size();
  const size_t bonds = document.atoms.selectedBonds.size();
  QString selected = atoms ? tr("%n selected", nullptr, static_cast<int>(atoms)) : QString();
  if (bonds) selected += (atoms ? QStringLiteral(", ") : QString()) + tr("%1 bonds selected").arg(bonds);
  selectionText_->setText(selected);
  selectionText_->setVisible(!selected.isEmpty());
  SpeakSelection();
  countsText_->setText(DescribeCounts(document));
  fileText_->setText(document.CurrentFile.empty() ? tr("No file") : ToText(bench_.Title()));
  fileText_->setToolTip(PathToText(document.CurrentFile));
}

// What a screen reader tells of the picture.
void MainWindow::SpeakSelection() {
  constexpr size_t kMost = 8;
  const AtomArray& selection = bench_.document.atoms.selection;
  QStringList names;
  for (size_t i = 0; i < std::min(selection.Size(), kMost); ++i) names << ToText(selection[i]->name);
  if (selection.Size() > kMost) names << tr("and %1 more").arg(selection.Size() - kMost);
  const QString spoken =
      names.isEmpty() ? DescribeCounts(bench_.document) : tr("Selected: %1").arg(names.join(QStringLiteral(", ")));
  if (area_->accessibleDescription() == spoken) return;
  area_->setAccessibleDescription(spoken);
  QAccessibleEvent event(area_, QAccessible::DescriptionChanged);
  QAccessible::updateAccessibility(&event);
}

void MainWindow::ShowTitle() {
  QString title = ToText(bench_.Title());
  title.replace(QLatin1String("[*]"), QLatin1String("[*][*]"));
  setWindowTitle(title + QLatin1String("[*]"));
  setWindowModified(bench_.modified);
  refreshTimer_.start();
}

void MainWindow::ShowBusy(bool on) {
  busy_ += on ? 1 : -1;
  area_->HoldFrames(on);
  if (on && busy_ == 1) QApplication::setOverrideCursor(Qt::WaitCursor);
  if (!on && busy_ == 0) QApplication::restoreOverrideCursor();
}

void MainWindow::ShowContextMenu(MenuKind kind, const QPoint& place) {
  QMenu menu(this);
  menus_->FillPopup(menu, kind);
  if (kind == MenuKind::AtomPopup) AddRestraints(menu);
  const QAction* chosen = menu.exec(place);
  if (chosen && chosen->data().typeId() == QMetaType::QString) {
    EditRestraint(chosen->data().toString());
  } else if (chosen) {
    Run(chosen->data().toInt());
  }
  bench_.ClearPick();
}

// What the clicked atom has, or, where that is selected, what the selected ones have: each to be edited.
void MainWindow::AddRestraints(QMenu& menu) const {
  const AtomRecord* picked = bench_.PickedAtom();
  if (!picked) return;
  std::vector<const AtomRecord*> atoms{picked};
  const AtomArray& selection = bench_.document.atoms.selection;
  if (picked->Has(kSelected)) atoms.assign(selection.begin(), selection.end());
  const std::vector<size_t> places = RestraintsOn(bench_.document, atoms);
  if (places.empty()) return;
  const std::vector<std::string> texts = RestraintTexts(bench_.document);
  menu.addSeparator();
  QMenu* inner = menu.addMenu(tr("Restraints Here"));
  for (const size_t place : std::span(places).first(std::min(places.size(), kMostRestraints))) {
    QString text = ToText(texts[place]);
    text.replace(QLatin1Char('&'), QLatin1String("&&"));
    inner->addAction(text)->setData(QString::number(place + 1));
  }
  if (places.size() > kMostRestraints)
    inner->addAction(tr("%1 More...").arg(places.size() - kMostRestraints))->setData(kRestraintsPanelCommand);
}

void MainWindow::EditRestraint(const QString& number) {
  const size_t place = number.toULongLong() - 1;
  const RestraintNumbers numbers = NumbersOf(RestraintTexts(bench_.document).at(place));
  EditArguments now{{{"number", ToBytes(number)}}, {}};
  if (numbers.target) now.fields.push_back({"target", FieldText(*numbers.target, 4)});
  if (numbers.sigma) now.fields.push_back({"sigma", FieldText(*numbers.sigma, 5)});
  const auto text = AskFields(this, *FindCommand(kEditRestraintCommand), JoinEditArguments(now), true);
  if (text) Run(kEditRestraintCommand, *text);
}

bool MainWindow::MayClose() {
  return quitNow_ || (panels_->Settle() && MayLose(tr("before leaving")));
}

bool MainWindow::MayLose(const QString& before) {
  if (!bench_.modified) return true;
  QMessageBox box(QMessageBox::Question, tr("Unsaved Changes"), tr("The structure has changes that were not saved."),
                  QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, this);
  box.setInformativeText(tr("Do you want to save them %1?").arg(before));
  box.setDefaultButton(QMessageBox::Save);
  box.button(QMessageBox::Discard)->setText(tr("&Don't Save"));
  const int answer = box.exec();
  if (answer == QMessageBox::Discard) return true;
  if (answer != QMessageBox::Save) return false;
  Run(bench_.document.CurrentFile.empty() ? kSaveAsCommand : kSaveCommand);
  return !bench_.modified;
}

void MainWindow::closeEvent(QCloseEvent* event) {
  demo_->Stop();
  // The run ends first; the command that waits for it is still to return.
  const auto going = refinement_->EndWhatGoesOn();
  if (going != RefinementWindows::Going::Nothing) {
    if (going == RefinementWindows::Going::Stays) bench_.quitRequested = false;
    event->ignore();
    if (going == RefinementWindows::Going::Ended) QTimer::singleShot(0, this, &QWidget::close);
    return;
  }
  if (!MayClose()) {
    bench_.quitRequested = false;
    event->ignore();
    return;
  }
  bench_.modified = false;  // what was not saved was given up
  settings_.TakeFrom(bench_);
  settings_.geometry = saveGeometry();
  settings_.layout = saveState();
  settings_.Save();
  event->accept();
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (!LocalFiles(event->mimeData()).isEmpty()) event->acceptProposedAction();
}

// The first file comes into this window, each other one into a window of its own.
void MainWindow::dropEvent(QDropEvent* event) {
  const QStringList paths = LocalFiles(event->mimeData());
  if (paths.isEmpty()) return;
  event->acceptProposedAction();
  if (paths.size() == 1) return OpenSoon(PathToBytes(paths.front()));
  // Whoever drops waits until this is left.
  QTimer::singleShot(0, this, [this, paths] { OpenDropped(paths); });
}

// The first here, others in windows of their own: a handful of them, and not unasked.
void MainWindow::OpenDropped(const QStringList& paths) {
  constexpr qsizetype kMostWindows = 8;
  const QString question =
      paths.size() > kMostWindows
          ? tr("Open the first %1 of the %2 files that were dropped, each in a window of its own?")
                .arg(kMostWindows)
                .arg(paths.size())
          : tr("Open the %1 files that were dropped, each in a window of its own?").arg(paths.size());
  if (!bench_.messages.AskYesNo({MessageIcon::Question, "Open", ToBytes(question)})) return;
  for (const QString& path : paths.mid(1, kMostWindows - 1))
    QProcess::startDetached(QCoreApplication::applicationFilePath(), {path});
  Run(kReadFileCommand, PathToBytes(paths.front()));
}

void MainWindow::RestoreSession() {
  if (settings_.restoresSession && QFileInfo(settings_.lastFile).isFile()) OpenSoon(PathToBytes(settings_.lastFile));
}

void MainWindow::ShowTour(bool always) {
  if (always || (!settings_.tourSeen && PackageFile(""))) new Tour(*this);
  settings_.tourSeen = true;
}

void MainWindow::ShowPreferences() {
  PreferencesDialog dialog(this, bench_, settings_);
  if (dialog.exec() != QDialog::Accepted) return;
  QTimer::singleShot(0, this, [this, chosen = dialog.Chosen()] {
    for (const auto& [id, argument] : chosen) Run(id, argument);
  });
}

void MainWindow::changeEvent(QEvent* event) {
  if (event->type() == QEvent::ActivationChange && isActiveWindow()) {
    refreshTimer_.start();
    watch_->CheckSoon();
  }
  if (event->type() == QEvent::PaletteChange && panels_ && bench_.lookFollowsDesktop) Run(kDesktopLookCommand);
  QMainWindow::changeEvent(event);
}

}  // namespace marvik

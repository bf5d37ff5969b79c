#include "ui/window_program.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QIcon>
#include <QLocale>
#include <QProxyStyle>
#include <QTranslator>
#include <clocale>
#include <cstdio>
#include <cstdlib>

#include "app/package_directory.h"
#include "app/workbench.h"
#include "base/files.h"
#include "base/package_file.h"
#include "ui/area/drawing_area.h"
#include "ui/dialogs/dialog_fit.h"
#include "ui/main_window.h"
#include "ui/text.h"
#include "ui/texts/text_editor.h"
#include "ui/window_messages.h"
#include "ui/work_keeper.h"

// Takes the resources of a static library in; the macro does not work inside a namespace.
static void TakeResources() {
  Q_INIT_RESOURCE(window);
}

namespace marvik {
namespace {

void SayNoDisplay() {
  std::fputs(
      "marvik: there is no display to open the window on.\n"
      "Pictures, reports and conversions need none; see marvik --help.\n",
      stderr);
}

bool IsSet(const char* name) {
  const char* value = std::getenv(name);
  return value && *value;
}

bool HasDisplay() {
  return IsSet("DISPLAY") || IsSet("WAYLAND_DISPLAY") || IsSet("QT_QPA_PLATFORM");
}

// The toolkit ends the program when it cannot reach the display; what it says about that is of no use to a user.
void HandleToolkitMessage(QtMsgType type, const QMessageLogContext&, const QString& text) {
  // The display has gone away: the toolkit is about to leave the program.
  if (text.contains(QLatin1String("connection broke"))) WorkKeeper::KeepNow();
  if (type == QtFatalMsg) {
    WorkKeeper::KeepNow();
    SayNoDisplay();
    std::fflush(stderr);
    std::_Exit(1);
  }
  if (type == QtCriticalMsg || IsSet("MARVIK_TOOLKIT_MESSAGES")) std::fprintf(stderr, "%s\n", qPrintable(text));
}

// MARVIK_WINDOW_TIMING makes the window say on standard error when its first frame with the model was shown, counted
// from the start of RunWindow; "quit" closes it then, which makes start-up measurable from outside.
void ReportFirstFrame(MainWindow& window, const QElapsedTimer& clock, const Workbench& bench, bool expectsAtoms) {
  const QString wish = qEnvironmentVariable("MARVIK_WINDOW_TIMING");
  if (wish.isEmpty()) return;
  QObject::connect(&window.Area(), &DrawingArea::Painted, &window,
                   [&window, &bench, clock, wish, expectsAtoms, done = false]() mutable {
                     if (done || (expectsAtoms && !bench.document.atoms.head)) return;
                     done = true;
                     std::fprintf(stderr, "window %.3f\n", static_cast<double>(clock.elapsed()) / 1000.0);
                     if (wish == QLatin1String("quit")) QTimer::singleShot(0, &window, &QWidget::close);
                   });
}

// A menu that is longer than the screen scrolls; columns side by side would end beyond its edge.
class MenuStyle : public QProxyStyle {
 public:
  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* data) const override {
    return hint == SH_Menu_Scrollable ? 1 : QProxyStyle::styleHint(hint, option, widget, data);
  }
};

// Texts of another language: translations/marvik_LANGUAGE.qm in the package directory or the installation.
void LoadTranslation() {
  auto* translator = new QTranslator(qApp);
  for (const std::string& folder : {PackageFile("").value_or(""), TemplateDirectory(ExecutablePath(""))}) {
    if (folder.empty() || !translator->load(QLocale(), QStringLiteral("marvik"), QStringLiteral("_"),
                                            PathToText(folder + "translations")))
      continue;
    QCoreApplication::installTranslator(translator);
    return;
  }
}

// What every window of the program needs once the toolkit is there.
void SetUpApplication() {
  // The toolkit has taken the user's locale; numbers in files have a point.
  std::setlocale(LC_NUMERIC, "C");
  QApplication::setApplicationName(QStringLiteral("marvik"));
  QGuiApplication::setDesktopFileName(QStringLiteral("marvik"));
  LoadTranslation();
  TakeResources();
  QApplication::setStyle(new MenuStyle);
  qApp->installEventFilter(new DialogFit(qApp));
  QIcon icon(QStringLiteral(":/icons/marvik-64.png"));
  icon.addFile(QStringLiteral(":/icons/marvik-256.png"));
  QApplication::setWindowIcon(icon);
}

// False after a line on standard error.
bool MayUseDisplay() {
  if (!HasDisplay()) {
    SayNoDisplay();
    return false;
  }
  qInstallMessageHandler(HandleToolkitMessage);
  return true;
}

}  // namespace

int RunWindow(int argc, char** argv, const std::string& file) {
  QElapsedTimer clock;
  clock.start();
  if (!MayUseDisplay()) return 1;
  QApplication app(argc, argv);
  SetUpApplication();
  WindowMessages messages;
  Workbench bench(messages);
  bench.keepsRecentFiles = true;
  bench.installedDirectory = TemplateDirectory(ExecutablePath(argv[0]));
  InitElementTable(bench.document.elements, true);
  LoadPictureSettings(bench.pictures);
  LoadRecentFiles(bench.settings);
  MainWindow window(bench, messages);
  ReportFirstFrame(window, clock, bench, !file.empty());
  // Read before the window system asks for the first paint, so that the first frame holds the model.
  if (!file.empty()) window.OpenSoon(file);
  window.show();
  WorkKeeper keeper(bench, window);
  if (file.empty()) window.RestoreSession();
  if (!IsSet("MARVIK_WINDOW_TIMING")) QTimer::singleShot(0, &window, [&window] { window.ShowTour(false); });
  if (file.empty()) QTimer::singleShot(0, &keeper, [&keeper] { keeper.Offer(""); });
  LoadEditorConfiguration(bench.settings, messages);
  return QApplication::exec();
}

int RunTextEditor(int argc, char** argv, const std::string& file) {
  if (!MayUseDisplay()) return 1;
  QApplication app(argc, argv);
  SetUpApplication();
  auto* editor = new TextEditor;
  if (!editor->Open(file)) {
    delete editor;
    return 1;
  }
  editor->show();
  return QApplication::exec();
}

}  // namespace marvik

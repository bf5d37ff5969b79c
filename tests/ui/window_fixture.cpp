#include "window_fixture.h"

#include <QAbstractItemView>
#include <QAbstractPrintDialog>
#include <QAbstractSlider>
#include <QAbstractSpinBox>
#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QFileDialog>
#include <QGroupBox>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QStatusBar>
#include <QTabBar>
#include <QTimer>
#include <algorithm>
#include <clocale>
#include <cstdio>
#include <filesystem>

#include "ui/dialogs/dialog_fit.h"

namespace marvik::test {

void ExpectOwnLetters(QWidget& dialog) {
  // Those of the toolkit are its own business.
  if (qobject_cast<QFileDialog*>(&dialog)) return;
  QHash<QString, QString> owners;
  const auto note = [&](const QString& text) {
    const QKeySequence keys = QKeySequence::mnemonic(text);
    if (keys.isEmpty()) return;
    EXPECT_FALSE(owners.contains(keys.toString())) << dialog.windowTitle().toStdString() << ": " << text.toStdString()
                                                   << " and " << owners.value(keys.toString()).toStdString();
    owners.insert(keys.toString(), text);
  };
  for (const auto* label : dialog.findChildren<QLabel*>()) {
    if (label->buddy()) note(label->text());
  }
  for (const auto* button : dialog.findChildren<QAbstractButton*>()) note(button->text());
  for (const auto* box : dialog.findChildren<QGroupBox*>()) note(box->title());
  for (const auto* tabs : dialog.findChildren<QTabBar*>())
    for (int i = 0; i < tabs->count(); ++i) note(tabs->tabText(i));
}

namespace {

// Those are its own business.
bool IsOfToolkit(const QWidget& window) {
  return qobject_cast<const QFileDialog*>(&window) || qobject_cast<const QMessageBox*>(&window) ||
         qobject_cast<const QAbstractPrintDialog*>(&window);
}

// What text is read in, not put in, needs no tip.
bool IsInput(const QWidget& part, const QWidget& window) {
  if (!part.isVisibleTo(&window) || !part.isEnabled() || !(part.focusPolicy() & Qt::TabFocus)) return false;
  const QWidget* whole = part.parentWidget();
  if (qobject_cast<const QAbstractSpinBox*>(whole) || qobject_cast<const QComboBox*>(whole) ||
      qobject_cast<const QTabBar*>(whole))
    return false;
  if (qobject_cast<const QPushButton*>(&part)) return false;
  const auto* text = qobject_cast<const QPlainTextEdit*>(&part);
  const auto* line = qobject_cast<const QLineEdit*>(&part);
  if (text || line) return text ? !text->isReadOnly() : !line->isReadOnly();
  return qobject_cast<const QAbstractButton*>(&part) || qobject_cast<const QComboBox*>(&part) ||
         qobject_cast<const QAbstractSpinBox*>(&part) || qobject_cast<const QAbstractSlider*>(&part) ||
         qobject_cast<const QAbstractItemView*>(&part);
}

}  // namespace

void ExpectTips(QWidget& window) {
  if (IsOfToolkit(window)) return;
  for (QWidget* part : window.findChildren<QWidget*>()) {
    if (!IsInput(*part, window)) continue;
    QAccessibleInterface* spoken = QAccessible::queryAccessibleInterface(part);
    const QString name = spoken ? spoken->text(QAccessible::Name) : QString();
    const std::string what = window.windowTitle().toStdString() + " [" + window.objectName().toStdString() +
                             "]: " + part->metaObject()->className() + " " + part->objectName().toStdString() + " '" +
                             name.toStdString() + "'";
    EXPECT_FALSE(name.isEmpty()) << what << " has no name";
    EXPECT_FALSE(part->toolTip().isEmpty()) << what << " has no tip";
  }
}

DialogRobot::DialogRobot() {
  qApp->installEventFilter(this);
}

DialogRobot::~DialogRobot() {
  qApp->removeEventFilter(this);
}

void DialogRobot::NextButton(const char* text) {
  Next([text](QWidget& box) {
    QPushButton* button = WindowTest::Button(box, text);
    EXPECT_TRUE(button) << text;
    button ? button->click() : static_cast<QDialog&>(box).reject();
  });
}

bool DialogRobot::eventFilter(QObject* watched, QEvent* event) {
  auto* dialog = qobject_cast<QDialog*>(watched);
  if (!dialog || event->type() != QEvent::Show) return false;
  const auto* box = qobject_cast<QMessageBox*>(dialog);
  ExpectOwnLetters(*dialog);
  ExpectTips(*dialog);
  seen.push_back({dialog->windowTitle(), box ? box->text() : QString(), box ? box->icon() : 0});
  const Answer answer =
      answers_.isEmpty() ? [](QWidget& w) { static_cast<QDialog&>(w).reject(); } : answers_.takeFirst();
  QTimer::singleShot(0, dialog, [dialog, answer] { answer(*dialog); });
  return false;
}

WindowTest::WindowTest() {
  std::filesystem::create_directory(scratch / "pkg");
  bench.keepsRecentFiles = true;
  window = std::make_unique<MainWindow>(bench, messages);
  area = &window->Area();
  // As stated, without panels.
  window->Run(kClassicLookCommand);
  area->setFixedSize(600, 600);
  window->show();
  EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
}

WindowTest::~WindowTest() {
  // What a test left unsaved is no question.
  bench.modified = false;
  window.reset();
}

void WindowTest::Load() {
  const std::string path = scratch.Put("model.res",
                                       "TITL model\nCELL 0.71073 10 10 10 90 90 90\nZERR 1 0 0 0 0 0 0\nLATT -1\n"
                                       "SFAC C O\nUNIT 2 1\nFVAR 1.0\n"
                                       "C1 1 0.30 0.30 0.50 11.0 0.04\nC2 1 0.30 0.45 0.50 11.0 0.04\n"
                                       "O1 2 0.70 0.40 0.50 11.0 0.05\nQ1 1 0.60 0.75 0.50 11.0 0.05 1.25\n"
                                       "HKLF 4\nEND\n");
  ASSERT_EQ(window->Run(kReadFileCommand, path), Outcome::Done);
  // Along c, which runs along the Z axis, so that all four are seen side by side.
  Settle();
}

void WindowTest::Settle() const {
  QCoreApplication::processEvents();
  QCoreApplication::processEvents();
}

QPointF WindowTest::At(const char* name) const {
  const AtomRecord* atom = Atom(name);
  return area->FromDevice(QPointF(atom->screenX, atom->screenY));
}

std::string WindowTest::SelectedNames() const {
  std::string names;
  for (const AtomRecord* atom : bench.document.atoms.selection) names += (names.empty() ? "" : " ") + atom->name;
  return names;
}

void WindowTest::Mouse(QEvent::Type type, QPointF at, Qt::MouseButton button, Qt::MouseButtons held,
                       Qt::KeyboardModifiers modifiers) {
  QMouseEvent event(type, at, area->mapToGlobal(at), button, held, modifiers);
  QCoreApplication::sendEvent(area, &event);
}

void WindowTest::Click(QPointF at, Qt::KeyboardModifiers modifiers) {
  Mouse(QEvent::MouseButtonPress, at, Qt::LeftButton, Qt::LeftButton, modifiers);
  Mouse(QEvent::MouseButtonRelease, at, Qt::LeftButton, Qt::NoButton, modifiers);
  Settle();
}

void WindowTest::Drag(const QList<QPointF>& points, Qt::KeyboardModifiers modifiers, Qt::MouseButton button,
                      const std::function<void()>& held) {
  Mouse(QEvent::MouseButtonPress, points.front(), button, button, modifiers);
  for (const QPointF& point : points.mid(1)) Mouse(QEvent::MouseMove, point, Qt::NoButton, button, modifiers);
  Settle();
  if (held) held();
  Mouse(QEvent::MouseButtonRelease, points.back(), button, Qt::NoButton, modifiers);
  Settle();
}

QLineEdit& WindowTest::Field(QWidget& dialog, const char* name) {
  auto* line = dialog.findChild<QLineEdit*>(QString::fromUtf8(name));
  if (!line) throw std::logic_error(name);
  return *line;
}

QPushButton* WindowTest::Button(const QWidget& dialog, const char* text) {
  for (QPushButton* button : dialog.findChildren<QPushButton*>())
    if (button->text().remove(QLatin1Char('&')) == QString::fromUtf8(text)) return button;
  return nullptr;
}

bool WindowTest::IsTold(const char* text) {
  const auto views = [](QWidget* top) { return top->findChildren<QPlainTextEdit*>(); };
  return std::ranges::any_of(QApplication::topLevelWidgets(), [&](QWidget* top) {
    return std::ranges::any_of(views(top),
                               [&](auto* view) { return view->toPlainText().contains(QString::fromUtf8(text)); });
  });
}

void WindowTest::Type(QWidget& dialog, const char* field, const char* text) {
  QLineEdit& line = Field(dialog, field);
  line.setFocus();
  line.selectAll();
  QTest::keyClick(&line, Qt::Key_Delete);
  QTest::keyClicks(&line, QString::fromUtf8(text));
}

void WindowTest::Press(QWidget& dialog, Qt::Key key) {
  QTest::keyClick(dialog.focusWidget() ? dialog.focusWidget() : &dialog, key);
}

void WindowTest::Alt(QWidget& dialog, Qt::Key key) {
  dialog.activateWindow();
  EXPECT_TRUE(QTest::qWaitForWindowActive(&dialog));
  QTest::keyClick(&dialog, key, Qt::AltModifier);
  // A button that is pressed by its letter is seen to be down for a while first.
  const auto buttons = dialog.findChildren<QAbstractButton*>();
  EXPECT_TRUE(Until([&] { return std::ranges::none_of(buttons, &QAbstractButton::isDown); }));
  QTest::qWait(20);
}

void WindowTest::ExpectKeyboardReachable(QWidget& dialog) {
  for (const auto* button : dialog.findChildren<QAbstractButton*>())
    EXPECT_NE(button->focusPolicy(), Qt::NoFocus) << button->text().toStdString();
}

}  // namespace marvik::test

// The platform without a display says what it lacks at every step.
static void PrintUnlessKnown(QtMsgType, const QMessageLogContext&, const QString& text) {
  if (!text.startsWith(QLatin1String("This plugin does not support"))) std::fprintf(stderr, "%s\n", qPrintable(text));
}

// The program's own main: the toolkit's application object lives as long as the tests.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  qInstallMessageHandler(PrintUnlessKnown);
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
  QApplication app(argc, argv);
  std::setlocale(LC_NUMERIC, "C");
  app.installEventFilter(new marvik::DialogFit(&app));
  return RUN_ALL_TESTS();
}

#pragma once

#include <QDialog>
#include <QLineEdit>
#include <QList>
#include <QMouseEvent>
#include <QPushButton>
#include <QString>
#include <QTest>
#include <QWidget>
#include <functional>
#include <memory>

#include "app/bench_fixture.h"
#include "ui/area/drawing_area.h"
#include "ui/area/input_controller.h"
#include "ui/main_window.h"
#include "ui/menu_set.h"
#include "ui/window_messages.h"

namespace marvik::test {

// No two of a dialog's captions, boxes, buttons and pages go by one letter.
void ExpectOwnLetters(QWidget& dialog);

// Everything that takes a value says what it sets, to the eye and to a screen reader.
void ExpectTips(QWidget& window);

// Looks at the letters of every dialog that comes up, answers it, so that no test hangs, and keeps what it said. A
// dialog for which no answer was put down is recorded and dismissed.
class DialogRobot : public QObject {
 public:
  DialogRobot();
  ~DialogRobot() override;
  using Answer = std::function<void(QWidget&)>;
  void Next(Answer answer) { answers_.push_back(std::move(answer)); }
  // Clicks the button of that text ("Yes", without its "&") in the next box.
  void NextButton(const char* text);

  struct Seen {
    QString title;
    QString text;  // of a message box
    int icon = 0;
  };
  QList<Seen> seen;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QList<Answer> answers_;
};

// A window without panels, its picture 600 nominal pixels a side, with a structure whose atoms lie apart: C1 and C2
// with a bond, O1, and the peak Q1, all in one plane, seen along it in a cubic cell.
class WindowTest : public testing::Test {
  friend DialogRobot;

 protected:
  WindowTest();
  ~WindowTest() override;

  void Load();
  void Settle() const;  // until events and repaints are done
  // Whether it comes true, events going on, in a time that is long for a slow machine under the sanitizers, too.
  static bool Until(const std::function<bool()>& condition) { return QTest::qWaitFor(condition, 60000); }
  AtomRecord* Atom(const char* name) const { return bench.document.atoms.FindAtom(name); }
  // Where an atom is drawn, in the coordinates of mouse events.
  QPointF At(const char* name) const;
  QPointF Between(const char* a, const char* b) const { return (At(a) + At(b)) / 2; }
  std::string SelectedNames() const;

  void Mouse(QEvent::Type type, QPointF at, Qt::MouseButton button, Qt::MouseButtons held,
             Qt::KeyboardModifiers modifiers = Qt::NoModifier);
  void Click(QPointF at, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
  // Press, a move to each point, release; `held` runs before the release.
  void Drag(const QList<QPointF>& points, Qt::KeyboardModifiers modifiers = Qt::NoModifier,
            Qt::MouseButton button = Qt::LeftButton, const std::function<void()>& held = {});

  // Types over what a field holds.
  static void Type(QWidget& dialog, const char* field, const char* text);
  static void Press(QWidget& dialog, Qt::Key key);
  static void Alt(QWidget& dialog, Qt::Key key);
  static QLineEdit& Field(QWidget& dialog, const char* name);
  // The button of that text ("OK", without its "&"); null where there is none.
  static QPushButton* Button(const QWidget& dialog, const char* text);
  // Whether a text in any window holds this.
  static bool IsTold(const char* text);
  static void Accept(QWidget& dialog) { static_cast<QDialog&>(dialog).accept(); }
  static void Reject(QWidget& dialog) { static_cast<QDialog&>(dialog).reject(); }
  // Every button can be reached by Tab; the robot looks at the letters.
  static void ExpectKeyboardReachable(QWidget& dialog);

  ScratchFolder scratch;
  WithVariable package{kPackageVariable, scratch / "pkg/"};
  DialogRobot robot;
  WindowMessages messages;
  Workbench bench{messages};
  std::unique_ptr<MainWindow> window;
  DrawingArea* area = nullptr;
};

}  // namespace marvik::test

// The tutorial of the help documents, followed as a user does: keys and clicks go through the display server to the
// window, by xdotool (tests/ui/follow_tutorial), and what the window says is compared with what the tutorial says.
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QEventLoop>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QSpinBox>
#include <QStatusBar>
#include <QTreeWidget>
#include <filesystem>
#include <thread>

#include "app/refinement/refine_flow.h"
#include "chem/hydrogens/hfix.h"
#include "language/atom_names.h"
#include "ui/dialogs/refinement/refinement_control_dialog.h"
#include "ui/dialogs/refinement/run_dialog.h"
#include "ui/text.h"

#include "window_fixture.h"

namespace marvik {
namespace {

namespace fs = std::filesystem;

// Sits in front of the window, in a thread of its own, so that dialogs which wait for an answer do not make it wait.
class User {
 public:
  // "key ctrl+o" and so on, as xdotool takes them; `text` is one word more.
  static void Do(const QString& words, const QString& text = {}) {
    QStringList list = words.split(QLatin1Char(' '));
    if (!text.isEmpty()) list << text;
    QProcess::execute(QStringLiteral("xdotool"), list);
    Rest();
  }
  static void Keys(const char* keys) {
    for (const QString& key : QString::fromUtf8(keys).split(QLatin1Char(' '))) Do(QStringLiteral("key ") + key);
  }
  static void Write(const std::string& text) { Do(QStringLiteral("type --delay 8"), ToText(text)); }
  static void Rest(int ms = 150) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }
  static void Point(const QPoint& at) { Do(QStringLiteral("mousemove %1 %2").arg(at.x()).arg(at.y())); }
  static void Click(const QPoint& at, int button = 1, int times = 1) {
    Point(at);
    Do(QStringLiteral("click --repeat %1 --delay 60 %2").arg(times).arg(button));
    Rest();
  }

  // What the window's thread finds.
  template <class Work>
  static auto Ask(Work work) {
    decltype(work()) answer{};
    QMetaObject::invokeMethod(
        qApp, [&] { answer = work(); }, Qt::BlockingQueuedConnection);
    return answer;
  }
  template <class Test>
  static bool Until(Test test, int ms = 20000) {
    for (int waited = 0; waited < ms; waited += 100) {
      if (Ask(test)) return true;
      Rest(100);
    }
    return false;
  }
  // The dialog or window of that title, once it is in front.
  static bool Sees(const char* title) {
    const QString wanted = QString::fromUtf8(title);
    const bool seen = Until([&] {
      const QWidget* active = QApplication::activeWindow();
      return active && active->windowTitle().remove(QStringLiteral("[*]")) == wanted;
    });
    EXPECT_TRUE(seen) << title;
    return seen;
  }
  // The text of all labels, fields and tables of the window in front.
  static QString Reads() {
    return Ask([] {
      QStringList texts;
      const QWidget* front = QApplication::activeWindow();
      if (!front) return QString();
      for (const auto* label : front->findChildren<QLabel*>()) texts << label->text();
      for (const auto* text : front->findChildren<QPlainTextEdit*>()) texts << text->toPlainText();
      for (const auto* tree : front->findChildren<QTreeWidget*>())
        for (int row = 0; row < tree->topLevelItemCount(); ++row)
          for (int column = 0; column < tree->columnCount(); ++column) texts << tree->topLevelItem(row)->text(column);
      return texts.join(QLatin1Char('\n'));
    });
  }
  template <class Widget>
  static Widget* Part(const QString& name) {
    QWidget* front = QApplication::activeWindow();
    return front ? front->findChild<Widget*>(name) : nullptr;
  }
};

class TutorialTest : public testing::Test, protected User {
 protected:
  TutorialTest() {
    fs::create_directory(scratch / "pkg");
    InitElementTable(bench.document.elements, true);
    window = std::make_unique<MainWindow>(bench, messages);
    window->resize(1240, 900);
    window->move(10, 30);
    const fs::path examples = MARVIK_EXAMPLES;
    for (const char* name : {"azastart.res", "azastart.hkl"}) fs::copy_file(examples / name, fs::path(scratch / name));
    fs::copy_file(examples / "../zqfrommarvik.bat", fs::path(scratch / "pkg/zqfrommarvik.bat"));
    text = ToText(ReadWholeFile((examples / "../Help/Marvik_Tutor.md").string()).content);
    EXPECT_FALSE(text.isEmpty());
  }
  ~TutorialTest() override {
    bench.modified = false;
    window.reset();
  }
  QString Section(const char* title) const {
    const qsizetype begin = text.indexOf(QLatin1String("\n## ") + QLatin1String(title));
    EXPECT_GE(begin, 0) << title;
    return text.mid(begin, text.indexOf(QLatin1String("\n## "), begin + 4) - begin);
  }
  // "| R1 | 0.0956 | 0.0479 |" and so on, in the order of the section.
  static QList<QStringList> Rows(const QString& section) {
    QList<QStringList> rows;
    for (const QString& line : section.split(QLatin1Char('\n'))) {
      if (!line.startsWith(QLatin1Char('|'))) continue;
      QStringList cells;
      for (const QString& cell : line.split(QLatin1Char('|'), Qt::SkipEmptyParts)) cells << cell.trimmed();
      rows << cells;
    }
    return rows;
  }
  QPoint Place(const char* a, const char* b = nullptr) {
    return Ask([&] {
      const AtomRecord* first = bench.document.atoms.FindAtom(a);
      const AtomRecord* second = b ? bench.document.atoms.FindAtom(b) : first;
      if (!first || !second) return QPoint();
      const QPointF middle((first->screenX + second->screenX) / 2.0, (first->screenY + second->screenY) / 2.0);
      return window->Area().mapToGlobal(window->Area().FromDevice(middle).toPoint());
    });
  }
  // What the line at the bottom says with the pointer on an atom.
  QString Hover(const char* atom) {
    Point(Place(atom));
    Rest(250);
    return Ask([this] { return window->statusBar()->findChildren<QLabel*>().first()->text(); });
  }
  size_t Count(const char* what) {
    return Ask([&] { return ChooseAtoms(bench.document, what).atoms.size(); });
  }
  // From the open Refinement Control to the accepted result, whose figures are those of a table of the tutorial.
  void RefineTo(const QString& section) {
    Keys("Return");
    ASSERT_TRUE(Sees("Refine"));
    ASSERT_TRUE(Until([] {
      const auto* button = Part<QPushButton>(QString::number(kRunButton));
      return button && button->text() == QLatin1String("OK");
    }));
    Keys("Return");
    ASSERT_TRUE(Sees("Refinement Result"));
    result = Reads();
    for (const QStringList& row : Rows(section)) {
      if (row.size() != 3 || !QStringList({"R1", "wR2", "S"}).contains(row[0])) continue;
      for (const QString& figure : row.mid(1))
        EXPECT_TRUE(result.contains(figure)) << row.join(u' ').toStdString() << "\n" << result.toStdString();
    }
  }
  void Accept() {
    Keys("alt+a");
    Sees("azastart.res");
  }

  void Follow();

  test::ScratchFolder scratch;
  test::WithVariable package{kPackageVariable, scratch / "pkg/"};
  WindowMessages messages;
  Workbench bench{messages};
  std::unique_ptr<MainWindow> window;
  QString text;
  QString result;  // what the last result window said
};

void TutorialTest::Follow() {
  ASSERT_TRUE(Sees("Marvik"));
  // 1. Open the file
  Keys("ctrl+o");
  ASSERT_TRUE(Sees("Open a File"));
  Rest(400);
  Write(scratch / "azastart.res");
  Keys("Return");
  ASSERT_TRUE(Sees("azastart.res"));
  Keys("ctrl+2");
  Rest(600);
  EXPECT_EQ(Count("*"), 24u);
  EXPECT_EQ(Count("PEAKS"), 14u);
  EXPECT_TRUE(Hover("Q1").contains(QLatin1String("peak of 7.00"))) << Hover("Q1").toStdString();
  EXPECT_TRUE(Hover("Q14").contains(QLatin1String("peak of 1.76"))) << Hover("Q14").toStdString();
  // 2. Name the peaks
  EXPECT_TRUE(Hover("Q9").contains(QLatin1String("S1 1.66"))) << Hover("Q9").toStdString();
  const auto names = Rows(Section("2. Name the peaks"));
  ASSERT_EQ(names.size(), 3);
  for (qsizetype i = 1; i < names[0].size(); ++i) {
    const std::string peak = names[0][i].toStdString();
    for (const bool mistaken : {i == 1, false}) {
      Click(Place(peak.c_str()), 1, 2);
      ASSERT_TRUE(Sees("Atom Name")) << peak;
      Write(mistaken ? "N99" : names[2][i].toStdString());
      Keys("Return");
      ASSERT_TRUE(Sees("azastart.res"));
      if (!mistaken) break;
      Keys("ctrl+z");
    }
  }
  Keys("alt+e q");
  EXPECT_TRUE(Until([this] { return ChooseAtoms(bench.document, "*").atoms.size() == 19; }));
  // 3. Refine
  Keys("ctrl+r");
  ASSERT_TRUE(Sees("Refinement Control"));
  EXPECT_EQ(Ask([] { return Part<QSpinBox>(QString::number(kCyclesSpin))->value(); }), 10);
  EXPECT_EQ(Ask([] { return Part<QSpinBox>(QString::number(kPlanSpin))->value(); }), 20);
  EXPECT_EQ(Ask([] { return Part<QComboBox>(QString::number(kFourierCombo))->currentText(); }), "Difference Map");
  RefineTo(Section("3. Refine"));
  EXPECT_TRUE(result.contains(QLatin1String("C14\n0.0630")));
  for (const char* place : {"0.67\n1.28 Å from C3", "from C9", "from C15", "0.61\n1.03 Å from C14"})
    EXPECT_TRUE(result.contains(QString::fromUtf8(place))) << place;
  Accept();
  EXPECT_TRUE(Until([this] { return !bench.modified && !ChooseAtoms(bench.document, "PEAKS").atoms.empty(); }));
  // 4. Hydrogens
  Keys("alt+e q");
  for (const auto& ends : {std::pair{"C6", "C9"}, std::pair{"C12", "C15"}}) {
    Click(Place(ends.first, ends.second), 3);
    Keys("d");
    const auto parted = [&] {
      const AtomList& atoms = bench.document.atoms;
      return !atoms.FindBond(atoms.FindAtom(ends.first), atoms.FindAtom(ends.second));
    };
    EXPECT_TRUE(Until(parted, 3000)) << ends.first;
  }
  Keys("F6");
  EXPECT_TRUE(Until([] {
    const auto* editor = Part<QPlainTextEdit>(QStringLiteral("editor"));
    return editor && editor->toPlainText().count(QLatin1String("\nFREE ")) == 2;
  })) << "two FREE lines in the text";
  Keys("F6 alt+a h alt+a c");
  EXPECT_TRUE(Until([this] { return ChooseAtoms(bench.document, "HYDROGENS").atoms.size() == 6; }));
  Keys("ctrl+d");
  Click(Place("N10"));
  EXPECT_TRUE(Until([this] {
    const AtomArray& selection = bench.document.atoms.selection;
    return selection.Size() == 1 && selection[0]->name == "N10";
  }));
  Keys("alt+a f");
  ASSERT_TRUE(Sees("Set HFIX for selected atom(s)"));
  for (const HfixOption& option : kHfixOptions) {
    if (option.code == 43) break;
    Keys("Down");
  }
  Keys("Return");
  EXPECT_TRUE(Until([this] { return ChooseAtoms(bench.document, "HYDROGENS").atoms.size() == 7; }));
  Keys("ctrl+r");
  ASSERT_TRUE(Sees("Refinement Control"));
  RefineTo(Section("4. Hydrogens"));
  Accept();
  // 5. Weights
  Keys("alt+e q ctrl+r");
  ASSERT_TRUE(Sees("Refinement Control"));
  const QString weights = Section("5. Weights");
  for (size_t row = 0; row < 2; ++row) {
    const WeightRowIds& ids = kWeightRowIds[row];
    const QString suggested = Ask([&] { return Part<QLineEdit>(QString::number(ids.suggestedEdit))->text(); });
    EXPECT_TRUE(weights.contains(QString::number(suggested.toDouble(), 'f', 4))) << suggested.toStdString();
    Click(Ask([&] {
      const auto* box = Part<QCheckBox>(QString::number(ids.suggestedBox));
      return box->mapToGlobal(QPoint(8, box->height() / 2));
    }));
  }
  RefineTo(weights);
  EXPECT_TRUE(result.contains(QStringLiteral("0.0044 Å"))) << result.toStdString();
  Accept();
  // 6. Ellipsoids; the question about the peaks is answered
  Keys("ctrl+r");
  ASSERT_TRUE(Sees("Refine"));
  EXPECT_TRUE(Ask([] { return QApplication::activeModalWidget() != nullptr; }));
  Keys("Return");
  ASSERT_TRUE(Sees("Refinement Control"));
  Keys("alt+s");
  RefineTo({});
  EXPECT_TRUE(result.contains(QLatin1String("0.0381"))) << result.toStdString();
  EXPECT_NE(scratch.Get("azastart.res").find("REM 173 parameters"), std::string::npos);
  Accept();
  Keys("alt+r h");
  ASSERT_TRUE(Sees("Refinement History"));
  Keys("Down Return");
  ASSERT_TRUE(Sees("azastart.res"));
  EXPECT_FALSE(Ask([this] { return bench.document.atoms.FindAtom("C3")->IsAnisotropic(); }));
  Keys("alt+e q");
  // 7. Tidy up: C, H, N, O, S; nothing twice; UNIT as it is
  Keys("alt+a s");
  ASSERT_TRUE(Sees("Sort Atoms"));
  for (const char* symbol : {"S", "O", "N", "H", "C"}) {
    for (int guard = 0; guard < 5; ++guard) {
      const auto at = Ask([&] {
        auto* list = Part<QListWidget>(QStringLiteral("order"));
        const auto found = list->findItems(QString::fromUtf8(symbol), Qt::MatchExactly);
        list->setCurrentItem(found.empty() ? nullptr : found.front());
        return list->currentRow();
      });
      if (at <= 0) break;
      Keys("alt+u");
    }
  }
  Keys("Return");
  ASSERT_TRUE(Sees("azastart.res"));
  EXPECT_EQ(Ask([this] { return bench.document.atoms.head->name; }), "C3");
  Keys("ctrl+d alt+s f");
  Rest(300);
  EXPECT_TRUE(Ask([this] { return bench.document.atoms.selection.Empty(); })) << "no name twice";
  if (Ask([this] { return QApplication::activeWindow() != window.get(); })) Keys("Return");
  const auto unit = Ask([this] { return bench.document.instructions.unit; });
  Keys("alt+a u");
  Rest(300);
  if (Ask([this] { return QApplication::activeWindow() != window.get(); })) Keys("Return");
  EXPECT_EQ(Ask([this] { return bench.document.instructions.unit; }), unit);
  // 8. Distances and planes
  const QString geometry = Section("8. Distances and planes");
  Click(Place("S1"), 3);
  Keys("b");
  EXPECT_TRUE(Until([] {
    const QWidget* front = QApplication::activeWindow();
    const auto* report = front ? front->findChild<QPlainTextEdit*>() : nullptr;
    return report && report->toPlainText().contains(QLatin1String("100.53(13)"));
  })) << Reads().toStdString();
  EXPECT_TRUE(geometry.contains(QLatin1String("100.53(13)")));
  Keys("Escape");
  static const QRegularExpression kAtoms(QStringLiteral("`([A-Z0-9 \\n]+)`"));
  for (auto match = kAtoms.globalMatch(geometry); match.hasNext();) {
    const QString atoms = match.next().captured(1).simplified();
    ASSERT_TRUE(Sees("azastart.res"));
    Keys("ctrl+f");
    ASSERT_TRUE(Sees("Select Atoms"));
    Keys("ctrl+a");
    Write(atoms.toStdString());
    Keys("Return");
    ASSERT_TRUE(Sees("azastart.res"));
    Keys("alt+g p");
    Rest(500);
    if (match.hasNext()) Keys("Escape");
  }
  EXPECT_TRUE(Reads().contains(QLatin1String("70.2"))) << Reads().toStdString();
  EXPECT_TRUE(geometry.contains(QStringLiteral("70.2°")));
  Keys("Escape");
  // 9. A picture
  ASSERT_TRUE(Sees("azastart.res"));
  Keys("ctrl+h ctrl+shift+p");
  ASSERT_TRUE(Sees("Save Picture"));
  Ask([] {
    Part<QLineEdit>(QStringLiteral("file"))->selectAll();
    Part<QLineEdit>(QStringLiteral("file"))->setFocus();
    return true;
  });
  Write(scratch / "azathioprine.pdf");
  Keys("Return");
  EXPECT_TRUE(Until([this] { return scratch.Get("azathioprine.pdf").starts_with("%PDF"); }));
  for (const char* name : {"azathioprine.pdb", "azathioprine.glb"}) {
    ASSERT_TRUE(Sees("azastart.res"));
    Keys("ctrl+shift+s");
    Rest(700);
    Keys("ctrl+a");
    Write(scratch / name);
    Keys("Return");
    EXPECT_TRUE(Until([&] { return scratch.Has(name); })) << name;
    Rest(300);
  }
}

TEST_F(TutorialTest, HoldsWordByWord) {
  if (QGuiApplication::platformName() != QLatin1String("xcb")) GTEST_SKIP() << "needs a display; see follow_tutorial";
  window->show();
  QEventLoop loop;
  std::thread user([&] {
    Follow();
    QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
  });
  loop.exec();
  user.join();
}

}  // namespace
}  // namespace marvik

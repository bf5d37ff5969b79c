#include <QClipboard>
#include <QDialog>
#include <QDoubleSpinBox>
#include <QFileInfo>
#include <QGuiApplication>
#include <QPrinter>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

#include "ui/report_window.h"
#include "ui/text_printing.h"

#include "window_fixture.h"

namespace marvik::test {
namespace {

// Fails at the step of that number: 1 the document, 2 and 3 start and end of a page, 4 the document's end.
class FakeJob : public TextPrintJob {
 public:
  explicit FakeJob(int failing) : failing_(failing) {}
  bool StartDoc(const QString& jobName) override {
    name = jobName;
    return failing_ != 1;
  }
  bool StartPage() override {
    pages.push_back({});
    return failing_ != 2;
  }
  int LinesPerPage() override { return 3; }
  int ColumnsPerLine() override { return 10; }
  void DrawLine(int line, const QString& text) override {
    EXPECT_EQ(line, pages.back().size());
    pages.back().push_back(text);
  }
  bool EndPage() override { return failing_ != 3; }
  bool EndDoc() override { return failing_ != 4; }

  QString name;
  QList<QStringList> pages;

 private:
  int failing_;
};

}  // namespace

TEST(TextPrinting, BreaksPagesAndNamesTheStepThatFails) {
  RecordingMessages messages;
  FakeJob job(0);
  EXPECT_TRUE(PrintLines(job, QStringLiteral("a\tb\r\n0123456789xy\r\n\r\nlast\r\n"),
                         QStringLiteral("Atom Information"), messages));
  EXPECT_EQ(job.name, QStringLiteral("Atom Information"));
  const QList<QStringList> expected{{QStringLiteral("a       b"), QStringLiteral("0123456789"), QStringLiteral("xy")},
                                    {QString(), QStringLiteral("last")}};
  EXPECT_EQ(job.pages, expected);
  EXPECT_TRUE(messages.shown.empty());
  const char* captions[] = {"StartDoc Error", "StartPage Error", "EndPage Error", "EndDoc Error"};
  for (int step = 1; step <= 4; ++step) {
    FakeJob failing(step);
    EXPECT_FALSE(PrintLines(failing, QStringLiteral("text"), QString(), messages));
    ASSERT_EQ(messages.shown.size(), static_cast<size_t>(step));
    EXPECT_EQ(messages.shown.back().caption, captions[step - 1]);
    EXPECT_FALSE(messages.shown.back().text.empty());
  }
}

TEST_F(WindowTest, AReportStandsBesideTheModelAndFollowsIt) {
  Load();
  ASSERT_EQ(window->Run(145), Outcome::Done);
  ReportWindow* plane = window->Reports().Window(ReportKind::MeanPlane);
  ASSERT_NE(plane, nullptr);
  EXPECT_TRUE(plane->isVisible());
  EXPECT_FALSE(plane->isModal());
  EXPECT_EQ(plane->windowTitle(), QStringLiteral("Mean Plane "));
  EXPECT_TRUE(plane->Text().startsWith(QStringLiteral("Equations of Mean Plane\n")));
  EXPECT_TRUE(plane->Text().contains(QStringLiteral("\tC2\n")));
  // Other commands go on; the report tells what has become of its atoms.
  ASSERT_EQ(window->Run(130, "C2"), Outcome::Changed);
  Settle();
  EXPECT_FALSE(plane->Text().contains(QStringLiteral("\tC2\n")));

  plane->CopyTable();
  EXPECT_TRUE(QGuiApplication::clipboard()->text().contains(QStringLiteral("name\tmember\tdeviation\tweight\n")));
  plane->CopyText();
  EXPECT_EQ(QGuiApplication::clipboard()->text(), plane->Text());
  const QString base = QString::fromStdString(scratch / "report");
  EXPECT_TRUE(plane->SaveTo(base + QStringLiteral(".txt")));
  EXPECT_EQ(scratch.Get("report.txt"), plane->Text().toStdString());
  EXPECT_TRUE(plane->SaveTo(base + QStringLiteral(".csv")));
  EXPECT_NE(scratch.Get("report.csv").find("name,member,deviation,weight\nC1,1,"), std::string::npos);
  EXPECT_FALSE(plane->SaveTo(QStringLiteral("/no/such/folder/report.txt")));
  ASSERT_FALSE(robot.seen.isEmpty());
  EXPECT_EQ(robot.seen.back().title, QStringLiteral("Error: File I/O"));

  QTest::keyClick(plane, Qt::Key_Escape);
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  EXPECT_EQ(window->Reports().Window(ReportKind::MeanPlane), nullptr);
}

TEST_F(WindowTest, TheEnvironmentHasADistanceAndEndsWithItsAtom) {
  Load();
  bench.PickAtom(Atom("C1"));
  ASSERT_EQ(window->Run(155), Outcome::Done);
  ReportWindow* report = window->Reports().Window(ReportKind::Environment);
  ASSERT_NE(report, nullptr);
  EXPECT_TRUE(report->RadiusBox()->isVisible());
  EXPECT_EQ(report->RadiusBox()->value(), 4.0);
  EXPECT_FALSE(report->Text().contains(QStringLiteral("Q1")));
  report->RadiusBox()->setValue(6.0);
  EXPECT_TRUE(report->Text().contains(QStringLiteral("Q1"))) << report->Text().toStdString();
  EXPECT_EQ(bench.reports.environmentRadius, 6.0);
  window->Run(130, "C1");
  Settle();
  EXPECT_EQ(report->Text(), QStringLiteral("What this report is about is no longer there."));
}

TEST_F(WindowTest, AReportPrintsToAFile) {
  QPrinter printer;
  printer.setOutputFormat(QPrinter::PdfFormat);
  printer.setOutputFileName(QString::fromStdString(scratch / "out.pdf"));
  EXPECT_TRUE(
      PrintText(printer, QStringLiteral("Bonds and Angles for C1\r\n").repeated(200), QStringLiteral("Job"), messages));
  EXPECT_EQ(scratch.Get("out.pdf").substr(0, 5), "%PDF-");
  // A folder that is not there is a document that cannot be started.
  QPrinter nowhere;
  nowhere.setOutputFormat(QPrinter::PdfFormat);
  nowhere.setOutputFileName(QStringLiteral("/no/such/folder/out.pdf"));
  EXPECT_FALSE(PrintText(nowhere, QStringLiteral("text"), QStringLiteral("Job"), messages));
  ASSERT_FALSE(robot.seen.isEmpty());
  EXPECT_EQ(robot.seen.back().title, QStringLiteral("StartDoc Error"));
}

TEST_F(WindowTest, TheHfixDialogOffersEveryCode) {
  Load();
  QStringList texts;
  robot.Next([&](QWidget& dialog) {
    EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Set HFIX for selected atom(s)"));
    for (QRadioButton* button : dialog.findChildren<QRadioButton*>()) {
      texts.push_back(button->text());
      if (button->text().startsWith(QStringLiteral("sp2 Alkene or"))) button->click();
    }
    static_cast<QDialog&>(dialog).accept();
  });
  bench.document.atoms.selection.Append(Atom("C1"));
  robot.NextButton("OK");  // one neighbour is not enough for its place
  robot.NextButton("No");  // hydrogen on SFAC
  window->Run(kHfixCommand);
  EXPECT_EQ(texts.size(), 10);
  ASSERT_EQ(bench.document.atoms.hfix.size(), 1u);
  EXPECT_EQ(bench.document.atoms.hfix[0].text, "HFIX 43   C1");
  // Cancelled it does nothing.
  bench.document.atoms.hfix.clear();
  EXPECT_EQ(window->Run(kHfixCommand), Outcome::Cancelled);
  EXPECT_TRUE(bench.document.atoms.hfix.empty());
}

}  // namespace marvik::test

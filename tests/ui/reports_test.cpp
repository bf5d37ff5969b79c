#include <QClipboard>
#include <QDialog>
#include <QDoubleSpinBox>
#include <QFileInfo>
#include <QGuiApplication>
#include <QPrinter>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

#include "ui/printing/text_printing.h"
#include "ui/texts/report_window.h"

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

}  // namespace marvik::test

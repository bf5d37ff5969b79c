#include "picture/report_page.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "draw/canvas/pdf_canvas.h"
#include "files/res/reader.h"
#include "picture/view_page.h"

namespace marvik {
namespace {

// In points from the page's top left corner.
struct Word {
  double left = 0, top = 0, right = 0, bottom = 0;
  std::string text;
};

std::vector<Word> WordsOf(const std::string& pdf) {
  std::string file = (std::filesystem::temp_directory_path() / "marvik-page-XXXXXX").string();
  const int made = mkstemp(file.data());
  std::ofstream(file, std::ios::binary) << pdf;
  std::vector<Word> words;
  FILE* out = popen(("pdftotext -bbox '" + file + "' -").c_str(), "r");
  char line[1000], text[1000];
  while (fgets(line, sizeof line, out)) {
    Word w;
    if (sscanf(line, " <word xMin=\"%lf\" yMin=\"%lf\" xMax=\"%lf\" yMax=\"%lf\">%999[^<]", &w.left, &w.top, &w.right,
               &w.bottom, text) != 5)
      continue;
    w.text = text;
    words.push_back(w);
  }
  pclose(out);
  close(made);
  unlink(file.c_str());
  return words;
}

struct ReportPage : testing::Test {
  void SetUp() override {
    if (!PdfCanvas::IsThere()) GTEST_SKIP();
  }

  Document document;
  RecordingMessages messages;
  PictureSubject subject{document, {}, {}, "page", {}, messages, {}};
};

TEST_F(ReportPage, AViewOnAPageBearsTheTitle) {
  EXPECT_NE(DrawPdfPage(subject)->find("/Title (page)"), std::string::npos);
}

TEST_F(ReportPage, TextRunsRoundTheFigureInColumns) {
  std::string text = "![figure](view)\n";
  for (int i = 0; i < 600; ++i) text += "word ";
  text += "\n\n";
  for (int i = 0; i < 9; ++i) text += "|" + std::string(static_cast<size_t>(i + 1), 'm') + "|second|third and more|\n";
  for (const bool figure : {false, true}) {
    const char* model = "CELL 0.71 20 20 20 90 90 90\nSFAC C\nC1 1 0.1 0.1 0.1 11 0.05\n";
    ASSERT_TRUE(!figure || ReadInstructionText(document, model, messages));
    const auto page = WordsOf(*DrawReportPage(subject, text));
    ASSERT_GT(page.size(), 600u);
    double farthest = 0.0, second = 0.0, first = 0.0;
    for (const Word& w : page) {
      EXPECT_GE(w.left, 41.9);
      EXPECT_LE(w.right, 595.28 - 41.9);
      if (w.top < 42 + 200) farthest = std::max(farthest, w.right);
      if (w.text.find_first_not_of('m') == w.text.npos) first = std::max(first, w.right);
      if (w.text != "second") continue;
      if (second == 0.0) second = w.left;
      EXPECT_NEAR(w.left, second, 0.1);
    }
    EXPECT_GT(second, first);
    EXPECT_LT(farthest, figure ? 595 - 42 - 205 : 595 - 42);
    EXPECT_GT(farthest, (figure ? 595 - 42 - 205 : 595 - 42) - 50);
  }
}

TEST_F(ReportPage, IsOnePageWhateverTheText) {
  std::string lines = "# Title^2^\n\n![figure](view)\n";
  for (int i = 0; i < 900; ++i) lines += "| row \\| " + std::to_string(i) + " | a **bold** word and H~2~O |\n";
  for (const std::string& text : {std::string(), std::string("\\"), std::string("| a\n|\n||\n^~**"), lines}) {
    const auto page = DrawReportPage(subject, text);
    ASSERT_TRUE(page);
    EXPECT_TRUE(page->starts_with("%PDF-1.5")) << text.substr(0, 20);
    EXPECT_EQ(page, DrawReportPage(subject, text)) << "the same text gives the same bytes";
  }
}

TEST_F(ReportPage, MarksTurnIntoTypeAndTheTitleIsTheFiles) {
  const auto page = [&](std::string_view text) { return *DrawReportPage(subject, text); };
  // Each of a pair is the same page.
  const std::pair<const char*, const char*> same[] = {{"a b", "a\tb"},
                                                      {"a b", "a b\r\n"},
                                                      {"a\\*b", "a*b"},
                                                      {"**a b**", "**a** **b**"},
                                                      {"|a|b|\n", "|  a | b |\n"},
                                                      {"|a|b|\n|---|:-:|\n", "|a|b|\n"},
                                                      {"# a", "#   a #"},
                                                      {"a\n![f](x)\nb", "a\nb"}};
  for (const auto& [one, other] : same) EXPECT_TRUE(page(one) == page(other)) << one;
  // And of these not.
  const std::pair<const char*, const char*> different[] = {
      {"H2O", "H~2~O"}, {"H^2^O", "H~2~O"}, {"**a** b", "a b"}, {"**a** b", "**a b**"}, {"# a", "a"},
      {"a\nb", "a b"},  {"a\n\nb", "a\nb"}, {"|a|b|", "|a b|"}, {"4", "4\xCC\x84"},     {"-4", "a"}};
  for (const auto& [one, other] : different) EXPECT_FALSE(page(one) == page(other)) << one;
  EXPECT_TRUE(page("4\xCC\x84") == page("-4"));
  const std::string before = page("a");
  subject.title = "other";
  EXPECT_FALSE(page("a") == before);
}

}  // namespace
}  // namespace marvik

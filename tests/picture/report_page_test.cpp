#include "picture/report_page.h"

#include <gtest/gtest.h>

#include "draw/canvas/pdf_canvas.h"

namespace marvik {
namespace {

TEST(ReportPage, IsOnePageWhateverTheText) {
  if (!PdfCanvas::IsThere()) GTEST_SKIP();
  Document document;
  RecordingMessages messages;
  PictureSubject subject{document, {}, {}, "page", {}, messages, {}};
  std::string lines = "# Title^2^\n\n![figure](view)\n";
  for (int i = 0; i < 900; ++i) lines += "| row \\| " + std::to_string(i) + " | a **bold** word and H~2~O |\n";
  for (const std::string& text : {std::string(), std::string("\\"), std::string("| a\n|\n||\n^~**"), lines}) {
    const auto page = DrawReportPage(subject, text);
    ASSERT_TRUE(page);
    EXPECT_TRUE(page->starts_with("%PDF-1.5")) << text.substr(0, 20);
    EXPECT_EQ(page, DrawReportPage(subject, text)) << "the same text gives the same bytes";
  }
}

TEST(ReportPage, MarksTurnIntoTypeAndTheTitleIsTheFiles) {
  if (!PdfCanvas::IsThere()) GTEST_SKIP();
  Document document;
  RecordingMessages messages;
  PictureSubject subject{document, {}, {}, "page", {}, messages, {}};
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

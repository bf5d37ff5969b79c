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

}  // namespace
}  // namespace marvik

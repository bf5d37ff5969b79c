#include <array>
#include <gtest/gtest.h>

#include "draw/canvas/pdf_canvas.h"
#include "files/res/reader.h"
#include "picture/label_report.h"
#include "picture/picture_drawing.h"
#include "picture/picture_formats.h"
#include "picture/picture_sheet.h"
#include "picture/view_page.h"

namespace marvik {
namespace {

TEST(PictureRequest, SaysWhatItTakesAndWhatIsWrong) {
  PictureOptions usual;
  usual.size = 700;
  const struct {
    const char *text, *read;
  } kCases[] = {
      {"a.png", "journal=none size=700 resolution=0 background=usual trim=off frames=one renderer=interactive a.png"},
      {" trim=on\tframes=stereo background=transparent renderer=opengl odd=1 b.png \n",
       "journal=none size=700 resolution=0 background=transparent trim=on frames=stereo renderer=opengl odd=1 b.png"},
      // 170 mm at 600 dots per inch
      {"journal=double-column x",
       "journal=double-column size=4016 resolution=600 background=white trim=on frames=one renderer=interactive x"},
      {"journal=single-column journal=none resolution=10000 size=16 x",
       "journal=none size=16 resolution=10000 background=white trim=on frames=one renderer=interactive x"},
      {"label-report=l.json frames=axes x",
       "journal=none size=700 resolution=0 background=usual trim=off frames=axes renderer=interactive x"}};
  for (const auto& [text, read] : kCases) {
    std::string wrong;
    const auto request = ParsePictureRequest(text, usual, wrong);
    ASSERT_TRUE(request) << wrong;
    EXPECT_EQ(PictureArgument(*request), read);
    EXPECT_EQ(request->options.labelReport, std::string_view(text).starts_with("label") ? "l.json" : "");
  }
  for (const auto& [text, sentence] : {std::pair{"background=red x", "The background is black, white or transparent."},
                                       std::pair{"journal=x x", "The journal is single-column or double-column."},
                                       std::pair{"frames=two x", "The frames are one, stereo, axes or turn."},
                                       std::pair{"trim=yes x", "The trim is on or off."},
                                       std::pair{"renderer=x x", "The renderer is interactive or opengl."},
                                       std::pair{"size=1a x", "size=1a is not a number."},
                                       std::pair{"size=15 x", "A picture has from 16 to 16384 pixels a side."},
                                       std::pair{"resolution=10001 x", "The resolution is 0 to 10000 dots per inch."},
                                       std::pair{"size=600  ", "The name of the file to write is missing."}}) {
    std::string wrong;
    EXPECT_FALSE(ParsePictureRequest(text, usual, wrong));
    EXPECT_EQ(wrong, sentence);
  }
}

TEST(LabelReport, HasEveryListInPointsBelowTheCut) {
  AtomRecord c1, c2;
  c1.name = "C1\"\\", c2.name = "C2\xe9\x1f~";
  BondRecord bond;
  bond.owner = &c1, bond.partner = &c2;
  FrameLayout layout;
  layout.labels = {{&c1, {20, 40}, {10, 8}, false}, {&c2, {60, 50}, {12, 8}, true}};
  layout.leftOut = {&c2, &c1};
  layout.bodies = {{&c1, {{30, 50}, {4, 1}, {-1, 3}}}};
  layout.bonds = {{&bond, {{34, 50}, {56, 70}, 1.5}}};
  EXPECT_EQ(LabelReport(layout, 0.5, 10.0), R"({"labels": [
  {"name": "C1\"\\", "box": [10.000, 11.000, 15.000, 15.000], "leader": false},
  {"name": "C2??~", "box": [30.000, 16.000, 36.000, 20.000], "leader": true}
 ],
"left_out": [
  "C2??~",
  "C1\"\\"
 ],
"bodies": [
  {"name": "C1\"\\", "centre": [15.000, 20.000], "axes": [[2.000, 0.500], [-0.500, 1.500]]}
 ],
"bonds": [
  {"names": ["C1\"\\", "C2??~"], "ends": [[17.000, 20.000], [28.000, 30.000]], "width": 1.500}
 ]}
)");
}

TEST(PagePlace, FitsTheSquareOnThePageAndKeepsItsMiddle) {
  // 20320 page units square about (9741, 13716)
  for (const auto& [width, height, scale] :
       {std::tuple{21000.0, 29700.0, 1.0}, std::tuple{10160.0, 29700.0, 0.5}, std::tuple{29700.0, 5080.0, 0.25}}) {
    const PagePlace place = PlaceOnPage(width, height);
    EXPECT_DOUBLE_EQ(place.scale, scale);
    EXPECT_DOUBLE_EQ((9741.0 - place.corner.x) * scale, width / 2.0);
    EXPECT_DOUBLE_EQ((13716.0 - place.corner.y) * scale, height / 2.0);
  }
}

struct Sheet : testing::Test {
  Sheet() {
    ReadInstructionText(document,
                        "TITL one\nCELL 0.71073 10 10 10 90 90 90\nLATT -1\nSFAC C\nUNIT 4\nFVAR 1\n"
                        "C1 1 0.3 0.5 0.5 11 0.03\nHKLF 4\nEND\n",
                        messages);
    view.FitView(2.0, document.atoms.head->position);
  }
  // A picture, another without its second line, and a sentence for the rest.
  std::string Drawn(const std::string& format, size_t structures, PictureOptions options = {}) {
    options.size = 600;
    const auto sheet = PictureSheet::Make(options, format, structures, messages);
    if (!sheet) return "";
    RenderOptions look;
    look.mode = kBallAndStick;
    PictureSubject subject{document, view, look, "one", [this]() -> const OpenGlSettings& { return openGl; },
                           messages, {},   {}};
    EXPECT_TRUE(sheet->Add(subject, "first", "figure"));
    for (size_t i = 1; i < structures; ++i) sheet->AddSentence("No. " + std::to_string(i), "It cannot be read.");
    return sheet->Finish().value_or("");
  }
  Document document;
  RecordingMessages messages;
  ViewState view;
  OpenGlSettings openGl;
};

// Where each text stands, and the corner of each frame.
std::vector<std::array<double, 2>> PlacesOf(const std::string& svg, const std::string& element,
                                            const std::string& text) {
  std::vector<std::array<double, 2>> places;
  for (size_t at = svg.find(element + " x=\""); at != svg.npos; at = svg.find(element + " x=\"", at + 1)) {
    const size_t end = svg.find('\n', at);
    if (svg.substr(at, end - at).find(text) == text.npos) continue;
    auto& place = places.emplace_back();
    if (std::sscanf(svg.c_str() + at + element.size(), " x=\"%lf\" y=\"%lf\"", &place[0], &place[1]) != 2)
      places.pop_back();
  }
  return places;
}

// One column for one, two for up to four, three for more; margins of 1/24 and gaps of 1/50 of the width, and 19.25
// points of words below each frame.
TEST_F(Sheet, HasItsFramesInRows) {
  for (const int structures : {1, 4, 5, 12}) {
    const std::string svg = Drawn("svg", static_cast<size_t>(structures));
    ASSERT_NE(svg, "");
    const int columns = structures == 1 ? 1 : structures == 4 ? 2 : 3, rows = (structures + columns - 1) / columns;
    const double side = (550.0 - 12.0 * (columns - 1)) / columns, row = side + 19.25 + 12.0;
    double width = 0, height = 0;
    std::sscanf(svg.c_str() + svg.find("width="), "width=\"%lfpt\" height=\"%lfpt\"", &width, &height);
    EXPECT_NEAR(width, 600.0, 0.01);
    EXPECT_NEAR(height, 50.0 + rows * row - 12.0, 0.01);
    const auto frames = PlacesOf(svg, "<svg", "");
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_NEAR(frames[0][0], 25.0, 0.01);
    EXPECT_NEAR(frames[0][1], 25.0, 0.01);
    const auto first = PlacesOf(svg, "<text", ">first<"), second = PlacesOf(svg, "<text", ">figure<");
    ASSERT_EQ(first.size() + second.size(), 2u);
    EXPECT_GT(first[0][1], 25.0 + side);
    EXPECT_NEAR(second[0][1] - first[0][1], 1.05 * 7.0, 1.5);
    EXPECT_LT(second[0][1], 25.0 + side + 19.25);
    for (int i = 1; i < structures; ++i) {
      const auto name = PlacesOf(svg, "<text", ">No. " + std::to_string(i) + "<");
      ASSERT_EQ(name.size(), 1u);
      EXPECT_NEAR(name[0][1] - first[0][1], i / columns * row, 0.01);
      EXPECT_NEAR(name[0][0] - first[0][0], i % columns * (side + 12.0), 20.0) << "as far as the words differ in width";
    }
    EXPECT_EQ(PlacesOf(svg, "<text", ">It cannot be read.<").size(), static_cast<size_t>(structures - 1));
  }
  // Of pixels: 600 of them stand for 450 points, whole ones.
  const std::string png = Drawn("png", 4);
  const auto side = [&](size_t at) {
    return (static_cast<unsigned char>(png[at]) << 8) + static_cast<unsigned char>(png[at + 1]);
  };
  EXPECT_EQ(side(18), 600);
  EXPECT_EQ(side(22), 50 + 2 * (269 + 25 + 12) - 12);
}

TEST_F(Sheet, OfManyHasPagesOrIsRefused) {
  EXPECT_EQ(Drawn("svg", 13), "");
  EXPECT_EQ(messages.shown.back().text, "A sheet of more than 12 structures has pages, as .pdf files have, not .svg.");
  if (!PdfCanvas::IsThere()) GTEST_SKIP();
  for (const auto& [structures, pages] : {std::pair{1, 1}, std::pair{4, 1}, std::pair{5, 1}, std::pair{13, 2}}) {
    const std::string pdf = Drawn("pdf", static_cast<size_t>(structures));
    EXPECT_NE(pdf.find("/Count " + std::to_string(pages)), pdf.npos) << structures;
  }
}

}  // namespace
}  // namespace marvik

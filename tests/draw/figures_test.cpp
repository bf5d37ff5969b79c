#include <array>
#include <gtest/gtest.h>
#include <limits>

#include "draw/canvas/pdf_canvas.h"
#include "draw/canvas/png_strips.h"
#include "draw/canvas/png_writer.h"
#include "draw/canvas/scanline_canvas.h"

#include "png_reading.h"
#include "render_helpers.h"

namespace marvik::test {
namespace {

constexpr double kLabelPart = 0.02;

// A chain through the picture, with an ellipsoid, a peak and labels.
void AddModel(Scene& scene) {
  for (int i = 0; i < 12; ++i) scene.Add(Numbered("C", i + 1), -7.0 + 1.2 * i, 0.6 * i - 4.0, 0.1 * i);
  scene.AddEllipsoid("O1", 3.0, 3.0, 2.0, {0.05, 0.02, 0.09, 0.01, 0.02, 0.0});
  scene.Add("Q1", -3.0, 3.0, 1.0);
  scene.options.labels = true;
  Connect(scene.document, scene.messages);
}

std::string Pdf(Scene& scene, const PdfPage& page) {
  const std::string file = FindSansFontFile();
  LabelFont font(12, file);
  EXPECT_TRUE(PdfCanvas::IsThere());
  PdfCanvas canvas(page, font, file);
  scene.renderer.Render(scene.document, scene.view, scene.options, canvas, nullptr);
  return canvas.Finish().value_or("");
}

TEST(Pdf, TheSameDrawingGivesTheSameBytes) {
  Scene scene(kThermalEllipsoid);
  AddModel(scene);
  scene.options.exact = scene.options.cutOctant = true;
  PdfPage page;
  page.width = page.height = 600;
  page.title = "a (title)";
  const std::string pdf = Pdf(scene, page);
  EXPECT_TRUE(pdf.starts_with("%PDF-1."));
  EXPECT_NE(pdf.find("/MediaBox [ 0 0 600 600 ]"), std::string::npos);
  EXPECT_NE(pdf.find("/FontFile"), std::string::npos) << "the label face is embedded";
  EXPECT_EQ(pdf.find("/CreationDate"), std::string::npos);
  EXPECT_EQ(Pdf(scene, page), pdf);
}

TEST(Pdf, BadCoordinatesTextAndFacesDoNotSpoilThePage) {
  LabelFont font(12, "");
  PdfPage page;
  page.width = page.height = 100;
  ASSERT_TRUE(PdfCanvas::IsThere());
  PdfCanvas canvas(page, font, "/no/such/face");
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinite = std::numeric_limits<double>::infinity();
  canvas.Clear({255, 255, 255});
  canvas.FillEllipse({{nan, 1}, {0, 0}, {0, 0}}, {1, 2, 3}, {{}, 1.0});
  canvas.Arc({{5, 5}, {infinite, 0}, {0, 1e-300}}, 0.0, 1.0, {{}, nan});
  canvas.FillSector({{5, 5}, {3, 3}, {3, 3}}, 0.0, 1.5, {1, 2, 3});
  canvas.Polygon({}, {1, 2, 3}, {{}, infinite, LineStyle::Dashed});
  canvas.Text({nan, infinite}, TextAnchor::Centre, "\xff\x01\xc3\xa5", Rgb{});
  canvas.Line({0, 0}, {1e300, -1e300}, {{}, 0.0});
  const auto pdf = canvas.Finish();
  ASSERT_TRUE(pdf);
  EXPECT_TRUE(pdf->starts_with("%PDF-1."));
}

// The octant toward the viewer: its three faces lie inside the outline and meet in the middle.
TEST(Figures, TheCutOctantHasThreeFaces) {
  Scene scene(kThermalEllipsoid);
  AddModel(scene);
  scene.options.labels = false;
  scene.options.exact = true;
  const std::string whole = scene.Draw();
  scene.options.cutOctant = true;
  const std::string cut = Only(scene.Draw(), "polygon");
  EXPECT_EQ(std::ranges::count(cut, '\n') - std::ranges::count(Only(whole, "polygon"), '\n'), 3);
  const std::string middle = Only(whole, "ellipse").substr(8, 9);
  EXPECT_NE(cut.find("polygon " + middle), std::string::npos) << cut << middle;
}

TEST(Figures, WireFramesHaveAGroupForEachBondAndMark) {
  Scene scene;
  AddModel(scene);
  scene.options.exact = true;
  scene.Draw();
  const std::string groups = Only(scene.canvas.Recorded(), "begin");
  EXPECT_NE(groups.find("begin C1-C2\n"), std::string::npos) << groups;
  EXPECT_NE(groups.find("begin Q1\n"), std::string::npos);
  EXPECT_EQ(groups.find("begin C2\n"), std::string::npos) << "a bonded atom has no mark";
  EXPECT_EQ(scene.canvas.Count("begin"), scene.canvas.Count("end"));
}

std::string Strips(Scene& scene, int side, bool transparent) {
  scene.view.drawingSize = side;
  scene.view.FitView(scene.view.viewRadius, std::nullopt);
  const auto draw = [&](Canvas& canvas, bool clear) {
    scene.options.clear = clear;
    return scene.renderer.Render(scene.document, scene.view, scene.options, canvas, nullptr);
  };
  return DrawPngInStrips({side, 0, side, transparent, side * kLabelPart}, 0.0, draw, scene.messages).value_or("");
}

TEST(PngStrips, MeetWithoutASeam) {
  for (const int mode : {kWireFrame, kBallAndStick, kPipes}) {
    Scene scene(mode);
    AddModel(scene);
    constexpr int kSide = 2501;
    const std::string strips = Strips(scene, kSide, false);
    Image image(kSide, kSide);
    LabelFont font(kSide * kLabelPart);
    ScanlineCanvas canvas(image, &font);
    scene.options.clear = true;
    scene.renderer.Render(scene.document, scene.view, scene.options, canvas, nullptr);
    EXPECT_TRUE(strips == EncodePng(image)) << mode;
  }
}

// Put on any colour, a transparent picture is what would have been drawn on it.
TEST(PngStrips, TransparencyGivesBackWhatStandsOnWhite) {
  Scene scene(kBallAndStick);
  AddModel(scene);
  scene.options.whiteBackground = true;
  const std::array pixels{DecodePng(Strips(scene, 300, true)).pixels, DecodePng(Strips(scene, 300, false)).pixels};
  ASSERT_EQ(pixels[0].size(), 300u * 300u * 4u);
  ASSERT_EQ(pixels[1].size(), pixels[0].size());
  EXPECT_EQ(pixels[0][3], 0) << "the corner is empty";
  int partly = 0;
  for (size_t i = 0; i < pixels[0].size(); i += 4) {
    const int alpha = pixels[0][i + 3];
    partly += alpha > 0 && alpha < 255;
    for (size_t c = 0; c < 3; ++c)
      ASSERT_NEAR((pixels[0][i + c] * alpha + 255 * (255 - alpha)) / 255, pixels[1][i + c], 3) << i;
  }
  EXPECT_GT(partly, 100);
}

}  // namespace
}  // namespace marvik::test

#include "draw/canvas/svg_canvas.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>

namespace marvik {
namespace {

class SvgTest : public testing::Test {
 protected:
  bool Has(const std::string& part) const { return canvas.Document().find(part) != std::string::npos; }

  LabelFont font{12};
  SvgCanvas canvas{400, font};
};

TEST_F(SvgTest, EllipsesAreTrueEllipsesWhateverTheirConjugateAxes) {
  // The same ellipse, once by its own axes and once by two skew conjugate half axes.
  canvas.FillEllipse({{100, 50}, {20, 0}, {0, 10}}, {255, 0, 0}, {{}, 0.0});
  EXPECT_TRUE(Has("<ellipse cx=\"100\" cy=\"50\" rx=\"20\" ry=\"10\" transform=\"rotate(0 100 50)\""))
      << canvas.Document();
  const double h = std::sqrt(0.5);
  canvas.Clear({255, 255, 255});
  canvas.FillEllipse({{100, 50}, {20 * h, 10 * h}, {-20 * h, 10 * h}}, {255, 0, 0}, {{}, 0.0});
  EXPECT_TRUE(Has("rx=\"20\" ry=\"10\" transform=\"rotate(0 100 50)\"")) << canvas.Document();
  canvas.FillEllipse({{10, 10}, {3, 4}, {-4, 3}}, {0, 0, 0}, {{}, 0.0});
  EXPECT_TRUE(Has("<circle cx=\"10\" cy=\"10\" r=\"5\""));
}

TEST_F(SvgTest, ArcsGoTheWayTheirAxesTurn) {
  canvas.Arc({{0, 0}, {10, 0}, {0, 10}}, 0.0, std::numbers::pi, {});
  EXPECT_TRUE(Has("M10 0A10 10 0 0 1 0 10A10 10 0 0 1 -10 0"));
  canvas.Arc({{0, 0}, {10, 0}, {0, -10}}, 0.0, std::numbers::pi, {});
  EXPECT_TRUE(Has("M10 0A10 10 0 0 0 0 -10A10 10 0 0 0 -10 0"));
}

TEST_F(SvgTest, TextAndNamesAreEscapedAndNumbersStayFinite) {
  canvas.BeginGroup("C<1>\"");
  canvas.Text({5, 5}, TextAnchor::Centre, "a&b\x01\xff", Rgb{0, 0, 0});
  canvas.Line({std::nan(""), 1}, {std::numeric_limits<double>::infinity(), 1e300}, {{}, 2.0, LineStyle::Dashed});
  canvas.EndGroup();
  EXPECT_TRUE(Has("<g id=\"C_1__\">\n<title>C&lt;1&gt;&quot;</title>"));
  EXPECT_TRUE(Has(">a&amp;b?</text>"));
  EXPECT_TRUE(Has("stroke-dasharray=\"6 4\""));
  EXPECT_FALSE(Has("nan"));
  EXPECT_FALSE(Has("inf"));
}

TEST_F(SvgTest, NoIdIsThereTwiceNorBeginsWithADigit) {
  for (const char* name : {"C1", "C1", "C1.2", "C1", "1C", ""}) {
    canvas.BeginGroup(name);
    canvas.EndGroup();
  }
  for (const char* id : {"\"C1\"", "\"C1.2\"", "\"C1.2.2\"", "\"C1.3\"", "\"_1C\"", "\"_\""})
    EXPECT_TRUE(Has(std::string("<g id=") + id + ">")) << id << canvas.Document();
}

TEST_F(SvgTest, SectorsAreWedges) {
  canvas.FillSector({{0, 0}, {10, 0}, {0, 10}}, 0.0, std::numbers::pi / 2, {1, 2, 3});
  EXPECT_TRUE(Has("d=\"M0 0L10 0A10 10 0 0 1 7.07 7.07A10 10 0 0 1 0 10Z\"")) << canvas.Document();
}

}  // namespace
}  // namespace marvik

#include "gl/true_type_font.h"

#include <gtest/gtest.h>

#include "gl/gl_picture.h"

namespace marvik {
namespace {

int InkIn(const Image& image) {
  int count = 0;
  for (const uint32_t pixel : image.pixels) count += pixel != 0xff000000u;
  return count;
}

TEST(TrueTypeFont, SizesAndFailures) {
  TrueTypeFont font;
  EXPECT_FALSE(font.openFont("/no/such/file.ttf", 8));
  EXPECT_FALSE(font.openFont("", 8));
  EXPECT_FALSE(font.openFont(__FILE__, 8)) << "not a font";
  EXPECT_FALSE(font.IsOpen());
  ASSERT_TRUE(font.openFont(DefaultFontPath(), 8));
  EXPECT_EQ(font.emHeightPixels(), 10);
  EXPECT_FALSE(font.setPointSize(0));
  EXPECT_EQ(font.PointSize(), 8);
  const double width = font.Width("C1");
  EXPECT_TRUE(font.setPointSize(16));
  EXPECT_NEAR(font.Width("C1"), 2.0 * width, 0.2 * width);

  for (const int size : {1, 100, 350, 600}) EXPECT_EQ(properPointSize(DefaultFontPath(), size), 8);
  EXPECT_EQ(properPointSize(DefaultFontPath(), 1200), 15) << "20 pixels are the first to be a 60th";
  EXPECT_EQ(properPointSize(DefaultFontPath(), 8000), 101);
  EXPECT_EQ(properPointSize("/no/such/file.ttf", 1200), 8);
}

TEST(TrueTypeFont, TextIsOneColourAndCutOffAtTheEdges) {
  TrueTypeFont font;
  ASSERT_TRUE(font.openFont(DefaultFontPath(), 20));
  const auto draw = [&](int x, int y, std::string_view text) {
    Image image(100, 60);
    font.drawText(image, x, y, text, {255, 255, 255});
    for (const uint32_t pixel : image.pixels) EXPECT_TRUE(pixel == 0xff000000u || pixel == 0xffffffffu);
    return InkIn(image);
  };
  const int whole = draw(30, 40, "H");
  EXPECT_GT(whole, 40);
  EXPECT_GT(font.Width(" "), 0.0);
  EXPECT_EQ(draw(30, 40, " "), 0);
  EXPECT_EQ(draw(30, 40, std::string_view("\x01\0", 2)), 0) << "the face has none of these";
  for (const int x : {-9, 91}) {
    EXPECT_GT(draw(x, 40, "H"), 0);
    EXPECT_LT(draw(x, 40, "H"), whole);
  }
  EXPECT_GT(draw(30, 10, "H"), 0);
  EXPECT_LT(draw(30, 10, "H"), whole);
  EXPECT_EQ(draw(-2000000, 40, "H"), 0);
  EXPECT_EQ(draw(30, 2000000, "H"), 0);
  // Upright and on its base line: the left stem of an L reaches up, its foot to the right.
  Image image(60, 60);
  font.drawText(image, 20, 40, "L", {255, 255, 255});
  EXPECT_EQ(InkIn(image), [&] {
    int above = 0;
    for (int y = 0; y < 41; ++y) {
      for (int x = 20; x < 60; ++x) above += image.At(x, y) != 0xff000000u;
    }
    return above;
  }());
  int left = 0;
  int right = 0;
  for (int y = 0; y < 36; ++y) {
    for (int x = 0; x < 60; ++x) (x < 27 ? left : right) += image.At(x, y) != 0xff000000u;
  }
  EXPECT_GT(left, 20);
  EXPECT_EQ(right, 0);
}

}  // namespace
}  // namespace marvik

#include "draw/canvas/png_writer.h"

#include <cerrno>
#include <cstdio>
#include <gtest/gtest.h>

#include "base/files.h"

#include "png_reading.h"

namespace marvik {
namespace {

Image TestImage(int width, int height) {
  Image image(width, height);
  uint32_t seed = 1;
  for (uint32_t& pixel : image.pixels) pixel = seed = seed * 1664525u + 1013904223u;
  for (int x = 0; x < width / 2; ++x) image.At(x, height / 2) = 0x80ff0102;
  return image;
}

TEST(PngWriter, PixelsComeBack) {
  for (const bool alpha : {false, true}) {
    for (const auto& [w, h] : {std::pair{1, 1}, {33, 17}, {300, 2}}) {
      const Image image = TestImage(w, h);
      const auto bytes = EncodePng(image, {0.0, alpha});
      ASSERT_TRUE(bytes);
      const auto [width, height, hasAlpha, pixels] = test::DecodePng(*bytes);
      ASSERT_EQ(width, w);
      ASSERT_EQ(height, h);
      EXPECT_EQ(hasAlpha, alpha);
      for (size_t i = 0; i < image.pixels.size(); ++i) {
        const uint32_t p = image.pixels[i];
        ASSERT_EQ(pixels[i * 4], p >> 16 & 255) << i;
        ASSERT_EQ(pixels[i * 4 + 1], p >> 8 & 255);
        ASSERT_EQ(pixels[i * 4 + 2], p & 255);
        ASSERT_EQ(pixels[i * 4 + 3], alpha ? p >> 24 : 255u);
      }
    }
  }
}

TEST(PngWriter, ResolutionIsWrittenInDotsPerMetre) {
  const Image image = TestImage(4, 4);
  EXPECT_EQ(EncodePng(image)->find("pHYs"), std::string::npos);
  EXPECT_EQ(EncodePng(image, {-300.0})->find("pHYs"), std::string::npos);
  const std::string bytes = *EncodePng(image, {300.0});
  const size_t at = bytes.find("pHYs");
  ASSERT_NE(at, std::string::npos);
  EXPECT_EQ(bytes.substr(at + 4, 9), std::string("\0\0\x2e\x23\0\0\x2e\x23\1", 9));  // 11811
}

TEST(PngWriter, RefusesWhatIsNoPicture) {
  EXPECT_FALSE(EncodePng(Image()));
  EXPECT_FALSE(EncodePng(Image(5, 0)));
  Image short5(5, 5);
  short5.pixels.pop_back();
  EXPECT_FALSE(EncodePng(short5));
  short5.width = -5;
  EXPECT_FALSE(EncodePng(short5));

  const std::string path = testing::TempDir() + "marvik_png_test.png";
  EXPECT_EQ(WritePng(TestImage(9, 9), path), 0);
  EXPECT_EQ(ReadWholeFile(path).content, *EncodePng(TestImage(9, 9)));
  EXPECT_NE(WritePng(Image(), path), 0);
  EXPECT_EQ(WritePng(TestImage(9, 9), "/nowhere/at/all.png"), ENOENT);
  std::remove(path.c_str());
}

}  // namespace
}  // namespace marvik

#include "draw/labels/label_font.h"

#include <algorithm>
#include <cstdio>
#include <gtest/gtest.h>
#include <numeric>

#include "base/files.h"
#include "draw/labels/text_drawing.h"

namespace marvik {
namespace {

std::u32string Decoded(std::string_view text) {
  std::u32string characters;
  while (const char32_t c = TakeCharacter(text)) characters += c;
  return characters;
}

int Ink(const LabelFont::Glyph& glyph) {
  return std::accumulate(glyph.cover.begin(), glyph.cover.end(), 0);
}

TEST(LabelFont, DecodesUtf8AndShowsBadBytes) {
  EXPECT_EQ(Decoded("C1"), U"C1");
  EXPECT_EQ(Decoded("\xc3\x85\xce\xb1\xe2\x82\xac\xf0\x9f\x98\x80z"), U"\u00c5\u03b1\u20ac\U0001f600z");
  EXPECT_EQ(Decoded("a\xffz"), U"a?z");
  EXPECT_EQ(Decoded("\xc3"), U"?");
  EXPECT_EQ(Decoded("\xe2\x82z"), U"??z") << "cut short: its bytes one by one";
  EXPECT_EQ(Decoded("\xc0\xaf"), U"??") << "longer than needed";
  EXPECT_EQ(Decoded("\xe0\x80\xaf"), U"???");
  EXPECT_EQ(Decoded("\xed\xa0\x80"), U"???") << "half of a surrogate pair";
  EXPECT_EQ(Decoded("\xf4\x90\x80\x80"), U"????") << "beyond the last character";
  EXPECT_EQ(Decoded(std::string_view("a\0b", 3)), U"a?b");
  EXPECT_EQ(Decoded(""), U"");
}

TEST(LabelFont, BuiltInLettersAreThereWhenNoFaceIs) {
  const std::string path = testing::TempDir() + "marvik_no_font.ttf";
  ASSERT_EQ(WriteFileAtomically(path, "this is no font"), 0);
  for (const std::string& file : {std::string(), std::string("/nowhere/at/all.ttf"), path}) {
    LabelFont font(12.0, file);
    EXPECT_TRUE(font.IsBuiltIn());
    EXPECT_EQ(Ink(font.GlyphOf(U' ')), 0);
    EXPECT_DOUBLE_EQ(font.Width("C12"), 18.0);
    const LabelFont::Glyph& one = font.GlyphOf(U'1');
    ASSERT_EQ(one.width, 5);
    ASSERT_EQ(one.height, 7);
    std::string rows;
    for (size_t i = 0; i < one.cover.size(); ++i) rows += one.cover[i] ? '#' : i % 5 == 4 ? '|' : '.';
    EXPECT_EQ(rows, "..#.|.##.|..#.|..#.|..#.|..#.|.###|");
    for (char32_t c = U'!'; c <= U'~'; ++c) {
      EXPECT_GT(Ink(font.GlyphOf(c)), 0) << static_cast<int>(c);
      for (char32_t d = U'!'; d < c; ++d) EXPECT_NE(font.GlyphOf(c).cover, font.GlyphOf(d).cover);
    }
    EXPECT_EQ(font.GlyphOf(U'\u00e9').cover, font.GlyphOf(U'?').cover);
    font.SetPixels(31.0);
    EXPECT_EQ(font.GlyphOf(U'1').height, 21);
    EXPECT_DOUBLE_EQ(font.Width("C12"), 54.0);
    EXPECT_DOUBLE_EQ(font.Ascent(), 24.0);
  }
  std::remove(path.c_str());
}

TEST(LabelFont, FacesAreFoundAndScaled) {
  const std::string file = FindSansFontFile();
  if (file.empty()) GTEST_SKIP() << "no font is installed";
  LabelFont font(13.0);
  ASSERT_FALSE(font.IsBuiltIn());
  const LabelFont::Glyph& capital = font.GlyphOf(U'H');
  EXPECT_NEAR(capital.height, 9.5, 1.5);
  EXPECT_EQ(capital.top, capital.height) << "stands on the base line";
  EXPECT_GT(font.GlyphOf(U' ').advance, 1.0);
  EXPECT_GT(Ink(font.GlyphOf(U'\u00c5')), Ink(font.GlyphOf(U'A')));
  EXPECT_EQ(font.GlyphOf(U'\U000f1234').cover, font.GlyphOf(U'?').cover);
  EXPECT_GT(font.Descent(), 0.0);
  EXPECT_NEAR(font.Ascent() + font.Descent(), 15.5, 3.0);

  const double width = font.Width("C12A");
  EXPECT_NEAR(width, font.Width("C1") + font.Width("2A"), 1e-9);
  font.SetPixels(26.0);
  EXPECT_NEAR(font.Width("C12A"), 2 * width, 3.0);
  for (const double pixels : {0.0, -5.0, 1e9, std::numeric_limits<double>::quiet_NaN()}) {
    font.SetPixels(pixels);
    EXPECT_GE(font.Pixels(), 4.0);
    EXPECT_LE(font.Pixels(), 1000.0);
    EXPECT_GT(font.GlyphOf(U'H').height, 0);
  }
}

TEST(LabelFont, TextIsCutOffAtTheEdgesAndCoversWhatIsTransparent) {
  LabelFont font(20.0);
  const auto draw = [&](double x, double y, std::string_view text, uint32_t under) {
    Image image(100, 60);
    std::ranges::fill(image.pixels, under);
    DrawText({image.pixels.data(), 100, 60, 100}, font, {x, y}, text, Rgb{255, 255, 255});
    for (const uint32_t pixel : image.pixels)
      EXPECT_TRUE(pixel >> 24 == 255 || pixel == 0 || (pixel | 0xff000000u) == 0xffffffffu);
    return std::ranges::count_if(image.pixels, [&](uint32_t pixel) { return pixel != under; });
  };
  const auto whole = draw(30, 40, "H", 0xff000000u);
  EXPECT_GT(whole, 40);
  EXPECT_EQ(draw(30, 40, "H", 0u), whole) << "over nothing at all";
  EXPECT_EQ(draw(30, 40, " ", 0xff000000u), 0);
  for (const auto& [x, y] : {std::pair{-7, 40}, std::pair{91, 40}, std::pair{30, 10}}) {
    EXPECT_GT(draw(x, y, "H", 0xff000000u), 0);
    EXPECT_LT(draw(x, y, "H", 0xff000000u), whole);
  }
  EXPECT_EQ(draw(-2e6, 40, "H", 0xff000000u), 0);
  EXPECT_EQ(draw(30, 1e300, "H", 0xff000000u), 0);
}

}  // namespace
}  // namespace marvik

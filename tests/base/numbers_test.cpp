#include "base/numbers.h"

#include <clocale>
#include <cmath>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>

#include "base/words.h"

namespace marvik {
namespace {

constexpr double kLargest = std::numeric_limits<double>::max();

TEST(ParseNumber, TakesTheLongestDecimalNumber) {
  const struct {
    const char* text;
    size_t used;
    double value;
  } cases[] = {
      {"1.5", 3, 1.5},
      {"-0.25x", 5, -0.25},
      {"+.5", 3, 0.5},
      {"5.", 2, 5},
      {"1,5", 1, 1},
      {"1e3", 3, 1000},
      {"1e", 1, 1},
      {"1e+", 1, 1},
      {"2E-2 ", 4, 0.02},
      {"0x10", 1, 0},
      {"12(3)", 2, 12},
      {"-11.00000", 9, -11},
      {"1e999", 5, kLargest},
      {"-1e999", 6, -kLargest},
      {"1e-999", 6, 0},
      {"-1e-999", 7, 0},
      {"1e99999999999999999999", 22, kLargest},
      {"0e999", 5, 0},
  };
  for (const auto& c : cases) {
    double value = 9;
    EXPECT_EQ(ParseNumber(c.text, value), c.used) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
  }
  double value = 9;
  for (const char* text : {"", "-", ".", "+-1", "inf", "nan", "-inf", " 1", "-.e5"})
    EXPECT_TRUE(ParseNumber(text, value) == 0 && value == 9) << text;
}

TEST(ParseNumber, TellsTooLargeFromTooSmallWhateverTheForm) {
  const std::string digits(400, '7'), zeros(400, '0');
  const struct {
    std::string text;
    double value;
  } cases[] = {
      {digits, kLargest},
      {digits + "e-5", kLargest},
      {"-" + digits + ".5", -kLargest},
      {"0." + zeros + "1", 0},
      {"0." + zeros + "1e5", 0},
      {zeros + "1", 1},
      {"0." + zeros + "1e401", 1},
      {zeros + "." + zeros + "1", 0},
      {"." + zeros + "1e900", kLargest},
      {digits + "e-399", 7.777777777777777},
  };
  for (const auto& c : cases) {
    double value = 9;
    EXPECT_EQ(ParseNumber(c.text, value), c.text.size()) << c.text;
    EXPECT_NEAR(value, c.value, 1e-14 * std::fabs(c.value)) << c.text;
  }
}

TEST(ParseWholeNumber, WantsANumberFromEndToEnd) {
  double value = 9;
  for (const char* text : {"", " ", "1 2", "1x", "1.2.3", "- 1", "0x1p3", "1e"}) {
    EXPECT_FALSE(ParseWholeNumber(text, value)) << text;
    EXPECT_EQ(value, 9) << text;
  }
  EXPECT_TRUE(ParseWholeNumber(" \t-1.25e1 ", value));
  EXPECT_EQ(value, -12.5);
}

TEST(RoundHalfAway, RoundsAndClamps) {
  const struct {
    double value;
    int rounded;
  } cases[] = {{0.5, 1},
               {-0.5, -1},
               {2.5, 3},
               {-2.5, -3},
               {2.4999999, 2},
               {0.49999999999999994, 0},
               {1e300, INT_MAX},
               {-1e300, INT_MIN},
               {kMissingNumber, 0},
               {std::nan(""), 0},
               {2147483646.5, INT_MAX},
               {-2147483648.0, INT_MIN}};
  for (const auto& c : cases) EXPECT_EQ(RoundHalfAway(c.value), c.rounded) << c.value;
}

// The whole program runs once more under a locale with a decimal comma; here the comma is seen at work.
TEST(Printf, WritesPointsWhateverTheLocale) {
  if (std::localeconv()->decimal_point[0] == ',') {
    char text[16];
    std::snprintf(text, sizeof text, "%.1f", 1.5);
    EXPECT_STREQ(text, "1,5") << "the locale is in force";
  }
  EXPECT_EQ(Printf("%.3f %g %-5s|%d", -1.5, 0.25, "ab", 7), "-1.500 0.25 ab   |7");
  std::string out = "x";
  AppendPrintf(out, "%s %.2f", std::string(1000, 'y').c_str(), 2.5);
  EXPECT_EQ(out, "x" + std::string(1000, 'y') + " 2.50");
  AppendPrintf(out, "%s", "");
  EXPECT_EQ(out.size(), 1006u);
  EXPECT_EQ(Printf("%0254d", 1).size(), 254u);
  EXPECT_EQ(Printf("%0255d", 1).size(), 255u);
  EXPECT_EQ(Printf("%0256d", 1).size(), 256u);
  if (std::localeconv()->decimal_point[0] == ',') {
    char text[16];
    std::snprintf(text, sizeof text, "%.1f", 1.5);
    EXPECT_STREQ(text, "1,5") << "and stays in force";
  }
}

TEST(Words, CaseAndEndsAreThoseOfAsciiAlone) {
  for (int c = 0; c < 256; ++c) {
    const std::string text(1, static_cast<char>(c));
    EXPECT_EQ(LowerCase(text)[0], static_cast<char>(c >= 65 && c <= 90 ? c + 32 : c)) << c;
  }
  EXPECT_EQ(Trimmed("\r\n a b\t "), "a b");
  EXPECT_EQ(Trimmed(" \t"), "");
  EXPECT_EQ(Trimmed("**x*y*", "*"), "x*y");
  EXPECT_EQ(Trimmed("x"), "x");
}

}  // namespace
}  // namespace marvik

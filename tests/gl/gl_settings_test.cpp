#include "gl/gl_settings.h"

#include <gtest/gtest.h>

namespace marvik {
namespace {

TEST(GlSettings, FileLine) {
  OpenGlSettings settings;
  settings.fontPath = "/usr/share/my fonts/a 1 2.ttf";
  settings.cutSection = false;
  settings.layerCount = 3;
  settings.background = {1.0, 0.0, 128 * 0.003921569};
  const std::string line = ComposeOpenGlSettings(settings);
  EXPECT_EQ(line, "/usr/share/my fonts/a 1 2.ttf 0 3 1 0 0.501961\n");
  const OpenGlSettings read = ParseOpenGlSettings(line);
  EXPECT_EQ(read.fontPath, settings.fontPath);
  EXPECT_FALSE(read.cutSection);
  EXPECT_EQ(read.layerCount, 3);
  EXPECT_EQ(ComposeOpenGlSettings(read), line);
}

TEST(GlSettings, BadFieldsKeepTheirDefaults) {
  const OpenGlSettings standard = DefaultOpenGlSettings();
  EXPECT_EQ(ParseOpenGlSettings(""), standard);
  EXPECT_EQ(ParseOpenGlSettings("  \r\nx"), standard);
  OpenGlSettings expected = standard;
  expected.fontPath = "f.ttf";
  expected.cutSection = true;
  EXPECT_EQ(ParseOpenGlSettings("f.ttf 7 -4 2 nan 0.7"), expected) << "from the left, up to what is no number";
  EXPECT_EQ(ParseOpenGlSettings("f.ttf 7 1e12 2 -1 0.7\r\n"), expected);
  expected.layerCount = 5;
  EXPECT_EQ(ParseOpenGlSettings("f.ttf 2 5"), expected);
}

}  // namespace
}  // namespace marvik

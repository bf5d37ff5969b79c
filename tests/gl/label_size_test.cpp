#include <gtest/gtest.h>

#include "gl/gl_picture.h"
#include "gl/gl_settings.h"

namespace marvik {
namespace {

TEST(GlLabels, SizesGoByThePicture) {
  for (const int size : {1, 100, 350, 600}) EXPECT_EQ(ProperPointSize(DefaultFontPath(), size), 8);
  EXPECT_EQ(ProperPointSize(DefaultFontPath(), 1200), 15) << "20 pixels are the first to be a 60th";
  EXPECT_EQ(ProperPointSize(DefaultFontPath(), 8000), 101);
  EXPECT_EQ(ProperPointSize("/no/such/file.ttf", 1200), 8);
}

}  // namespace
}  // namespace marvik

#include <gtest/gtest.h>

#include "draw/labels/label_font.h"
#include "gl/gl_picture.h"
#include "gl/gl_settings.h"

namespace marvik {
namespace {

TEST(GlLabels, SizesGoByThePicture) {
  for (const int size : {1, 100, 350, 600}) EXPECT_EQ(ProperPointSize(FindSansFontFile(), size), 8);
  EXPECT_EQ(ProperPointSize(FindSansFontFile(), 1200), 15) << "20 pixels are the first to be a 60th";
  EXPECT_EQ(ProperPointSize(FindSansFontFile(), 8000), 101);
  EXPECT_EQ(ProperPointSize("/no/such/file.ttf", 1200), 8);
}

}  // namespace
}  // namespace marvik

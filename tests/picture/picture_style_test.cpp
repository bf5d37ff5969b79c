#include "picture/picture_style.h"

#include <gtest/gtest.h>

namespace marvik {
namespace {

TEST(PictureStyle, EveryChoiceComesBackFromItsText) {
  PictureStyle odd;
  // The last of each list of words, the middle of each range.
  for (const StyleField& field : StyleFields()) {
    const std::string words = field.words;
    const std::string value = !words.empty() ? words.substr(words.rfind('|') + 1)
                              : !field.set   ? "Ti,Si"
                                             : std::to_string(static_cast<int>((field.low + field.high) / 2 + 1) == 1
                                                                  ? 1
                                                                  : static_cast<int>((field.low + field.high) / 2));
    EXPECT_EQ(SetStyleField(odd, field.key, value), "") << field.key;
  }
  const std::string text = StyleText(odd);
  PictureStyle read;
  EXPECT_NE(StyleText(read), text);
  const StyleReading reading = ReadStyle(text, read);
  EXPECT_EQ(reading.refusal, "");
  EXPECT_TRUE(reading.skipped.empty());
  EXPECT_EQ(StyleText(read), text);
  EXPECT_EQ(read.look.figure.polyhedra, (std::vector<uint8_t>{22, 14}));
}

TEST(PictureStyle, AnotherVersionIsRefusedAndALineWithoutSenseLeftOut) {
  PictureStyle style;
  EXPECT_EQ(ReadStyle("Marvik picture style 2\nlabels off\n", style).refusal,
            " is a picture style of version 2; this program reads version 1.");
  for (const char* none : {"", "labels off\n", "Marvik picture recipe 1\n", "Marvik picture style x\n"})
    EXPECT_EQ(ReadStyle(none, style).refusal, " is no picture style.") << none;
  EXPECT_TRUE(style.look.labels);
  const StyleReading reading = ReadStyle(
      "Marvik picture style 1\r\n# of the group\r\nlabels off\r\nsize 12.5\r\nlook pink\r\npolyhedra Xx\r\n"
      "size 99999\r\nglow on\r\ncolour-by  part\r\n",
      style);
  EXPECT_EQ(reading.skipped.size(), 5u);
  EXPECT_FALSE(style.look.labels);
  EXPECT_EQ(style.look.figure.colourBy, ColourBy::Part);
  EXPECT_EQ(style.picture.size, 600);
}

}  // namespace
}  // namespace marvik

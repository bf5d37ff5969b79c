#include "base/text_string.h"

#include <gtest/gtest.h>
#include <string>

namespace marvik {
namespace {

TEST(TextString, GrowsToThePowerOfTwoThatHoldsTenMore) {
  RecordingMessages messages;
  const struct {
    size_t length;
    int capacity;
  } cases[] = {{0, 0}, {1, 16}, {6, 16}, {7, 32}, {22, 32}, {23, 64}, {16374, 16384}};
  for (const auto& c : cases) {
    const std::string text(c.length, 'a');
    const TextString string(text, messages);
    EXPECT_EQ(string.Capacity(), c.capacity) << c.length;
    EXPECT_EQ(string.View(), text);
    EXPECT_EQ(string.CString()[c.length], '\0');
  }
  EXPECT_TRUE(messages.shown.empty());
}

TEST(TextString, RefusesWhatWouldReachTheLargestBlock) {
  RecordingMessages messages;
  TextString string(std::string(16374, 'x'), messages);
  EXPECT_FALSE(string.Append("y", messages));
  EXPECT_EQ(string.Length(), 16374);
  EXPECT_EQ(string.CString()[16374], '\0');
  EXPECT_EQ(TextString(std::string(70000, 'x'), messages).Length(), 0);
  EXPECT_EQ(TextString(std::string(65546, 'x'), messages).Length(), 0) << "not 10, as 16 bits would count";
  ASSERT_EQ(messages.shown.size(), 3u);
  for (const UserMessage& m : messages.shown) {
    EXPECT_EQ(m.icon, MessageIcon::Warning);
    EXPECT_EQ(m.caption, "String Error:");
    EXPECT_EQ(m.text, "Requested length is out of range.");
  }
}

TEST(TextString, ChecksIndices) {
  RecordingMessages messages;
  const TextString string("ab", messages);
  EXPECT_EQ(string.At(1, messages), 'b');
  EXPECT_TRUE(messages.shown.empty());
  for (const int index : {2, -1, 1 << 30}) EXPECT_EQ(string.At(index, messages), '\0');
  EXPECT_EQ(TextString().At(0, messages), '\0');
  ASSERT_EQ(messages.shown.size(), 4u);
  EXPECT_EQ(messages.shown[0].text, "invalid index");
  EXPECT_EQ(messages.shown[0].caption, "String Error:");
}

TEST(TextString, AppendsPartsOfItself) {
  RecordingMessages messages;
  std::string expected = "SYMM x";
  TextString string(expected, messages);
  for (int i = 0; i < 10; ++i) {  // with and without a new block
    string.Append(string.View().substr(static_cast<size_t>(i % 3)), messages);
    expected += std::string(expected).substr(static_cast<size_t>(i % 3));
    ASSERT_EQ(string.View(), expected);
  }
}

TEST(TextString, CopiesAndMovesOwnTheirText) {
  RecordingMessages messages;
  TextString a("abc", messages);
  TextString b = a;
  b.Append("d", messages);
  EXPECT_EQ(a.View(), "abc");
  TextString c = std::move(b);
  EXPECT_EQ(c.View(), "abcd");
  b = c;
  c = TextString();
  c.Append("new", messages);
  a = *&a;
  EXPECT_EQ(a.View(), "abc");
  EXPECT_EQ(b.View(), "abcd");
  EXPECT_EQ(c.View(), "new");
  EXPECT_STREQ(TextString().CString(), "") << "the shared empty block is never written";
}

TEST(TextString, FindsAndMatches) {
  RecordingMessages messages;
  const TextString string("AFIX 43 afix", messages);
  EXPECT_EQ(string.Find("FIX"), 1);
  EXPECT_EQ(string.Find("FIX", 2), -1);
  EXPECT_EQ(string.Find("A", 99), -1);
  EXPECT_EQ(string.Find("", -5), 0);
  EXPECT_TRUE(string.Matches("AFIX"));
  EXPECT_FALSE(string.Matches("AFIX", 0, true));
  EXPECT_TRUE(string.Matches("afix", 8, true));
  EXPECT_TRUE(string.Matches("", 12, true));
  EXPECT_FALSE(string.Matches("", 13));
  EXPECT_FALSE(string.Matches("A", -1));
  EXPECT_STREQ(string.Upper().CString(), "AFIX 43 AFIX");
  EXPECT_STREQ(string.Lower().CString(), "afix 43 afix");
  EXPECT_STREQ(TextString("\xe4\xdf{@[`", messages).Upper().CString(), "\xe4\xdf{@[`");
}

}  // namespace
}  // namespace marvik

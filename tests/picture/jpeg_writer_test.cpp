#include "picture/jpeg_writer.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <malloc.h>
#include <memory>

#include "support/test_files.h"

namespace marvik {
namespace {

// What another program's decoder makes of the file: rows from the top, RGB. Empty when it does not take it.
std::vector<unsigned char> Decoded(const std::string& path, int& width, int& height) {
  const auto close = [](FILE* pipe) { pclose(pipe); };
  const std::unique_ptr<FILE, decltype(close)> pipe(popen(("convert '" + path + "' ppm:-").c_str(), "r"), close);
  int depth = 0;
  if (!pipe || std::fscanf(pipe.get(), "P6 %d %d %d", &width, &height, &depth) != 3 || depth != 255) return {};
  std::fgetc(pipe.get());
  std::vector<unsigned char> bytes(static_cast<size_t>(width * height) * 3);
  return std::fread(bytes.data(), 1, bytes.size(), pipe.get()) == bytes.size() ? bytes : std::vector<unsigned char>();
}

// Quarters of a flat colour each, so that a mirrored or swapped picture shows.
constexpr std::array<uint32_t, 4> kQuarters{0xffe01010, 0xff10d020, 0x002030f0, 0xfff0e0d0};

Image Quarters(int width, int height) {
  Image image(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      image.At(x, y) = kQuarters[static_cast<size_t>((y >= height / 2 ? 2 : 0) + (x >= width / 2 ? 1 : 0))];
    }
  }
  return image;
}

class JpegTest : public testing::Test {
 protected:
  test::ScratchFolder folder;
  RecordingMessages messages;
};

TEST_F(JpegTest, AnotherDecoderReadsTheSamePicture) {
  if (std::system("convert -version > /dev/null 2>&1") != 0) GTEST_SKIP() << "no decoder is installed";
  // Sides whose rows are no multiple of four bytes as well.
  for (const auto& [width, height] : {std::pair{100, 100}, std::pair{33, 17}}) {
    const std::string path = folder / "quarters.jpg";
    ASSERT_TRUE(WriteJpeg(path, Quarters(width, height), messages));
    int w = 0;
    int h = 0;
    const auto bytes = Decoded(path, w, h);
    ASSERT_EQ(std::pair(w, h), std::pair(width, height));
    ASSERT_FALSE(bytes.empty());
    for (size_t quarter = 0; quarter < 4; ++quarter) {
      const int x = width / 4 + (quarter % 2 ? width / 2 : 0);
      const int y = height / 4 + (quarter / 2 ? height / 2 : 0);
      for (int channel = 0; channel < 3; ++channel) {
        EXPECT_NEAR(bytes[static_cast<size_t>((y * w + x) * 3 + channel)],
                    kQuarters[quarter] >> (16 - 8 * channel) & 255, 3)
            << quarter << " " << channel;
      }
    }
  }
}

TEST_F(JpegTest, IsOfQuality100WithBaselineTables) {
  const std::string bytes = EncodeJpeg(Quarters(16, 16)).value();
  const size_t tables = bytes.find("\xff\xdb");
  ASSERT_NE(tables, std::string::npos);
  // Behind marker, length and number: quality 100 divides by 1 everywhere, in 8 bits.
  EXPECT_EQ(bytes.substr(tables + 4, 65), std::string(1, '\0') + std::string(64, '\1'));
  EXPECT_NE(bytes.find("\xff\xc0"), std::string::npos) << "not the baseline process";
  EXPECT_TRUE(bytes.ends_with("\xff\xd9"));
  const std::string sized = EncodeJpeg(Quarters(16, 16), 300.0).value();
  EXPECT_EQ(sized.substr(13, 5), std::string("\1\1\x2c\1\x2c")) << "300 dots to the inch in both directions";
}

TEST_F(JpegTest, FailuresAreSaidAndLeaveNothing) {
  EXPECT_FALSE(EncodeJpeg(Image()));
  EXPECT_FALSE(EncodeJpeg(Image(70000, 1)));
  EXPECT_FALSE(WriteJpeg(folder / "nowhere/x.jpg", Quarters(8, 8), messages));
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.shown[0].caption, "File Error:");
  EXPECT_EQ(messages.shown[0].text, "Can't open " + (folder / "nowhere/x.jpg"));
  if (std::filesystem::exists("/dev/full")) {
    EXPECT_FALSE(WriteJpeg("/dev/full", Quarters(8, 8), messages));
    EXPECT_TRUE(messages.shown.back().text.starts_with("Can't write /dev/full: ")) << messages.shown.back().text;
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder.path));
}

TEST_F(JpegTest, GivesTheMemoryOfTheLibraryBack) {
  const Image image = Quarters(400, 400);
  ASSERT_TRUE(EncodeJpeg(image, 300));
  const size_t before = mallinfo2().uordblks;
  for (int i = 0; i < 20; ++i) EXPECT_TRUE(EncodeJpeg(image, 300));
  EXPECT_LT(mallinfo2().uordblks, before + 20000);
}

}  // namespace
}  // namespace marvik

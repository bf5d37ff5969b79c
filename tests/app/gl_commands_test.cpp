#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "app/bench_fixture.h"
#include "app/preferences/bitmap_preferences.h"
#include "app/preferences/opengl_preferences.h"
#include "gl/gl_settings.h"
#include "picture/picture_page.h"

namespace marvik {
namespace {

using test::BenchTest;
using test::WithVariable;

// The output of a command, without its last line end; nothing when it could not be run.
std::optional<std::string> Said(const std::string& command) {
  FILE* pipe = popen((command + " 2> /dev/null").c_str(), "r");
  std::string text;
  for (int c = 0; pipe && (c = std::fgetc(pipe)) != EOF;) text += static_cast<char>(c);
  if (!pipe || pclose(pipe) != 0) return std::nullopt;
  return text.substr(0, text.find_last_not_of('\n') + 1);
}

class GlCommandsTest : public BenchTest {
 protected:
  GlCommandsTest() {
    Open();
    bench.RenditionMode = kBallAndStick;
  }
  WithVariable package{kPackageVariable, folder / ""};
};

TEST_F(GlCommandsTest, OpenGlPreferencesAreKeptInTheirFile) {
  ASSERT_EQ(Run(216, "font=\"/a b/c.ttf\" cut=0 layers=7 red=255 green=0 blue=128"), Outcome::Done);
  // What is no unsigned number leaves its setting alone; the others count.
  ASSERT_EQ(Run(216, "layers=-3 red=x green=300 blue= cut=1"), Outcome::Done);
  EXPECT_EQ(folder.Get("opengl.prf"), "/a b/c.ttf 1 7 1 1 0.501961\n");
  EXPECT_EQ(Run(216, "layers=8 sparkle=1"), Outcome::Failed);
  EXPECT_EQ(bench.GlSettings().layerCount, 7);
  ASSERT_EQ(Run(216, "defaults=all"), Outcome::Done);
  EXPECT_EQ(bench.GlSettings(), DefaultOpenGlSettings());
  // Saving again and again changes nothing, although the file has six digits.
  for (int value = 0; value < 256; ++value) {
    Run(216, "red=" + std::to_string(value));
    EXPECT_EQ(*OpenGlPreferenceFields(LoadOpenGlSettings()).Find("red"), std::to_string(value));
  }
  std::filesystem::remove(folder / "opengl.prf");
  std::filesystem::create_directory(folder / "opengl.prf");
  ExpectRefused(216, "layers=8", "Error opening file (" + (folder / "opengl.prf") + ") for writing.");
}

TEST_F(GlCommandsTest, BitmapPreferencesAreChecked) {
  static constexpr char kDimensions[] = "Error: Incorrect Dimensions";
  const std::array<const char*, 4> kCases[] = {
      {"size=0", kDimensions, "Incorrect bitmap dimensions. (Must be >= 1)", "600"},
      {"size=six", kDimensions, "Incorrect bitmap dimensions. (Must be >= 1)", "600"},
      {"size=650", kDimensions, "Bitmap dimensions must be in increments of 100 pixels.", "600"},
      {"size=50", kDimensions, "Bitmap dimensions must be in increments of 100 pixels.", "100"},
      {"size=99999999999999999999", kDimensions, "Incorrect bitmap dimensions. (Must be <= 16000)", "16000"},
      {"points=0", "Error: Incorrect Font Dimensions", "Incorrect font size. (Must be >= 1)", "8"},
      {"points=99999", "Error: Incorrect Font Dimensions", "Incorrect font size. (Must be <= 1000)", "8"},
      {"file=/nowhere/x.jpg", "File Error:", "Can't open /nowhere/x.jpg", ""},
      {"file=", "File Error:", "Can't open ", ""},
  };
  const BitmapPreferences usual = UsualBitmapPreferences(bench);
  EXPECT_EQ(usual.size, 600);
  EXPECT_EQ(usual.file, (std::filesystem::current_path() / "small.jpg").string());
  for (const auto& [fields, caption, text, correction] : kCases) {
    BitmapPreferences preferences = usual;
    const auto fault = ReadBitmapPreferences(SplitEditArguments(fields), bench, usual, preferences);
    EXPECT_EQ(fault.message.caption, caption) << fields;
    EXPECT_EQ(fault.message.text, text) << fields;
    EXPECT_EQ(fault.correction, correction) << fields;
  }
  int points = 0;
  EXPECT_FALSE(CalculatePointSize("1200", bench, points));
  EXPECT_GT(points, 8);
  bench.GlSettings().fontPath = folder / "none.ttf";
  EXPECT_EQ(CalculatePointSize("600", bench, points).message.text, "Can't open the font file " + (folder / "none.ttf"));
}

TEST_F(GlCommandsTest, JpegFilesAreWrittenOrNot) {
  const std::string path = folder / "a b.jpg";
  ASSERT_EQ(Run(215, "size=100 points=8 antialias=0 file=\"" + path + "\""), Outcome::Done);
  if (const auto size = Said("identify -format '%m %w %h' '" + path + "'")) {
    EXPECT_EQ(*size, "JPEG 100 100");
  }
  EXPECT_FALSE(bench.pictures.bitmapAntiAlias);
  EXPECT_NE(folder.Get("marvikui.ini").find("antiAlias=false"), std::string::npos);
  EXPECT_EQ(Captions(), "");

  // Stopped, refused and failed ones leave nothing.
  const std::string other = "size=100 file=" + (folder / "other.jpg");
  bench.hooks.goOn = [] { return false; };
  EXPECT_EQ(Run(214, other), Outcome::Cancelled);
  EXPECT_EQ(Captions(), "");
  bench.hooks.goOn = {};
  bench.RenditionMode = kPipes;
  for (int id : {208, 209, 210, 211, 214, 215}) {
    EXPECT_EQ(Run(id, id > 211 ? other : ""), Outcome::Failed);
    EXPECT_EQ(Captions(), "Invalid Display Choice") << id;
  }
  bench.RenditionMode = kThermalEllipsoid;
  const OpenGlSettings settings = bench.GlSettings();
  bench.GlSettings().fontPath = folder / "none.ttf";
  ExpectRefused(214, other, "Can't open the font file " + (folder / "none.ttf"));
  bench.GlSettings() = settings;
  std::filesystem::create_directory(folder / "locked.jpg");
  ExpectRefused(214, "size=100 file=" + (folder / "locked.jpg"), "");
  EXPECT_EQ(Captions(), "File Error:");
  EXPECT_FALSE(folder.Has("other.jpg"));
}

// A printer one of whose steps fails; on paper of 30 x 50 pixels.
class FakePage : public PicturePage {
 public:
  explicit FakePage(std::string failing = "") : failing_(std::move(failing)) {}
  bool StartDocument(const std::string& name) override { return Did("document " + name); }
  bool StartPage() override { return Did("page"); }
  int Width() const override { return 50; }
  int Height() const override { return 30; }
  bool BeginRows(int rows) override { return Did("rows " + std::to_string(rows)); }
  bool CopyRow(int x, int y, std::span<const uint32_t> pixels) override {
    if (y != 0 && y != 29) return true;
    return Did("row " + std::to_string(x) + "," + std::to_string(y) + " " + std::to_string(pixels[0] & 0xff));
  }
  bool EndPage() override { return Did("end page"); }
  bool EndDocument() override { return Did("end document"); }
  void Abandon() override { Did("abandon"); }
  std::string log;

 private:
  bool Did(const std::string& step) {
    log += step + "; ";
    return failing_.empty() || !step.starts_with(failing_);
  }
  std::string failing_;
};

std::optional<Image> Ramp(int side) {
  Image image(side, side);
  for (int y = 0; y < side; ++y) std::fill_n(&image.At(0, y), side, static_cast<uint32_t>(y));
  return image;
}

TEST_F(GlCommandsTest, APageIsCopiedRowByRowInTheMiddle) {
  FakePage page;
  EXPECT_EQ(PrintOnPage(page, Ramp, messages), PageOutcome::Printed);
  EXPECT_EQ(page.log,
            "document Printing OpenGL Model; page; rows 30; row 10,0 0; row 10,29 29; end page; end document; ");
  const std::pair<const char*, const char*> kSteps[] = {
      {"document", "Printing Error:"},
      {"page", "Printing Error:"},
      {"rows", "Error: Unable to set the maping mode for the printer"},
      {"row 10,29", "Bit Blit to Printer Failed:"},
      {"end page", "Error Ending the Page:"},
      {"end document", "Error Ending the Document:"}};
  for (const auto& [step, caption] : kSteps) {
    FakePage failing(step);
    EXPECT_EQ(PrintOnPage(failing, Ramp, messages), PageOutcome::Failed);
    EXPECT_EQ(Captions(), caption);
    EXPECT_TRUE(failing.log.ends_with("abandon; ")) << failing.log;
  }
  FakePage stopped;
  EXPECT_EQ(PrintOnPage(
                stopped, [](int) { return std::optional<Image>(); }, messages),
            PageOutcome::Stopped);
  EXPECT_TRUE(stopped.log.ends_with("page; abandon; "));
  EXPECT_EQ(Captions(), "");
}

TEST_F(GlCommandsTest, APageWithoutAPrinterIsAPdfFile) {
  // Two rows of three pixels at 144 to the inch, 5 from the left and 3 from the top of what is printable: points from
  // the lower left corner of A4 (595.276 x 841.890) with margins of 28.346.
  PdfPicturePage small(folder / "small.pdf", 144);
  ASSERT_TRUE(small.StartDocument("small") && small.BeginRows(2));
  const std::array<uint32_t, 3> row{};
  EXPECT_TRUE(small.CopyRow(5, 3, row) && small.CopyRow(5, 4, row));
  EXPECT_FALSE(small.CopyRow(5, 5, row)) << "a row too many";
  ASSERT_TRUE(small.EndDocument());
  EXPECT_NE(ReadWholeFile(folder / "small.pdf").content.find("q 1.5000 0 0 1.0000 30.8465 811.0433 cm"),
            std::string::npos);
  bench.pictures.bitmapAntiAlias = false;
  ASSERT_EQ(Run(209, "file=" + (folder / "page.pdf")), Outcome::Done);
  const auto images = Said("pdfimages -list '" + (folder / "page.pdf") + "' | tail -n 1");
  if (!images || images->empty()) GTEST_SKIP() << "no reader of PDF files is installed";
  // 190 mm at 300 dots per inch.
  EXPECT_NE(images->find(" 2244  2244 "), std::string::npos) << *images;
  EXPECT_NE(Said("pdfinfo '" + (folder / "page.pdf") + "'")->find("Printing OpenGL Model"), std::string::npos);
  EXPECT_EQ(Run(209, "file=/nowhere/page.pdf"), Outcome::Failed);
  EXPECT_EQ(Captions(), "Error Ending the Document:");
}

}  // namespace
}  // namespace marvik

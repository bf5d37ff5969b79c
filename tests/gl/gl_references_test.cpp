#include <cstdlib>
#include <filesystem>
#include <png.h>

#include "chem/bonds/connectivity.h"
#include "draw/canvas/png_writer.h"
#include "files/res/reader.h"
#include "gl/gl_fixture.h"

namespace marvik {
namespace {

// Of the pictures in tests/gl/references, as a share of full scale; another rasteriser rounds otherwise.
constexpr double kTolerance = 0.02;
constexpr int kSide = 160;

// Nothing when the file cannot be read.
Image ReadPng(const std::string& path) {
  png_image header{};
  header.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&header, path.c_str()) == 0) return {};
  header.format = PNG_FORMAT_BGRA;
  Image image(static_cast<int>(header.width), static_cast<int>(header.height));
  png_image_finish_read(&header, nullptr, image.pixels.data(), 0, nullptr);
  return image;
}

// Grey where the two agree.
Image DifferencePicture(const Image& a, const Image& b) {
  Image image(a.width, a.height);
  for (size_t i = 0; i < image.pixels.size() && i < b.pixels.size(); ++i) {
    uint32_t pixel = 0xff000000u;
    for (int shift = 0; shift < 24; shift += 8) {
      const int d = static_cast<int>(a.pixels[i] >> shift & 255) - static_cast<int>(b.pixels[i] >> shift & 255);
      pixel |= static_cast<uint32_t>(128 + d / 2) << shift;
    }
    image.pixels[i] = pixel;
  }
  return image;
}

struct Reference {
  const char* name;
  const char* example;
  int mode;
  bool colour;
  bool cut;
};
constexpr Reference kReferences[] = {
    {"balls", "azathiop.res", kBallAndStick, true, true},
    {"balls-print", "azathiop.res", kBallAndStick, false, true},
    {"ellipsoids-cut", "oligomer.res", kThermalEllipsoid, true, true},
    {"ellipsoids-whole", "oligomer.res", kThermalEllipsoid, true, false},
    {"ellipsoids-print", "oligomer.res", kThermalEllipsoid, false, true},
    {"peaks", "azastart.res", kBallAndStick, true, true},
};

std::string ExampleNamed(const std::string& name) {
  for (const std::string& path : test::ExampleFiles()) {
    if (path.ends_with("/" + name)) return path;
  }
  return "";
}

// Without letters, since every machine has other fonts. Run with MARVIK_WRITE_REFERENCES set to make
// them anew, and look at each before it is kept.
TEST(GlReferences, PicturesLookAsTheyDid) {
  for (const Reference& reference : kReferences) {
    test::GlStage stage;
    stage.document.elements.SetDefaults();
    ASSERT_TRUE(ReadInstructionFile(stage.document, ExampleNamed(reference.example), stage.messages));
    Connect(stage.document, stage.messages);
    ResetView(stage.view, stage.document);
    stage.view.RotateView(-25, {1, 0, 0}, true);
    stage.view.RotateView(65, {0, 1, 0}, true);
    stage.options.mode = reference.mode;
    if (reference.mode == kThermalEllipsoid) {
      // Large enough for bands and cuts.
      stage.view.FitView(0.4 * stage.view.viewRadius, std::nullopt);
      stage.options.probability = 0.99;
    }
    stage.options.colour = reference.colour;
    stage.options.settings.cutSection = reference.cut;
    stage.options.printing = false;
    const Image image = stage.Picture(kSide);
    const std::string path = std::string(MARVIK_GL_REFERENCES) + "/" + reference.name + ".png";
    if (std::getenv("MARVIK_WRITE_REFERENCES")) {
      ASSERT_EQ(WritePng(image, path), 0) << path;
      continue;
    }
    const Image expected = ReadPng(path);
    const double difference = test::Difference(image, expected);
    if (difference <= kTolerance) continue;
    const std::string base = (std::filesystem::temp_directory_path() / "marvik-gl-").string() + reference.name;
    WritePng(image, base + ".png");
    WritePng(DifferencePicture(image, expected), base + "-difference.png");
    ADD_FAILURE() << reference.name << " differs by " << difference << "; see " << base << "-difference.png";
  }
}

}  // namespace
}  // namespace marvik

#include <cstring>
#include <gtest/gtest.h>
#include <map>

#include "files/res/reader.h"
#include "picture/picture_formats.h"
#include "picture/tiff_writer.h"

namespace marvik {
namespace {

// The entries of the first directory of a little-endian file; those that do not fit stand elsewhere.
std::map<int, uint32_t> TiffTags(const std::string& bytes) {
  const auto number = [&](size_t at, size_t size) {
    uint32_t value = 0;
    if (at + size <= bytes.size()) std::memcpy(&value, bytes.data() + at, size);
    return value;
  };
  std::map<int, uint32_t> tags;
  const size_t directory = number(4, 4);
  for (size_t i = 0; i < number(directory, 2); ++i) {
    const size_t at = directory + 2 + 12 * i;
    tags[static_cast<int>(number(at, 2))] = number(at + 8, number(at + 2, 2) == 3 ? 2 : 4);
  }
  return tags;
}

struct Figure : testing::Test {
  Figure() {
    ReadInstructionText(
        document,
        "TITL flat\nCELL 0.71073 10 10 10 90 90 90\nLATT -1\nSFAC C O\nUNIT 4 4\nFVAR 1\n"
        "C1 1 0.3 0.5 0.5 11 0.03\nC2 1 0.44 0.5 0.5 11 0.03\nO1 2 0.58 0.52 0.5 11 0.03\nHKLF 4\nEND\n",
        messages);
    look.mode = kThermalEllipsoid;
    look.look = Look::Paper;
    for (const AtomRecord* atom : Atoms(document.atoms)) centre = centre + atom->position * (1.0 / 3.0);
  }
  PictureBytes Drawn(const std::string& format, const PictureOptions& options) {
    ViewState view;
    view.viewCentre = centre;
    view.viewRadius = 2.5;
    PictureSubject subject{document, view, look, "flat", [this]() -> const OpenGlSettings& { return openGl; },
                           messages, {}};
    return DrawPicture(subject, options, format);
  }

  Document document;
  RecordingMessages messages;
  RenderOptions look;
  Cartesian centre;
  OpenGlSettings openGl;
};

TEST_F(Figure, HasTheWidthOfItsColumnsAndNoEmptyRows) {
  PictureOptions options;
  ApplyJournal(*JournalPresetNamed("single-column"), 300.0, options);
  EXPECT_EQ(options.size, 992);  // 84 mm
  const auto bytes = Drawn("tif", options);
  ASSERT_TRUE(bytes);
  auto tags = TiffTags(*bytes);
  EXPECT_EQ(tags[256], 992u);
  EXPECT_GT(tags[257], 60u);
  EXPECT_LT(tags[257], 992u / 2);
  EXPECT_EQ(tags[259], 5u);  // LZW
  EXPECT_EQ(tags[296], 2u);  // inch
  options.trim = false;
  EXPECT_EQ(TiffTags(*Drawn("tif", options))[257], 992u);
}

TEST_F(Figure, IsCutAlikeInEveryFormat) {
  PictureOptions options;
  ApplyJournal(*JournalPresetNamed("double-column"), 0.0, options);
  const auto eps = Drawn("eps", options);
  const auto svg = Drawn("svg", options);
  ASSERT_TRUE(eps && svg);
  EXPECT_TRUE(eps->starts_with("%!PS-Adobe-3.0 EPSF-3.0"));
  EXPECT_EQ(eps, Drawn("eps", options)) << "the time of day is in it";
  int width = 0, height = 0, svgWidth = 0, svgHeight = 0;
  ASSERT_EQ(std::sscanf(eps->c_str() + eps->find("%%BoundingBox:"), "%%%%BoundingBox: 0 0 %d %d", &width, &height), 2);
  ASSERT_EQ(std::sscanf(svg->c_str() + svg->find("width="), "width=\"%dpt\" height=\"%dpt\"", &svgWidth, &svgHeight),
            2);
  EXPECT_EQ(width, 482);  // 170 mm in points
  EXPECT_EQ(svgWidth, width);
  EXPECT_EQ(svgHeight, height);
  EXPECT_LT(height, width / 2);
}

TEST_F(Figure, WithoutAtomsKeepsItsSquare) {
  while (document.atoms.head) document.atoms.KillAtom(document.atoms.head);
  PictureOptions options;
  options.size = 100;
  options.trim = true;
  EXPECT_EQ(TiffTags(*Drawn("tif", options))[257], 100u);
}

}  // namespace
}  // namespace marvik

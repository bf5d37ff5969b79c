#include <algorithm>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <zlib.h>

#include "base/files.h"
#include "draw/density/density_net.h"
#include "draw/labels/label_font.h"
#include "draw/surface/lit_picture.h"
#include "files/res/reader.h"
#include "picture/picture_drawing.h"
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
  PictureSubject Subject() {
    ViewState view;
    view.viewCentre = centre;
    view.viewRadius = radius;
    return {document, view, look,     "flat", [this]() -> const OpenGlSettings& { return openGl; },
            messages, {},   swingFrom};
  }
  PictureBytes Drawn(const std::string& format, const PictureOptions& options) {
    PictureSubject subject = Subject();
    return DrawPicture(subject, options, format);
  }

  Document document;
  RecordingMessages messages;
  RenderOptions look;
  std::shared_ptr<const Document> swingFrom;
  Cartesian centre;
  double radius = 2.5;
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
  EXPECT_EQ(tags[317], 2u);  // differences along the rows
  EXPECT_EQ(tags[278], 2u);  // rows of a strip, which is to have about 8000 bytes
  EXPECT_EQ(tags[296], 2u);  // inch
  for (const int tag : {282, 283}) {
    uint32_t dots[2]{};
    std::memcpy(dots, bytes->data() + tags[tag], sizeof dots);
    EXPECT_EQ(dots[0], 300 * dots[1]) << tag;
  }
  options.trim = false;
  EXPECT_EQ(TiffTags(*Drawn("tif", options))[257], 992u);
}

TEST_F(Figure, WhatHasNoGroundIsDrawnForAWhiteOne) {
  const PictureSubject subject = Subject();
  for (const auto background : {PictureBackground::Black, PictureBackground::White, PictureBackground::Transparent}) {
    PictureOptions options;
    options.background = background;
    EXPECT_EQ(PixelOptions(subject, options).whiteBackground, background != PictureBackground::Black);
  }
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

// The number behind a text, from a place on.
double NumberBehind(const std::string& text, const std::string& mark, size_t from = 0) {
  const size_t at = text.find(mark, from);
  return at == text.npos ? -1e9 : std::atof(text.c_str() + at + mark.size());
}

std::string Report(const PictureOptions& options) {
  return ReadWholeFile(options.labelReport).content;
}

TEST_F(Figure, ALabelReportCountsFromTheCornerOfTheTrimmedPicture) {
  for (const std::string format : {"svg", "png"}) {
    PictureOptions options;
    options.size = 450;
    options.labelReport = testing::TempDir() + "label_report_" + format + ".json";
    ASSERT_TRUE(Drawn(format, options));
    const double whole = NumberBehind(Report(options), "\"centre\": [", 0);
    const double wholeY = NumberBehind(Report(options), ", ", Report(options).find("\"centre\": ["));
    options.trim = true;
    const auto bytes = Drawn(format, options);
    const std::string report = Report(options);
    EXPECT_EQ(NumberBehind(report, "\"centre\": ["), whole);
    const double y = NumberBehind(report, ", ", report.find("\"centre\": ["));
    EXPECT_LT(y, wholeY - 100);
    if (format == "svg") {
      EXPECT_NEAR(wholeY - y, NumberBehind(*bytes, "viewBox=\"0 "), 0.01);
    }
  }
}

TEST_F(Figure, OfAStereoPairTheLeftEyeSeesWhatIsNearFurtherToTheRight) {
  look.mode = kBallAndStick;
  document.atoms.head->position = document.atoms.head->position + Cartesian{0, 0, -1.2};  // nearer
  PictureOptions options;
  options.size = 500;
  options.frames = PictureFrames::Stereo;
  const auto svg = Drawn("svg", options);
  ASSERT_TRUE(svg);
  EXPECT_NE(svg->find("<svg x=\"255\" y=\"0\" width=\"245\""), svg->npos) << "the second frame";
  const auto middle = [&](const char* group) { return NumberBehind(*svg, "cx=\"", svg->find(group)); };
  EXPECT_GT(middle("<g id=\"C1\">") - middle("<g id=\"C2\">"),
            middle("<g id=\"C1.2\">") - middle("<g id=\"C2.2\">") + 2);
  options.trim = true;
  EXPECT_LT(NumberBehind(*Drawn("svg", options), "pt\" height=\""), 220);
  options.frames = PictureFrames::Axes;
  for (const char* words : {">along a<", ">along b<", ">along c<"})
    EXPECT_NE(Drawn("svg", options)->find(words), std::string::npos) << words;
  for (const char* format : {"png", "jpg", "pdf", "eps", "tif"}) EXPECT_TRUE(Drawn(format, options)) << format;
  options.size = 40;
  EXPECT_FALSE(Drawn("png", options)) << "frames of 12 pixels";
}

TEST_F(Figure, AStereoPairHasALabelAtOnePlaceForBothEyes) {
  look.mode = kBallAndStick;
  PictureOptions options;
  options.size = 500;
  options.frames = PictureFrames::Stereo;
  const std::string svg = *Drawn("svg", options);
  // The molecule lies in the plane of the picture, so that its atoms are at one place in both frames.
  for (const char* name : {"\">C1<", "\">C2<", "\">O1<"}) {
    const size_t left = svg.find(name), right = svg.find(name, left + 1);
    ASSERT_NE(right, std::string::npos);
    for (const char* coordinate : {" x=\"", " y=\""})
      EXPECT_NEAR(NumberBehind(svg, coordinate, svg.rfind("<text", left)),
                  NumberBehind(svg, coordinate, svg.rfind("<text", right)), 0.1)
          << name;
  }
}

TEST_F(Figure, WhatIsTrimmedIsEmptyAndTypeAndLinesArePrintable) {
  for (const int mode : {int{kWireFrame}, int{kBallAndStick}, int{kThermalEllipsoid}, kLitRendition}) {
    look.mode = mode;
    for (const int dots : {100, 600}) {
      PictureOptions options;
      ApplyJournal(*JournalPresetNamed("single-column"), dots, options);
      PictureSubject subject = Subject();
      EXPECT_EQ(LabelPoints(subject, options), 7.0);
      EXPECT_EQ(PixelOptions(subject, options).thinLine, dots == 100 ? 1.0 : 4.0);
      EXPECT_EQ(LineOptions(subject, options).thinLine, 0.5);
      PictureOptions whole = options;
      InteractiveRenderer renderer;
      ASSERT_TRUE(FindContent(subject, false, options.size, options, renderer));
      EXPECT_LT(options.kept, 0.7);
      const Image image = *DrawPixels(subject, whole);
      const int first = options.FirstRow(options.size), end = first + options.Rows(options.size);
      for (int y = 0; y < image.height; ++y) {
        const auto row = image.pixels.begin() + std::ptrdiff_t{y} * image.width;
        const bool empty = std::all_of(row, row + image.width, [&](uint32_t p) { return p == image.pixels[0]; });
        EXPECT_TRUE(empty || (y >= first && y < end)) << mode << " " << dots << " row " << y;
      }
    }
  }
}

TEST_F(Figure, BlackAndWhiteHasNothingBetween) {
  PictureOptions options;
  options.size = 450;
  options.blackWhite = true;
  for (const int mode : {kWireFrame, kBallAndStick, kThermalEllipsoid, kPipes}) {
    look.mode = mode;
    const auto svg = Drawn("svg", options);
    ASSERT_TRUE(svg);
    for (size_t at = svg->find('#'); at != svg->npos; at = svg->find('#', at + 1)) {
      const std::string colour = svg->substr(at, 7);
      EXPECT_TRUE(colour == "#000000" || colour == "#ffffff") << colour << " in rendition " << mode;
    }
  }
  // Lines of a pattern end on the outline of their body.
  look.mode = kBallAndStick;
  look.labels = false;
  document.elements[8].texture = 2;
  const auto svg = Drawn("svg", options);
  const size_t body = svg->find("<g id=\"O1\">");
  const double x = NumberBehind(*svg, "cx=\"", body), r = NumberBehind(*svg, "r=\"", svg->find("<circle", body));
  const size_t line = svg->find("<path", body);
  ASSERT_LT(line, svg->find("</g>", body));
  const double y = NumberBehind(*svg, "cy=\"", body), lineX = NumberBehind(*svg, "d=\"M", line);
  const double lineY = NumberBehind(*svg, " ", svg->find("d=\"M", line));
  EXPECT_NEAR(std::hypot(lineX - x, lineY - y), r, 0.02);
}

// Lets the first so many questions whether to go on pass.
struct Impatient : RecordingMessages {
  bool ReportProgress(int, int) override { return --patience >= 0; }
  int patience = 0;
};

TEST_F(Figure, ByOpenGlFollowsEveryChoice) {
  PictureOptions options;
  options.openGl = true;
  options.size = 48;
  openGl.fontPath = FindSansFontFile();
  if (openGl.fontPath.empty()) GTEST_SKIP() << "no font is installed";
  const RenderOptions plain = look;
  const PictureOptions usual = options;
  const auto base = Drawn("png", options);
  if (!base) GTEST_SKIP() << messages.shown.back().text;
  EXPECT_EQ(Drawn("png", options), base);
  auto contacts = std::make_shared<std::vector<DrawnContact>>();
  contacts->push_back({document.atoms.head, document.atoms.tail, ContactLine::HydrogenBond});
  auto net = std::make_shared<DensityNet>();
  net->lines.push_back({centre, centre + Cartesian{0, 2, 0}, NetTone::Plus});
  const std::function<void()> changes[] = {[&] { look.mode = kBallAndStick; },
                                           [&] { look.labels = false; },
                                           [&] { look.safeColours = true; },
                                           [&] { look.contacts = contacts; },
                                           [&] { look.net = net; },
                                           [&] { look.probability = 0.95; },
                                           [&] { options.blackWhite = true; },
                                           [&] { options.background = PictureBackground::Transparent; },
                                           [&] { options.resolution = 40.0; }};
  // An ellipsoid whose size the probability tells.
  document.atoms.head->uCount = 6;
  document.atoms.head->u = {0.05, 0.04, 0.03, 0.0, 0.0, 0.0};
  const auto first = Drawn("png", options);
  EXPECT_NE(first, base);
  size_t number = 0;
  for (const auto& change : changes) {
    change();
    const auto drawn = Drawn("png", options);
    EXPECT_TRUE(drawn && drawn != first) << number
                                         << (messages.shown.empty() ? std::string() : messages.shown.back().text);
    look = plain;
    options = usual;
    ++number;
  }
  options.background = PictureBackground::White;
  const auto white = Drawn("png", options);
  openGl.background = {1.0, 0.0, 0.0};
  EXPECT_EQ(Drawn("png", options), white);
  Impatient impatient;
  ViewState view;
  view.FitView(2.5, centre);
  PictureSubject subject{document,  view, look, "flat", [this]() -> const OpenGlSettings& { return openGl; },
                         impatient, {},   {}};
  EXPECT_FALSE(DrawPicture(subject, options, "png"));
  ASSERT_FALSE(impatient.shown.empty());
  EXPECT_EQ(impatient.shown.back().text, "The picture was stopped; nothing was written.");
}

TEST_F(Figure, WithoutAtomsKeepsItsSquare) {
  while (document.atoms.head) document.atoms.KillAtom(document.atoms.head);
  PictureOptions options;
  options.size = 100;
  options.trim = true;
  EXPECT_EQ(TiffTags(*Drawn("tif", options))[257], 100u);
}

// Type and data of each chunk, "" where a check sum is wrong.
std::vector<std::pair<std::string, std::string>> PngChunks(const std::string& file) {
  const auto number = [&](size_t at) {
    uint32_t n = 0;
    for (size_t i = 0; i < 4; ++i) n = n << 8 | static_cast<unsigned char>(file[at + i]);
    return n;
  };
  std::vector<std::pair<std::string, std::string>> chunks;
  for (size_t at = 8; at + 12 <= file.size();) {
    const size_t length = number(at);
    if (length > file.size() - at - 12) break;
    const uLong sum = crc32(0, reinterpret_cast<const Bytef*>(file.data() + at + 4), static_cast<uInt>(length + 4));
    chunks.emplace_back(sum == number(at + 8 + length) ? file.substr(at + 4, 4) : "", file.substr(at + 8, length));
    at += length + 12;
  }
  return chunks;
}

TEST_F(Figure, TurnsInAnAnimatedFileWhoseFramesAreInOrder) {
  PictureOptions options;
  options.size = 64;
  const auto bytes = Drawn("apng", options);
  ASSERT_TRUE(bytes);
  const auto chunks = PngChunks(*bytes);
  std::string order;
  uint32_t sequence = 0, controls = 0;
  std::map<std::string, std::string> frames;  // first bytes of what each holds
  for (const auto& [type, data] : chunks) {
    if (order.empty() || !order.ends_with(type)) order += type;
    if (type == "fcTL" || type == "fdAT") {
      EXPECT_EQ(data.substr(0, 4), std::string({0, 0, 0, static_cast<char>(sequence)}));
      ++sequence;
    }
    if (type == "fcTL") {
      ++controls;
      EXPECT_EQ(data.substr(4, 8), chunks[0].second.substr(0, 8));
    }
    if (type == "fdAT") frames[data.substr(4)] = type;
  }
  EXPECT_TRUE(order.starts_with("IHDRacTLfcTLIDATfcTLfdATfcTL")) << order;
  EXPECT_TRUE(order.ends_with("fdATIEND")) << order;
  EXPECT_EQ(controls, 72u);
  EXPECT_GT(frames.size(), 30u);  // it does turn
  options.frames = PictureFrames::Turn;
  radius = 0.7, centre = {};
  EXPECT_EQ(Drawn("png", options), bytes) << "all of it, wherever the view was";
  EXPECT_FALSE(Drawn("svg", options));
  EXPECT_EQ(messages.shown.back().text, "A turn is written as .png or .apng, not as .svg.");
}

TEST_F(Figure, SwingsFromTheOtherModelAndLeavesTheAtomsWhereTheyWere) {
  PictureOptions options;
  options.size = 64;
  const auto other = std::make_shared<Document>(document);
  swingFrom = other;
  EXPECT_FALSE(Drawn("apng", options));
  EXPECT_EQ(messages.shown.back().text, "The two models have all their atoms at the same places.");
  AtomRecord* moved = other->atoms.head;
  const Fractional there = moved->fract;
  moved->fract = there + Fractional{0.02, 2.1, -1.0};  // and whole cells away
  const auto frames = [&] {
    std::set<std::string> different;
    for (const auto& [type, data] : PngChunks(*Drawn("apng", options)))
      if (type == "fdAT" || type == "IDAT") different.insert(data.substr(type == "fdAT" ? 4 : 0));
    return different;
  };
  EXPECT_GT(frames().size(), 12u);
  EXPECT_LE(frames().size(), 20u) << "the way back is the way there";
  EXPECT_EQ(document.atoms.head->fract, there);
  moved->fract = there;
  for (const double u : {0.03005, 0.05}) {
    moved->u[0] = u;
    EXPECT_EQ(Drawn("apng", options).has_value(), u > 0.04) << "an ellipsoid that swells";
  }
  EXPECT_EQ(document.atoms.head->u[0], 0.03);
  look.labels = false;
  const auto swelling = frames();
  std::swap(document, *other);
  EXPECT_TRUE(frames() == swelling) << "the other model swings to this one";
  EXPECT_FALSE(Drawn("pdf", options));
  EXPECT_EQ(messages.shown.back().text, "A swing is written as .png or .apng, not as .pdf.");
  for (AtomRecord* atom : Atoms(other->atoms)) atom->name = "X";
  EXPECT_FALSE(Drawn("apng", options));
  EXPECT_EQ(messages.shown.back().text, "No atom has the same name in both models.");
}

}  // namespace
}  // namespace marvik

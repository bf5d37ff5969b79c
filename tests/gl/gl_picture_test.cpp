#include "gl/gl_picture.h"

#include <array>
#include <limits>

#include "draw/labels/label_font.h"
#include "draw/renderer/look.h"
#include "gl/gl_calls.h"
#include "gl/gl_fixture.h"
#include "gl/gl_program.h"

namespace marvik {
namespace {

using test::Blob;
using test::BlobOf;
using test::Difference;
using test::GlStage;

bool IsRed(Rgb c) {
  return c.r > 1.6 * c.g + 20 && c.r > 1.6 * c.b + 20;
}
bool IsGreen(Rgb c) {
  return c.g > 1.3 * c.r + 20 && c.g > 1.3 * c.b + 20;
}
bool IsBlue(Rgb c) {
  return c.b > 1.6 * c.r + 20 && c.b > 1.6 * c.g + 20;
}
bool IsModel(Rgb c) {
  return c != kWhite;
}

// A molecule with everything in it: balls, ellipsoids that overlap, bonds of all orders and styles.
void AddMolecule(GlStage& stage) {
  AtomRecord* s = stage.AddEllipsoid("S1", {0.0, 0.0, -2.0}, {0.9, 0.5, 0.7});
  AtomRecord* o = stage.AddEllipsoid("O1", {3.0, 1.0, 0.0}, {0.4, 1.1, 0.6});
  AtomRecord* n = stage.Add("N1", -3.0, 2.0, 0.0);
  AtomRecord* c = stage.Add("C1", -1.0, -4.0, 1.0);
  AtomRecord* f = stage.Add("F1", 0.5, 0.8, 2.0);
  const auto bond = [&](AtomRecord* a, AtomRecord* b, int order, int style) {
    stage.document.atoms.AddBond(a, b, {}, order, 0, 0.3f, style, stage.messages);
  };
  bond(s, o, kSingle, kSolid);
  bond(s, n, kDouble, kSolid);
  bond(n, c, kTriple, kSolid);
  bond(c, s, kAromatic, kSolid);
  bond(o, f, kSingle, kDashed);
  bond(f, n, kSingle, kDotted);
  stage.view.RotateView(25, {0, 1, 0}, true);
  stage.view.RotateView(-35, {1, 0, 0}, true);
}

// The quick way cuts the shifts to whole samples; that is all that may differ. 818 pixels are nine tiles and would
// be four without their margins, so the seams are looked at too.
TEST(GlPicture, LayersOutOfOnePictureLookLikeLayersDrawnOneByOne) {
  struct Case {
    int mode;
    bool colour;
    double most;
  };
  for (const Case& look : {Case{kBallAndStick, true, 0.014},
                           {kThermalEllipsoid, true, 0.02},
                           {kBallAndStick, false, 0.05},
                           {kThermalEllipsoid, false, 0.05}}) {
    GlStage stage;
    AddMolecule(stage);
    stage.options.mode = look.mode;
    stage.options.colour = look.colour;
    const int size = look.colour ? 818 : 300;
    const Image quick = stage.Picture(size);
    stage.options.antiAlias = false;
    const Image plain = stage.Picture(size);
    stage.options.antiAlias = true;
    stage.options.direct = true;
    const Image direct = stage.Picture(size);
    const double difference = Difference(quick, direct);
    EXPECT_LT(difference, look.most) << "mode " << look.mode << " colour " << look.colour;
    EXPECT_GT(Difference(plain, direct), difference);
  }
}

TEST(GlPicture, AtomsAreWhereTheInteractiveRendererHasThem) {
  GlStage stage;
  stage.Add("O1", 6.0, 2.0, 3.0);
  stage.Add("N1", -5.0, 5.0, -3.0);
  stage.Add("CL1", 1.0, -6.0, 1.0);
  stage.document.elements[17].colour = PackColour(0, 160, 0);
  stage.view.RotateView(30, {1, 0, 0}, true);
  stage.view.RotateView(50, {0, 1, 0}, true);
  stage.view.FitView(8.0, std::nullopt);
  stage.view.panX = 40;
  stage.view.panY = -25;
  const Image gl = stage.Picture(600);
  const Image interactive = stage.InteractivePicture(600);
  for (bool (*accepts)(Rgb) : {IsRed, IsGreen, IsBlue}) {
    const Blob a = BlobOf(gl, accepts);
    const Blob b = BlobOf(interactive, accepts);
    EXPECT_GT(a.count, 300);
    EXPECT_NEAR(a.middle.x, b.middle.x, 2.0);
    EXPECT_NEAR(a.middle.y, b.middle.y, 2.0);
  }
  // Of another size the pan is the same share of the picture.
  const Blob small = BlobOf(stage.Picture(300), IsRed);
  const Blob large = BlobOf(gl, IsRed);
  EXPECT_NEAR(2.0 * small.middle.x, large.middle.x, 2.0);
  EXPECT_NEAR(2.0 * small.middle.y, large.middle.y, 2.0);
}

TEST(GlPicture, EllipsoidsAreThoseOfTheInteractiveRenderer) {
  GlStage stage;
  stage.options.mode = kThermalEllipsoid;
  stage.AddEllipsoid("O1", {0.0, 0.0, 0.0}, {3.0, 1.2, 0.8});
  stage.document.atoms.head->u = {5.0, 2.0, 3.0, 1.0, -1.5, 1.2};
  for (const int turn : {0, 40, 110, 200}) {
    stage.view.RotateView(turn, {0.3, 1, 0.2}, true);
    stage.options.antiAlias = false;
    const Image gl = stage.Picture(600);
    const Image interactive = stage.InteractivePicture(600);
    int both = 0;
    int either = 0;
    for (size_t i = 0; i < gl.pixels.size(); ++i) {
      const bool inGl = IsModel(ColourOf(gl.pixels[i]));
      const bool inOther = IsModel(ColourOf(interactive.pixels[i]));
      both += inGl && inOther;
      either += inGl || inOther;
    }
    EXPECT_GT(both, 8000);
    EXPECT_GT(both, 0.95 * either) << turn;
  }
}

TEST(GlPicture, WhatIsPaleIsMixedWithTheBackgroundAfterItIsLit) {
  GlStage stage;
  stage.options.mode = kThermalEllipsoid;
  stage.AddEllipsoid("O1", {2.0, 0, 0}, {2.0, 1.2, 0.8})->generated = 1;
  stage.Add("N1", -2.0, 0, 0)->generated = 1;
  stage.options.printing = false;
  for (const double ground : {1.0, 0.2}) {
    stage.options.settings.background = {ground, ground, ground};
    stage.options.figure.paleMates = false;
    Image expected = stage.Picture(300);
    stage.options.figure.paleMates = true;
    const Image pale = stage.Picture(300);
    const Rgb behind = ground > 0.5 ? kWhite : Rgb{51, 51, 51};
    for (uint32_t& pixel : expected.pixels) pixel = PixelOf(MixColours(behind, ColourOf(pixel), kPaleInk));
    EXPECT_LT(Difference(pale, expected), 0.01) << ground;  // highlights are cut off earlier
  }
}

// The fixed functions would serve in silence.
TEST(GlPicture, ThereIsAProgramForEveryPixel) {
  std::string error;
  const auto context = LoadGlCalls() ? MakeOffscreenContext(error) : nullptr;
  ASSERT_TRUE(context) << error;
  EXPECT_NE(MakeShadingProgram(), 0u);
}

TEST(GlPicture, WhatLiesBehindIsInFog) {
  GlStage stage;
  for (const double z : {-5.0, 5.0}) stage.Add("O1", z < 0.0 ? -4.0 : 4.0, 0, z)->element->drawRadius = 2.0;
  const auto distance = [&](int x) {
    const Rgb c = ColourOf(stage.Picture(300).At(x, 150));
    return 3 * 255 - c.r - c.g - c.b;
  };
  const int left = distance(95), right = distance(205);
  stage.options.look = Look::Paper;
  const int leftInFog = distance(95), rightInFog = distance(205);
  EXPECT_NEAR(std::max(leftInFog / double(left), rightInFog / double(right)), 1.0, 0.1) << "in front";
  EXPECT_NEAR(std::min(leftInFog / double(left), rightInFog / double(right)), 0.8, 0.1) << "at the back";
  stage.options.transparent = true;
  const Image free = stage.Picture(300);
  EXPECT_GT(std::max(free.At(95, 150) >> 24, free.At(205, 150) >> 24), 235u);
  EXPECT_LT(std::min(free.At(95, 150) >> 24, free.At(205, 150) >> 24), 220u);
}

TEST(GlPicture, FacesAndCornersAreThoseOfTheInteractivePicture) {
  GlStage stage;
  AtomRecord* centre = stage.Add("TI1", 0, 0, 0);
  constexpr std::array<Cartesian, 4> kPlaces{{{3, 6, 0}, {-6, 6, 0}, {-6, -6, 0}, {6, -6, 0}}};
  for (const Cartesian& at : kPlaces)
    stage.document.atoms.AddBond(centre, stage.Add("O1", at.x, at.y, at.z), {}, kSingle, 0, 0.05f, kSolid,
                                 stage.messages);
  AtomRecord* front = stage.Add("N1", 0, 3.0, -4.0);
  stage.Add("N2", 0, -3.0, 4.0);
  for (const bool direct : {true, false}) {
    stage.options.direct = direct;
    stage.options.figure.polyhedra.clear();
    const Image bare = stage.Picture(300);
    stage.options.figure.polyhedra = {22};
    const Image veiled = stage.Picture(300);
    EXPECT_NE(ColourOf(veiled.At(215, 150)), kWhite);
    // 13.6 pixels to an Å; y runs downward.
    EXPECT_EQ(ColourOf(veiled.At(80, 150)), kWhite) << "beyond the slanting edge";
    EXPECT_NE(ColourOf(veiled.At(100, 150)), kWhite);
    EXPECT_EQ(ColourOf(veiled.At(150, 191)), ColourOf(bare.At(150, 191))) << direct;
    EXPECT_NE(ColourOf(veiled.At(150, 109)), ColourOf(bare.At(150, 109))) << direct;
  }
  const Image onWhite = stage.Picture(300);
  stage.options.transparent = true;
  const Image free = stage.Picture(300);
  stage.options.transparent = false;
  EXPECT_EQ(free.At(20, 150) >> 24, 0u);
  for (const int x : {215, 240}) {
    const uint32_t pixel = free.At(x, 150);
    const double cover = (pixel >> 24) / 255.0;
    EXPECT_LT(cover, 0.9) << "a face lets through what is behind it";
    EXPECT_NEAR(ColourOf(pixel).r * cover + 255.0 * (1.0 - cover), ColourOf(onWhite.At(x, 150)).r, 2.0);
  }
  stage.options.figure.polyhedra.clear();
  const Image bare = stage.Picture(300);
  stage.options.figure.colourBy = ColourBy::Part;
  front->part = 2;
  EXPECT_GT(Difference(stage.Picture(300), bare), 0.01) << "coloured by part";
  stage.options.figure.colourBy = ColourBy::Element;
  stage.options.figure.tripod = stage.options.figure.scaleBar = stage.options.figure.legend = true;
  const Image corners = stage.Picture(300);
  const auto inked = [&](int x0, int y0) {
    int count = 0;
    for (int y = y0; y < y0 + 75; ++y)
      for (int x = x0; x < x0 + 75; ++x) count += corners.At(x, y) != bare.At(x, y);
    return count;
  };
  EXPECT_GT(inked(0, 225), 60) << "directions";
  EXPECT_GT(inked(225, 225), 60) << "scale bar";
  EXPECT_GT(inked(0, 0), 200) << "legend";
  EXPECT_EQ(inked(225, 0), 0);
}

TEST(GlPicture, ATaperedBondIsWiderTowardTheViewer) {
  GlStage stage;
  AtomRecord* a = stage.Add("N1", 5.0, 0, 6.0);
  AtomRecord* b = stage.Add("N2", -5.0, 0, -6.0);
  stage.document.atoms.AddBond(a, b, {}, kSingle, 0, 1.0f, kSolid, stage.messages);
  const auto height = [&](double x) {
    const Image image = stage.Picture(600);
    int rows = 0;
    for (int y = 0; y < 600; ++y) rows += ColourOf(image.At(static_cast<int>(300 - x * 27.2), y)) != kWhite;
    return rows;
  };
  EXPECT_NEAR(height(2.5), height(-2.5), 1);
  stage.options.figure.taperedBonds = true;
  // 1 + 0.45 z at 0.27 before and behind the middle.
  EXPECT_NEAR(height(-2.5) / static_cast<double>(height(2.5)), 1.123 / 0.877, 0.1);
}

TEST(GlPicture, NearerAtomsHideFartherOnesAndHiddenOnesAreNotThere) {
  GlStage stage;
  stage.Add("O1", 0.0, 0.0, 4.0);
  AtomRecord* front = stage.Add("N1", 0.0, 0.0, -4.0);
  EXPECT_TRUE(IsBlue(ColourOf(stage.Picture(200).At(100, 102))));
  stage.view.RotateView(180, {0, 1, 0}, true);
  EXPECT_TRUE(IsRed(ColourOf(stage.Picture(200).At(100, 102))));
  stage.view.RotateView(180, {0, 1, 0}, true);
  front->Set(kHidden, true);
  EXPECT_TRUE(IsRed(ColourOf(stage.Picture(200).At(100, 102))));
}

TEST(GlPicture, OneLayerIsOneDrawing) {
  GlStage stage;
  AddMolecule(stage);
  stage.options.settings.layerCount = 1;
  const Image one = stage.Picture(200);
  stage.options.settings.layerCount = 12;
  stage.options.antiAlias = false;
  EXPECT_EQ(one.pixels, stage.Picture(200).pixels);
  stage.options.direct = true;
  EXPECT_EQ(one.pixels, stage.Picture(200).pixels);
}

TEST(GlPicture, StopsBeforeAnyAtomAndKeepsWhatIsDrawn) {
  GlStage stage;
  for (int i = 0; i < 20; ++i) stage.Add("O" + std::to_string(i), i * 0.9 - 9.0, 0.0, 0.0)->screenX = 77;
  const int whole = BlobOf(stage.Picture(200), IsRed).count;
  for (const bool direct : {false, true}) {
    stage.options.direct = direct;
    int asked = 0;
    const GlPicture picture = stage.Draw(200, [&] { return ++asked <= 10; });
    ASSERT_TRUE(picture.image);
    EXPECT_FALSE(picture.complete);
    EXPECT_EQ(asked, 11);
    const int drawn = BlobOf(*picture.image, IsRed).count;
    EXPECT_GT(drawn, 0.3 * whole);
    EXPECT_LT(drawn, 0.7 * whole);
  }
  for (const AtomRecord* atom : Atoms(stage.document.atoms)) EXPECT_EQ(atom->screenX, 77);
}

TEST(GlPicture, SaysWhatItCannotDo) {
  GlStage stage;
  stage.Add("C1", 0, 0, 0);
  for (const int mode : {int{kWireFrame}, int{kPipes}, 9}) {
    stage.options.mode = mode;
    const GlPicture picture = stage.Draw(100);
    EXPECT_EQ(picture.caption, "Invalid Display Choice");
    EXPECT_EQ(picture.error,
              "OpenGL structure display is currently implemented only for\nBall and Stick models and Thermal Ellipsoid "
              "models.");
    EXPECT_FALSE(picture.image);
  }
  stage.options.mode = kBallAndStick;
  for (const int size : {0, -5, 1'000'000'000}) EXPECT_NE(stage.Draw(size).error, "");
  stage.options.labels = true;
  stage.options.settings.fontPath = "/no/such/font.ttf";
  EXPECT_EQ(stage.Draw(100).error, "Can't open the font file /no/such/font.ttf");
  stage.options.settings.fontPath = FindSansFontFile();
  stage.options.labelPointSize = 0;
  EXPECT_EQ(stage.Draw(100).error, "Can't create a font.");
  stage.options.labels = false;
  stage.options.makeContext = [](std::string& error) {
    error = "Could not initialize the device context.";
    return nullptr;
  };
  const GlPicture picture = stage.Draw(100);
  EXPECT_EQ(picture.error, "Could not initialize the device context.");
  EXPECT_FALSE(picture.image);
}

TEST(GlPicture, BackgroundIsThatOfTheSettingsOnTheScreenAlone) {
  GlStage stage;
  const auto corner = [&] { return stage.Picture(50).At(2, 2); };
  EXPECT_EQ(corner(), 0xffffffffu) << "an empty structure on paper";
  stage.Add("C1", 0, 0, 0);
  EXPECT_EQ(corner(), 0xffffffffu);
  stage.options.printing = false;
  EXPECT_EQ(corner(), 0xff8cb3b3u);
  stage.options.colour = false;
  EXPECT_EQ(corner(), 0xffffffffu);
  stage.options.colour = true;
  stage.options.transparent = true;
  const Image image = stage.Picture(300);
  EXPECT_EQ(image.At(2, 2) >> 24, 0u);
  EXPECT_EQ(image.At(150, 150) >> 24, 255u);
  int between = 0;
  for (const uint32_t pixel : image.pixels) between += pixel >> 24 > 0 && pixel >> 24 < 255;
  EXPECT_GT(between, 4) << "edges are smooth";
}

TEST(GlPicture, ElementsDifferInPrint) {
  std::array<Image, kTextures> pictures;
  GlStage stage;
  AtomRecord* atom = stage.Add("C1", 0, 0, 0);
  atom->element->drawRadius = 3.0;
  stage.options.colour = false;
  for (int code = 0; code < kTextures; ++code) {
    atom->element->texture = static_cast<uint8_t>(code);
    Image& image = pictures[static_cast<size_t>(code)];
    image = stage.Picture(600);
    const Blob coloured = BlobOf(image, [](Rgb c) { return c.r != c.g || c.g != c.b; });
    EXPECT_EQ(coloured.count, 0);
    for (int other = 0; other < code; ++other)
      EXPECT_GT(Difference(image, pictures[static_cast<size_t>(other)]), 0.1) << code << " and " << other;
  }
  // "/" repeats along the rising diagonal, rows count downward.
  const auto along = [](const Image& image, int dy) {
    double sum = 0.0;
    for (int i = 0; i < 20; ++i)
      sum += std::abs(ColourOf(image.At(290 + i, 300 + dy * i)).r - ColourOf(image.At(290, 300)).r);
    return sum;
  };
  EXPECT_LT(along(pictures[5], -1), 0.5 * along(pictures[5], 1));
  EXPECT_LT(along(pictures[6], 1), 0.5 * along(pictures[6], -1));
}

TEST(GlPicture, TensorThatIsNoEllipsoidIsACrossedBox) {
  GlStage stage;
  stage.options.mode = kThermalEllipsoid;
  stage.options.antiAlias = false;
  AtomRecord* atom = stage.AddEllipsoid("O1", {}, {1.0, 1.0, 1.0});
  atom->element->drawRadius = 2.0;
  atom->u[1] = -0.5;
  const Image image = stage.Picture(200);
  const auto at = [&](int dx, int dy) { return ColourOf(image.At(100 + dx, 100 + dy)); };
  EXPECT_TRUE(IsRed(at(0, 10)));
  EXPECT_EQ(at(0, 10).r, 180) << "the plain colour of oxygen";
  EXPECT_NE(at(8, 8), at(0, 10));
  EXPECT_NE(at(-9, 8), at(0, 10));
  EXPECT_NE(at(25, 25), kWhite) << "a corner that a ball has not";
  for (const uint32_t pixel : image.pixels) ASSERT_EQ(pixel >> 24, 255u);
}

TEST(GlPicture, CutSectionAndBandsShowOnLargeEllipsoidsOnly) {
  GlStage stage;
  stage.options.mode = kThermalEllipsoid;
  stage.options.antiAlias = false;
  AtomRecord* atom = stage.AddEllipsoid("O1", {}, {3.0, 2.5, 2.0});
  stage.view.RotateView(35, {1, 0, 0}, true);
  stage.view.RotateView(40, {0, 1, 0}, true);
  const Image cut = stage.Picture(200);
  stage.options.settings.cutSection = false;
  EXPECT_GT(Difference(cut, stage.Picture(200)), 0.02);
  // The half axes are of their own ink, which no light shades.
  const Rgb ink = InkOn(RgbOf(atom->element->colour));
  EXPECT_GT(BlobOf(cut, [&](Rgb c) { return c == ink; }).count, 50);
  atom->u = {0.01, 0.01, 0.01, 0, 0, 0};
  const Image whole = stage.Picture(200);
  stage.options.settings.cutSection = true;
  EXPECT_EQ(whole.pixels, stage.Picture(200).pixels);
}

TEST(GlPicture, SurvivesWhatMakesNoSense) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  GlStage stage;
  stage.options.mode = kThermalEllipsoid;
  stage.options.showCell = stage.options.labels = true;
  AtomRecord* sound = stage.Add("N1", 5.0, 0.0, 0.0);
  AtomRecord* nowhere = stage.Add("C1", kNan, 0.0, 0.0);
  AtomRecord* far = stage.Add("C2", 1e300, 0.0, 1e12);
  AtomRecord* vast = stage.AddEllipsoid("C3", {-5.0, 0.0, 0.0}, {1e9, 1e-9, 1.0});
  AtomRecord* flat = stage.AddEllipsoid("C4", {-5.0, 2.0, 0.0}, {0.0, 1.0, 1.0});
  stage.AddEllipsoid("C5", {-5.0, 2.0, 0.0}, {kNan, 1.0, 1.0});
  stage.Add("Q1", -2.0, 4.0, 0.0)->peakHeight = kNan;
  stage.document.elements[7].drawRadius = 0.4;
  stage.document.elements[8].drawRadius = 1e300;
  for (AtomRecord* other : {nowhere, far, vast, flat})
    stage.document.atoms.AddBond(sound, other, {}, kDouble, 0, other == flat ? 1e30f : static_cast<float>(kNan),
                                 kDotted, stage.messages);
  stage.options.settings.layerCount = -1;
  const Image image = stage.Picture(120);
  EXPECT_GT(BlobOf(image, IsBlue).count, 0);
  stage.document.cell = {1e9, 1e-9, 1, 90, 90, 90};
  BuildOrthogonalisation(stage.document.cell, stage.document.matrix);
  stage.options.probability = kNan;
  stage.options.settings.layerCount = std::numeric_limits<int>::max();
  stage.Picture(120);
  // Zoomed in until one body is all there is, and out until none can be seen.
  GlStage other;
  other.Add("O1", 0.0, 0.0, 0.0)->element->drawRadius = 1e300;
  EXPECT_TRUE(IsRed(ColourOf(other.Picture(60).At(3, 3))));
  other.document.elements[8].drawRadius = 0.5;
  other.view.FitView(1e30, std::nullopt);
  other.Picture(60);
  other.view.FitView(10.0, std::nullopt);
  other.view.panX = other.view.panY = 1'000'000;
  EXPECT_EQ(BlobOf(other.Picture(60), IsRed).count, 0);
}

TEST(GlPicture, LabelsAndCellFollowTheOptions) {
  GlStage stage;
  AtomRecord* oxygen = stage.Add("O1", 3.0, 0, 0);
  stage.Add("H1", -3.0, 0, 0);
  stage.document.elements[1].colour = stage.document.elements[8].colour;
  const Image none = stage.Picture(300);
  const auto ink = [&] {
    return BlobOf(stage.Picture(300), [](Rgb c) { return c.r < 128 && c.r == c.g && c.g == c.b; });
  };
  EXPECT_EQ(ink().count, 0);
  stage.options.labels = true;
  const Blob both = ink();
  EXPECT_GT(both.count, 15);
  stage.options.hydrogenLabels = false;
  const Blob one = ink();
  EXPECT_LT(one.count, both.count);
  EXPECT_NEAR(one.middle.x, 150 - 3.0 / 11.0 * 150, 25);
  // A label that the user moved is where he put it: half a view unit up and to the right.
  oxygen->flags2 |= kLabelPlaced;
  oxygen->labelOffsetX = oxygen->labelOffsetY = 0.5f;
  const Blob moved = ink();
  EXPECT_NEAR(moved.middle.x, 109 + 75 + 6, 6);
  EXPECT_NEAR(moved.middle.y, 150 - 75 - 6, 6);
  stage.options.hybridLabelColoration = true;
  EXPECT_EQ(ink().count, 0);
  stage.options.labels = false;
  stage.options.showCell = true;
  stage.view.RotateView(20, {1, 1, 0}, true);
  EXPECT_GT(BlobOf(stage.Picture(300), IsRed).count, 50) << "the a axis";
  EXPECT_GT(BlobOf(stage.Picture(300), IsGreen).count, 50) << "the b axis";
}

}  // namespace
}  // namespace marvik

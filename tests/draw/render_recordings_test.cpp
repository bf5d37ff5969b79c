#include <cmath>
#include <cstdio>
#include <gtest/gtest.h>
#include <map>
#include <memory>

#include "crystal/cell_metric.h"
#include "draw/density/density_net.h"

#include "render_helpers.h"
#include "support/kept_outputs.h"

namespace marvik::test {
namespace {

// Twelve chords of a circle of 6 pixels.
TEST(Recordings, ARingStandsAboutWhatIsSelected) {
  Scene scene;
  scene.document.atoms.selection.Append(scene.Add("C1", 0, 0, 0));
  ExpectKept("recordings", "a ring about what is selected", scene.Draw());
}

// Their projections are those of unit vectors at 80, 110 and 100 degrees, the farthest first; spots are as in the
// bodies.
TEST(Recordings, DirectionsOfAnObliqueCellInBlackAndWhite) {
  Scene scene;
  scene.document.cell = {5.0, 20.0, 9.0, 80.0, 110.0, 100.0};
  ASSERT_TRUE(BuildOrthogonalisation(scene.document.cell, scene.document.matrix));
  scene.view.RotateView(40, {1, 2, 3}, true);
  scene.options.figure.tripod = scene.options.figure.legend = true;
  scene.options.blackWhite = true;
  scene.options.look = Look::Paper;
  scene.Add("C1", 0, 0, 0);
  scene.Add("O1", 3, 0, 0);
  EXPECT_EQ(scene.Draw(),
            "clear #ffffff\n"
            "piece 297 299 303 299 #000000 w1\n"
            "piece 300 296 300 302 #000000 w1\n"
            "piece 233 344 239 344 #000000 w1\n"
            "piece 236 341 236 347 #000000 w1\n"
            "begin corners\n"
            "line 66.81 533.19 89.54 568.045 #000000 w1.2\n"
            "polygon 89.54 568.045, 81.856 562.127, 87.223 558.627 #000000 outline #000000 w0.5\n"
            "text 92.271 572.233 centre #000000 b\n"
            "line 66.81 533.19 28.278 549.543 #000000 w1.2\n"
            "polygon 28.278 549.543, 35.496 542.978, 38.014 548.912 #000000 outline #000000 w0.5\n"
            "text 23.675 551.496 centre #000000 a\n"
            "line 66.81 533.19 83.291 536.184 #000000 w1.2\n"
            "polygon 83.291 536.184, 79.435 536.794, 79.896 534.256 #000000 outline #000000 w0.5\n"
            "text 88.211 537.078 centre #000000 c\n"
            "ellipse 18.4 18.4 p 3.45 0 q 0 3.45 #ffffff outline #000000 w1\n"
            "ellipse 17.1 16.138 p 0.546 0 q 0 0.546 #000000\n"
            "ellipse 19.7 16.138 p 0.546 0 q 0 0.546 #000000\n"
            "ellipse 15.8 18.4 p 0.546 0 q 0 0.546 #000000\n"
            "ellipse 18.4 18.4 p 0.546 0 q 0 0.546 #000000\n"
            "ellipse 21 18.4 p 0.546 0 q 0 0.546 #000000\n"
            "ellipse 17.1 20.662 p 0.546 0 q 0 0.546 #000000\n"
            "ellipse 19.7 20.662 p 0.546 0 q 0 0.546 #000000\n"
            "text 25.3 23.4 left #000000 C\n"
            "ellipse 18.4 29.9 p 3.45 0 q 0 3.45 #ffffff outline #000000 w1\n"
            "line 20.84 27.46 15.96 32.34 #000000 w0.5\n"
            "line 15.96 27.46 20.84 32.34 #000000 w0.5\n"
            "text 25.3 34.9 left #000000 O\n"
            "end\n");
}

// Halves of the bond are parted in the middle between the atoms, whatever the bodies cover; 0.3 Å are 9 pixels.
TEST(Recordings, BondsInTheColoursOfTheirAtoms) {
  Scene scene(kBallAndStick);
  scene.options.look = Look::Dark;
  scene.Add("C1", 0, 0, 0.55);
  scene.Add("O1", -1.0, -0.75, -0.55);
  Connect(scene.document, scene.messages);
  BondRecord* bond = scene.document.atoms.FindBond(scene.document.atoms.head, scene.document.atoms.tail);
  bond->width = 0.3f;
  EXPECT_EQ(Only(scene.Draw(), "line"),
            "line 307.159 293.697 327 279 #353535 w11\n"
            "line 307.159 293.697 313.5 289 #a9a9a9 w9\n"
            "line 313.5 289 307.159 293.697 #a9a9a9 w1.8\n"
            "line 313.5 289 327 279 #cb4e4e w9\n"
            "line 327 279 313.5 289 #cb4e4e w1.8\n");
  bond->SetOrder(kDouble);
  scene.document.atoms.selectedBonds.push_back(bond);
  EXPECT_EQ(Only(scene.Draw(), "line"),
            "line 310.373 298.037 315.836 293.99 #a9a9a9 w5.4\n"
            "line 315.836 293.99 310.373 298.037 #a9a9a9 w1.08\n"
            "line 315.836 293.99 330.214 283.339 #cb4e4e w5.4\n"
            "line 330.214 283.339 315.836 293.99 #cb4e4e w1.08\n"
            "line 303.944 289.358 309.407 285.312 #a9a9a9 w5.4\n"
            "line 309.407 285.312 303.944 289.358 #a9a9a9 w1.08\n"
            "line 309.407 285.312 323.786 274.661 #cb4e4e w5.4\n"
            "line 323.786 274.661 309.407 285.312 #cb4e4e w1.08\n"
            "line 309.864 301.027 326.064 289.027 #ff50ff w2\n"
            "line 300.936 288.973 317.136 276.973 #ff50ff w2\n");
  bond->SetOrder(kSingle);
  scene.document.atoms.selectedBonds.clear();
  // Pipes are three times as wide; each atom has its half, in strips the lighter the nearer to the light.
  scene.options.mode = kPipes;
  ExpectKept("recordings", "a pair of pipes", scene.Draw());
}

// Lines at right angles to the normals, 2.6 pixels apart where there is one set of them, from edge to edge of a ball of
// 12 pixels.
TEST(Recordings, PatternsFillTheirBodies) {
  Scene scene(kBallAndStick);
  scene.options.blackWhite = true;
  scene.options.look = Look::Paper;
  scene.Add("C1", 0, 0, 0);
  const double slant = std::sqrt(0.5);
  const std::map<int, std::vector<std::array<double, 3>>> kFamilies{{0, {}},
                                                                    {2, {{0, 1, 2.6}}},
                                                                    {3, {{1, 0, 2.6}}},
                                                                    {4, {{0, 1, 3.64}, {1, 0, 3.64}}},
                                                                    {5, {{slant, slant, 2.6}}},
                                                                    {6, {{slant, -slant, 2.6}}},
                                                                    {7, {{slant, slant, 4.16}, {slant, -slant, 4.16}}}};
  for (const auto& [texture, families] : kFamilies) {
    scene.document.elements[6].texture = texture;
    const std::string lines = Only(scene.Draw(), "line");
    size_t at = 0;
    for (const auto& [nx, ny, step] : families) {
      const int most = static_cast<int>(12.0 / step);
      for (int i = -most; i <= most; ++i, at = lines.find('\n', at) + 1) {
        double a[2], b[2];
        ASSERT_EQ(std::sscanf(lines.c_str() + at, "line %lf %lf %lf %lf", a, a + 1, b, b + 1), 4);
        for (const double* end : {a, b}) {
          EXPECT_NEAR(std::hypot(end[0] - 300, end[1] - 299), 12.0, 2e-3) << texture;
          EXPECT_NEAR((end[0] - 300) * nx + (end[1] - 299) * ny, i * step, 2e-3) << texture;
        }
        EXPECT_GT(std::hypot(a[0] - b[0], a[1] - b[1]), 1.0);
      }
    }
    EXPECT_EQ(at, lines.size()) << texture;
  }
  // Dots in rows that are staggered, none of them over the edge.
  scene.document.elements[6].texture = 1;
  const std::string drawn = scene.Draw();
  std::vector<std::array<double, 2>> dots;
  for (size_t at = drawn.find("p 0.546 "); at != drawn.npos; at = drawn.find("p 0.546 ", at + 1)) {
    auto& dot = dots.emplace_back();
    std::sscanf(drawn.c_str() + drawn.rfind("ellipse", at), "ellipse %lf %lf", &dot[0], &dot[1]);
    EXPECT_LT(std::hypot(dot[0] - 300, dot[1] - 299), 12.0 - 0.546);
    for (size_t i = 0; i + 1 < dots.size(); ++i) EXPECT_GT(std::hypot(dot[0] - dots[i][0], dot[1] - dots[i][1]), 2.59);
  }
  EXPECT_EQ(dots.size(), 73u);
}

TEST(Recordings, AnOctahedronHasItsFartherFacesFirst) {
  Scene scene(kBallAndStick);
  scene.view.RotateView(20, {1, 2, 3}, true);
  AtomRecord* centre = scene.Add("TI1", 0, 0, 0);
  for (const double side : {2.0, -2.0})
    for (int axis = 0; axis < 3; ++axis) {
      Cartesian at{};
      at[axis] = side;
      AtomRecord* corner = scene.Add("O1", at.x, at.y, at.z);
      scene.document.atoms.AddBond(centre, corner, {0, 0}, 1, 0, 0.1f, 0, scene.messages);
    }
  scene.options.figure.polyhedra = {22};
  scene.options.look = Look::Paper;
  EXPECT_EQ(Only(scene.Draw(), "polyline"),
            "polyline 314 351, 351 284, 289 295, 314 351 #696b6d w1\n"
            "polyline 289 295, 286 247, 351 284, 289 295 #696b6d w1\n"
            "polyline 249 314, 289 295, 314 351, 249 314 #696b6d w1\n"
            "polyline 249 314, 286 247, 289 295, 249 314 #696b6d w1\n"
            "polyline 314 351, 311 303, 351 284, 314 351 #696b6d w1\n"
            "polyline 351 284, 311 303, 286 247, 351 284 #696b6d w1\n"
            "polyline 249 314, 311 303, 314 351, 249 314 #696b6d w1\n"
            "polyline 249 314, 311 303, 286 247, 249 314 #696b6d w1\n");
}

// Edges are cut where they pass the planes of the depth slab, letters stand outside.
TEST(Recordings, TheCellIsBrightWithinTheSlab) {
  Scene scene;
  scene.options.showCell = true;
  scene.document.cell = {4.0, 5.0, 6.0, 90.0, 90.0, 90.0};
  ASSERT_TRUE(BuildOrthogonalisation(scene.document.cell, scene.document.matrix));
  scene.Add("N1", 0, 0, 0);
  scene.view.RotateView(30, {1, 2, 0}, true);
  scene.view.depthNear = -0.2;
  scene.view.depthFar = 0.1;
  ExpectKept("recordings", "a cell in a slab", scene.Draw());
}

// Thin lines of a net, the farther ones nearer to the colour of the ground, and its texts with their middle at the
// place.
TEST(Recordings, ANetStandsInLayers) {
  Scene scene(kBallAndStick);
  scene.Add("C1", 0, 0, 0);
  auto net = std::make_shared<DensityNet>();
  net->lines = {{{1, 0, 1}, {1, 1, 1}, NetTone::Plus},
                {{-1, 0, -1}, {-1, 1, -1}, NetTone::Minus},
                {{60, 0, 0}, {61, 0, 0}, NetTone::Plus}};
  net->texts = {{{0, 2, 0}, "0.50", NetTone::Plus}};
  scene.options.net = net;
  const std::string drawn = scene.Draw();
  EXPECT_EQ(Only(drawn, "piece"), "piece 273 299 273 326 #104c18 w1\npiece 327 299 327 326 #e34343 w1\n");
  EXPECT_LT(drawn.find("piece 273"), drawn.find("disc"));
  EXPECT_GT(drawn.find("piece 327"), drawn.rfind("disc"));
  EXPECT_EQ(Only(drawn, "text"), "text 288 358.364 left #28be3c 0.50\n");
  scene.options.mode = kWireFrame;
  EXPECT_EQ(scene.Draw(),
            "clear #000000\npiece 273 299 273 326 #104c18 w1\npiece 327 299 327 326 #e34343 w1\n"
            "piece 297 299 303 299 #a9a9a9 w1\npiece 300 296 300 302 #a9a9a9 w1\n"
            "text 288 358.364 left #28be3c 0.50\n");
}

// What lies under a point of the last picture: the nearer of two bodies, a bond where no body covers it.
TEST(Recordings, ThePictureKnowsWhatItShows) {
  Scene scene(kBallAndStick);
  scene.AddPair("C1", "O1", 0.55)->width = 0.3f;
  const AtomRecord *c = scene.document.atoms.head, *o = scene.document.atoms.tail, *q = scene.Add("Q1", 3, 0, 0);
  scene.Draw();
  const struct {
    double x, y;
    const AtomRecord* atom;
    bool bond;
  } kPoints[] = {{300, 299, c, false},      {288.5, 299, c, false},       {287.5, 299, nullptr, false},
                 {300, 310.5, c, false},    {300, 311.5, nullptr, false}, {315, 299, nullptr, true},
                 {315, 303, nullptr, true}, {315, 304.5, nullptr, false}, {330, 299, o, false},
                 {319, 299, o, false},      {218, 299, q, false},         {218, 295, q, false}};
  for (const auto& p : kPoints) {
    const FrameHit hit = scene.renderer.At({p.x, p.y}, 0.0);
    EXPECT_EQ(hit.atom, p.atom) << p.x << " " << p.y;
    EXPECT_EQ(hit.bond != nullptr, p.bond) << p.x << " " << p.y;
  }
  EXPECT_TRUE(scene.renderer.At({315, 304.5}, 1.0).bond);
  const FrameHit hit = scene.renderer.At({315, 299}, 0.0);
  EXPECT_EQ(hit.from.x + hit.to.x, 630.0);
}

}  // namespace
}  // namespace marvik::test

#include <cstdio>
#include <gtest/gtest.h>
#include <memory>
#include <tuple>

#include "draw/renderer/figure_faces.h"
#include "draw/renderer/render_frame.h"

#include "render_helpers.h"

namespace marvik::test {
namespace {

TEST(RenderScene, BallsAndTheStickBetweenThem) {
  Scene scene(kBallAndStick);
  scene.AddPair("C1", "O1", 0.55);
  // Radius 12: the outermost disc is the pixels from -12 to +9 around the atom. The stick leaves the farther ball after
  // 12 of its 42.3 pixels in space and runs to the middle of the nearer ball, which covers it.
  const std::string drawn = scene.Draw();
  EXPECT_EQ(drawn.find("clear #000000\n"
                       "disc 298.5 297.5 r 11 #727272\n"
                       "disc 298 297 r 9.5 #828282\n"
                       "disc 297 296 r 8.5 #8c8c8c\n"
                       "disc 296.5 295.5 r 7 #949494\n"
                       "disc 296 295 r 5.5 #9a9a9a\n"
                       "disc 295 294 r 4.5 #a2a2a2\n"
                       "disc 294.5 293.5 r 3 #a9a9a9\n"
                       "disc 294 293 r 1.5 #ffffff\n"
                       "line 308.514 299 330 299 #cdcd00 w3\n"
                       "line 330 299 308.514 299 #cdcd00 w1\n"
                       "disc 328.5 297.5 r 11 #790000\n"),
            0u);
  EXPECT_EQ(scene.canvas.Count("disc"), 16);
}

TEST(RenderScene, DepthOrderIsStable) {
  float last = -1e9f;
  const std::vector<float> values{0.5f, -3.0f, 1e-20f, -1e-20f, 0.0f, -0.0f, 7e5f, -7e5f, 0.5f};
  std::vector<DrawItem> items, scratch;
  for (const float z : values) items.push_back({OrderedKey(z), static_cast<uint32_t>(items.size())});
  SortItems(items, scratch);
  for (size_t i = 0; i < items.size(); ++i) {
    const float z = values[items[i].reference];
    EXPECT_GE(z, last);
    if (z == last) {
      EXPECT_GT(items[i].reference, items[i - 1].reference);
    }
    last = z;
  }
}

TEST(RenderScene, Interruption) {
  for (int mode = kWireFrame; mode <= kPipes; ++mode) {
    Scene scene(mode);
    scene.options.labels = true;
    for (int i = 0; i < 5; ++i) scene.Add("N1", 2.0 * i, 0, i);
    int asked = 0;
    scene.Draw([&] { return ++asked < 3; });
    EXPECT_EQ(scene.finished, mode == kWireFrame) << mode;
    if (mode == kBallAndStick) {
      EXPECT_EQ(scene.canvas.Count("disc"), 16);
      EXPECT_EQ(scene.canvas.Count("text"), 0);
    }
    scene.Draw([] { return false; });
    EXPECT_FALSE(scene.finished) << mode;
  }
}

TEST(RenderScene, SticksByOrderAndStyle) {
  Scene scene(kBallAndStick);
  BondRecord* bond = scene.AddPair("C1", "C2", 0.55);
  ASSERT_NE(bond, nullptr);
  const struct {
    int order;
    const char* colour;
    int lines;  // a solid stick is two of them
  } cases[] = {{kSingle, "#cdcd00", 2},
               {kDouble, "#ff9696", 4},
               {kTriple, "#ff0000", 6},
               {kAromatic, "#00ffff", 3},
               {kPi, "#ff00ff", 1}};
  for (const auto& c : cases) {
    bond->SetOrder(c.order);
    const std::string lines = Only(scene.Draw(), "line");
    EXPECT_EQ(scene.canvas.Count("line"), c.lines) << c.colour;
    EXPECT_NE(lines.find(c.colour), std::string::npos) << c.colour;
  }
  bond->SetOrder(kSingle);
  bond->SetStyle(kDotted);
  // 0.25 Å · 600 / 10 / 2 = 7.5, cut to 7 pixels; one pass.
  bond->width = 0.25f;
  EXPECT_EQ(Only(scene.Draw(), "line"), "line 308.514 299 330 299 #cdcd00 w7 dotted\n");
  bond->width = 0.001f;
  EXPECT_NE(scene.Draw().find("#cdcd00 w1 dotted"), std::string::npos);
}

TEST(RenderScene, PeaksUnknownAtomsAndSelection) {
  Scene scene(kBallAndStick);
  scene.Add("C1", 0, 0, 0.55);
  scene.Add("Q1", -1.1, 0, -0.55)->peakHeight = 2.0;
  Connect(scene.document, scene.messages);
  for (const int mode : {kBallAndStick, kThermalEllipsoid, kPipes}) {
    scene.options.mode = mode;
    const std::string drawn = scene.Draw();
    EXPECT_NE(drawn.find("#808080 w1"), std::string::npos) << mode;
    EXPECT_NE(drawn.find("polygon 330 290.6, 338.4 299, 330 307.4, 321.6 299 #ffff00 outline"), std::string::npos)
        << mode;
    EXPECT_EQ(scene.canvas.Count("arc"), 0);
  }
  scene.options.mode = kBallAndStick;
  scene.document.atoms.selection.Append(scene.document.atoms.head);
  EXPECT_EQ(Only(scene.Draw(), "arc"), "arc 300 299 p 15 0 q 0 15 from 0 to 6.283 #ff50ff w2\n");
}

TEST(RenderScene, PageBallsAndGroups) {
  Scene scene(kBallAndStick);
  scene.options.printing = true;
  scene.AddPair("C1", "O1", 0.55);
  const std::string drawn = scene.Draw();
  // 2 · 0.2 / 10 of 10160; one step is a 32nd. The last two discs are the highlight, 9 steps to the upper left.
  EXPECT_EQ(drawn.find("begin C1\ndisc 9741 13716 r 406.4 #4d4d4d\n"), 0u);
  EXPECT_NE(drawn.find("disc 9626.7 13601.7 r 50.8 #ffffff\ndisc 9626.7 13601.7 r 63.5 #ffffff\nend\n"),
            std::string::npos);
  EXPECT_NE(drawn.find("begin C1-O1\n"
                       "line 10028.368 13716 10757 13716 #3e3e00 w141.6\n"
                       "line 10028.368 13716 10757 13716 #cdcd00 w101.6\n"
                       "line 10757 13716 10028.368 13716 #cdcd00 w20.32\nend\n"),
            std::string::npos);
  EXPECT_EQ(scene.canvas.Count("disc"), 42);
}

TEST(RenderScene, OnlyWhatReachesIntoThePictureIsDrawn) {
  Scene scene(kBallAndStick);
  scene.AddPair("C1", "C2", 0.55);
  for (const auto& [pan, discs, lines] :
       {std::tuple{-305, 16, 2}, {-320, 8, 2}, {-350, 0, 0}, {295, 8, 2}, {330, 0, 0}}) {
    scene.view.panX = pan;
    scene.Draw();
    EXPECT_EQ(scene.canvas.Count("disc"), discs) << pan;
    EXPECT_EQ(scene.canvas.Count("line"), lines) << pan;
  }
}

// The part of the edge c behind the ball comes before it, the part in front after it.
TEST(RenderScene, TheCellStandsAmongTheBodies) {
  Scene deep(kBallAndStick);
  deep.options.showCell = true;
  AddAtomAt(deep.document, "N1", deep.document.matrix * Fractional{0, 0, 0.5});
  const std::string scenery = deep.Draw();
  const size_t ball = scenery.find("disc");
  EXPECT_LT(scenery.find("line"), ball);
  EXPECT_NE(scenery.find("line", ball), std::string::npos);
}

TEST(RenderScene, ContactsAreDashedBetweenTheBodiesInEveryRendition) {
  Scene scene;
  scene.options.look = Look::Paper;
  AtomRecord* a = scene.Add("H1", 1.5, 0, 0);
  AtomRecord* b = scene.Add("O1", -1.5, 0, 0);
  scene.options.contacts =
      std::make_shared<std::vector<DrawnContact>>(1, DrawnContact{a, b, ContactLine::HydrogenBond});
  // Balls of 7 and 12 pixels whose middles are 82 apart.
  for (const auto& [mode, line] : {std::pair{kWireFrame, "line 259 299 341 299 #0060aa w1.6 dashed\n"},
                                   {kBallAndStick, "line 266.039 299 328.933 299 #0060aa w1.6 dashed\n"}}) {
    scene.options.mode = mode;
    EXPECT_EQ(Only(scene.Draw(), "line"), line) << mode;
  }
  scene.options.exact = true;
  for (const int mode : {kWireFrame, kPipes}) {
    scene.options.mode = mode;
    EXPECT_NE(scene.Draw().find("begin H1...O1\nline"), std::string::npos) << mode;
  }
  b->Set(kHidden, true);
  EXPECT_EQ(Only(scene.Draw(), "line"), "");
}

TEST(RenderScene, MeasuresHaveTheirTextBesideTheBodiesInEveryRendition) {
  Scene scene;
  scene.options.look = Look::Paper;
  AtomRecord* a = scene.Add("C1", 4.0, 0, 0);
  AtomRecord* b = scene.Add("C2", 0, 0, 0);
  AtomRecord* c = scene.Add("C3", 0, 3.0, 0);
  auto marks = std::make_shared<FigureMarks>();
  const auto place = [](const AtomRecord* atom) { return FigureMarks::Place{atom->position, atom}; };
  marks->measures = {{{place(a), place(b), place(c)}, "90.00(5)°"}, {{place(a), place(c)}, "5.000(1) Å"}};
  marks->strains = {{{a, b}, 2.5}, {{c}, 0.5}};
  scene.options.marks = marks;
  for (const int mode : {kWireFrame, kBallAndStick, kThermalEllipsoid, kPipes}) {
    scene.options.mode = mode;
    const std::string drawn = scene.Draw();
    const std::string texts = Only(drawn, "text");
    EXPECT_NE(texts.find("90.00(5)°"), std::string::npos) << drawn;
    EXPECT_NE(texts.find("5.000(1) Å"), std::string::npos);
    EXPECT_TRUE(scene.renderer.Labels().empty());
    EXPECT_NE(drawn.find("#e69f00 w4\n"), std::string::npos) << "the strained distance";
    EXPECT_NE(Only(drawn, "arc").find("#0072b2 w2"), std::string::npos) << "the ring about what is kept";
  }
  // The arc begins on the one leg and ends on the other, 45 % of the shorter from the corner: 36.7 pixels of 81.5.
  scene.options.exact = true;
  const std::string arc = Only(Only(scene.Draw(), "line"), "line");
  EXPECT_NE(arc.find("line 263.305 299"), std::string::npos) << arc;
  EXPECT_NE(arc.find(" 300 335.695 "), std::string::npos) << arc;
  c->Set(kHidden, true);
  EXPECT_EQ(Only(scene.Draw(), "text"), "");
}

TEST(RenderScene, PlanesAndCentroidsStandAmongTheBodies) {
  const std::vector<Cartesian> ring{{1.4, 0, 0}, {0.7, 1.212, 0},   {-0.7, 1.212, 0}, {-1.4, 0, 0},
                                    {0, 0.2, 0}, {-0.7, -1.212, 0}, {0.7, -1.212, 0}};
  const std::vector<Cartesian> outline = PlaneOutline(ring);
  EXPECT_EQ(outline.size(), 6u) << "without the place inside";
  for (size_t i = 0; i < outline.size(); ++i)
    EXPECT_NEAR(Length(outline[i] - outline[(i + 1) % outline.size()]), 1.4, 1e-3);
  EXPECT_TRUE(PlaneOutline(std::vector<Cartesian>{{0, 0, 0}, {1, 1, 1}, {2, 2, 2}}).empty());
  Scene scene;
  scene.options.look = Look::Paper;
  AtomRecord* a = scene.Add("FE1", 0, 0, -3.0);
  auto marks = std::make_shared<FigureMarks>();
  marks->planes = {outline};
  marks->centroids = {{0, 0, 0}};
  marks->lines = {{{{0, 0, 0}}, {a->position, a}}};
  marks->measures = {{{{{0, 0, 0}}, {a->position, a}}, "3.000 Å"}};
  scene.options.marks = marks;
  scene.view.RotateView(70, {0, 1, 0}, true);
  for (const int mode : {kWireFrame, kBallAndStick, kThermalEllipsoid, kPipes}) {
    scene.options.mode = mode;
    const std::string drawn = scene.Draw();
    EXPECT_EQ(scene.canvas.Count("polyline"), 1) << mode;
    EXPECT_NE(drawn.find(" dashed\n"), std::string::npos) << mode;
    EXPECT_NE(Only(drawn, "text").find("3.000 Å"), std::string::npos) << mode;
    EXPECT_NE(Only(drawn, "ellipse").find("#005a82"), std::string::npos) << drawn;
  }
  // Seen so, the plane lies before the iron; from the other side behind it.
  scene.options.mode = kBallAndStick;
  std::string drawn = scene.Draw();
  const bool before = drawn.find("polyline") > drawn.find("disc");
  scene.view.RotateView(180, {0, 1, 0}, true);
  drawn = scene.Draw();
  EXPECT_NE(before, drawn.find("polyline") > drawn.find("disc"));
  a->Set(kHidden, true);
  EXPECT_EQ(scene.Draw().find("3.000 Å"), std::string::npos);
}

TEST(RenderScene, PaleMatesAndTaperedBonds) {
  Scene scene(kBallAndStick);
  scene.options.look = Look::Paper;
  scene.Add("C1", 0, 0, -3);
  scene.Add("O1", 0.8, 0, -4)->generated = 1;
  Connect(scene.document, scene.messages);
  const std::string full = scene.Draw();
  scene.options.figure.paleMates = true;
  const std::string pale = scene.Draw();
  EXPECT_NE(pale, full);
  EXPECT_EQ(Only(Only(pale, "disc"), "disc").substr(0, 40), Only(full, "disc").substr(0, 40));  // C1 as before
  EXPECT_NE(Only(pale, "line"), Only(full, "line"));
  // The half widths at either end of the quad, of a bond that comes toward the viewer.
  scene.options.figure.paleMates = false;
  scene.options.figure.taperedBonds = true;
  const std::string quad = Only(scene.Draw(), "polygon");
  double x[4], y[4];
  ASSERT_EQ(std::sscanf(quad.c_str(), "polygon %lf %lf, %lf %lf, %lf %lf, %lf %lf", x, y, x + 1, y + 1, x + 2, y + 2,
                        x + 3, y + 3),
            8)
      << quad;
  const double far = std::abs(y[0] - y[3]), near = std::abs(y[1] - y[2]);
  EXPECT_GT(near, far + 0.05);
  EXPECT_LT(near, 1.5 * far);
}

}  // namespace
}  // namespace marvik::test

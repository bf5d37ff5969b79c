#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <sstream>
#include <utility>

#include "crystal/symmetry.h"
#include "draw/labels/label_layout.h"
#include "draw/labels/label_placer.h"
#include "draw/labels/label_text.h"

#include "render_helpers.h"

namespace marvik::test {
namespace {

// Atoms in rows and columns with bonds between neighbours, a little out of place, and their labels.
struct Crowd {
  std::vector<LabelRequest> labels;
  std::vector<EllipseShape> bodies;
  std::vector<LabelStick> sticks;
  CanvasPoint high;

  Crowd(int side, double step, unsigned seed) : high{side * step + 20.0, side * step + 20.0} {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> off(-0.2 * step, 0.2 * step);
    for (int y = 0; y < side; ++y) {
      for (int x = 0; x < side; ++x) {
        const CanvasPoint at{(x + 0.5) * step + 10.0 + off(random), (y + 0.5) * step + 10.0 + off(random)};
        bodies.push_back({at, {6.0, 2.0}, {-1.0, 4.0}});
        LabelRequest label;
        label.size = {20.0, 9.0};
        label.body = bodies.back();
        label.importance = x % 3;
        labels.push_back(label);
        const size_t here = bodies.size() - 1;
        if (x > 0) sticks.push_back({bodies[here - 1].centre, at, 1.0, false});
        if (y > 0 && x % 2) sticks.push_back({bodies[here - static_cast<size_t>(side)].centre, at, 1.0, false});
      }
    }
  }
  const std::vector<LabelPlace>& Place(LabelPlacer& placer) const {
    return placer.Place(labels, bodies, sticks, {0, 0}, high, 2.0);
  }
  bool Meet(const LabelPlace& a, const LabelPlace& b) const {
    return std::abs(a.corner.x - b.corner.x) < 20.0 && std::abs(a.corner.y - b.corner.y) < 9.0;
  }
};

TEST(LabelPlacer, FindsClearPlacesInACrowd) {
  const Crowd crowd(12, 48.0, 3);
  LabelPlacer placer;
  const std::vector<LabelPlace> places = crowd.Place(placer);
  int unclear = 0;
  for (size_t i = 0; i < places.size(); ++i) {
    ASSERT_TRUE(places[i].shown) << i;
    unclear += !places[i].clear;
    EXPECT_GE(places[i].corner.x, 0.0);
    EXPECT_LE(places[i].corner.y, crowd.high.y);
    for (size_t j = 0; j < i; ++j) ASSERT_FALSE(crowd.Meet(places[i], places[j])) << i << " " << j;
  }
  EXPECT_LE(unclear, 2);
  // The same again, whatever the placer did before.
  Crowd(5, 30.0, 1).Place(placer);
  const auto& again = crowd.Place(placer);
  for (size_t i = 0; i < places.size(); ++i) {
    EXPECT_EQ(places[i].corner.x, again[i].corner.x);
    EXPECT_EQ(places[i].corner.y, again[i].corner.y);
  }
}

TEST(LabelPlacer, WithoutRoomWhatMattersLeastGoes) {
  Crowd crowd(16, 12.0, 7);
  for (size_t i = 0; i < crowd.labels.size(); i += 40) {
    crowd.labels[i].fixed = true;
    crowd.labels[i].corner = {crowd.bodies[i].centre.x + 3.0, crowd.bodies[i].centre.y - 3.0};
  }
  LabelPlacer placer;
  const auto& places = crowd.Place(placer);
  std::array<int, 3> shown{};
  for (size_t i = 0; i < places.size(); ++i) {
    if (crowd.labels[i].fixed) {
      EXPECT_TRUE(places[i].shown);
      EXPECT_EQ(places[i].corner.x, crowd.labels[i].corner.x) << "placed by hand";
      continue;
    }
    if (!places[i].shown) continue;
    ++shown[static_cast<size_t>(crowd.labels[i].importance)];
    for (size_t j = 0; j < i; ++j)
      ASSERT_FALSE(places[j].shown && !crowd.labels[j].fixed && crowd.Meet(places[i], places[j]));
  }
  EXPECT_GT(shown[2], shown[0]);
  EXPECT_LT(shown[0], 60);
}

TEST(LabelPlacer, BodiesAndNumbersThatAreNoneDoNoHarm) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  Crowd crowd(3, 40.0, 2);
  crowd.bodies[0] = crowd.labels[0].body = {{kNan, 1e300}, {0, 0}, {0, 0}};
  crowd.bodies[1] = crowd.labels[1].body = {{20, 20}, {1e9, 0}, {1e9, 0}};
  crowd.sticks[0] = {{kNan, kNan}, {1e300, -1e300}, 1e300, false};
  crowd.labels[2].towards = {kNan, 0.0};
  crowd.labels[3].size = {0.0, 0.0};
  LabelPlacer placer;
  EXPECT_EQ(crowd.Place(placer).size(), 9u);
  EXPECT_EQ(placer.Place({}, {}, {}, {0, 0}, {0, 0}, 2.0).size(), 0u);
}

TEST(RenderLabels, AreSetAsJournalsSetThem) {
  const auto set = [](std::string_view name, std::string_view symbol, LabelForm form, int mate) {
    const LabelText label = TypesetLabel(name, symbol, form, mate);
    std::string text;
    for (const TextRun& run : RunsOf(label.text, label.shift))
      if (!run.text.empty()) text.append(run.down > 0 ? "_" : run.down < 0 ? "^" : "").append(run.text);
    return text;
  };
  EXPECT_EQ(set("SI1", "Si", LabelForm::Plain, 0), "Si1");
  EXPECT_EQ(set("CA12", "C", LabelForm::Parentheses, 0), "CA(12)") << "of an amino acid, no calcium";
  EXPECT_EQ(set("C1'", "C", LabelForm::Plain, 4), "C1\u2032^iv");
  EXPECT_EQ(set("CL12", "Cl", LabelForm::Lowered, 1999), "Cl_12^mcmxcix");
  EXPECT_EQ(set("O", "O", LabelForm::Lowered, -1), "O");
  EXPECT_EQ(set("", "Si", LabelForm::Parentheses, 4000), "");
}

TEST(RenderLabels, MatesHaveTheNumberOfTheirOperation) {
  Scene scene(kBallAndStick);
  scene.options.look = Look::Paper;
  scene.options.labels = true;
  scene.document.symmetry = ListOperators(1, {});
  scene.Add("ZN1", 0, 0, 0);
  int code = 2556;
  for (const double x : {-3.0, 3.0}) {
    AtomRecord* mate = scene.Add("ZN1", x, 2, 0);
    mate->generated = 1;
    mate->symmetryCode = std::exchange(code, 2555);
  }
  scene.options.figure.legend = true;
  const std::string drawn = Only(scene.Draw(), "text");
  for (const char* text :
       {" Zn1\n", " Zn1i\n", " Zn1ii\n", " (i) \u2212x, \u2212y, \u2212z\n", " (ii) \u2212x, \u2212y, \u2212z+1\n"})
    EXPECT_NE(drawn.find(text), std::string::npos) << text << drawn;
  scene.options.figure.bareMates = true;
  EXPECT_EQ(Only(scene.Draw(), "text").find("Zn1i"), std::string::npos);
  scene.options.figure.bareMates = false;
  scene.options.look = Look::Classic;
  EXPECT_EQ(Only(scene.Draw(), "text").find("Zn1"), std::string::npos);
}

TEST(RenderLabels, LettersOfTheCellStandOnNoBody) {
  Scene scene(kBallAndStick);
  scene.options.look = Look::Paper;
  scene.options.showCell = true;
  scene.options.layout = true;
  for (const Fractional& corner : {Fractional{0, 0, 0}, Fractional{1, 0, 0}, Fractional{0, 1, 0}, Fractional{0, 0, 1}})
    AddAtomAt(scene.document, "BA1", scene.document.matrix * corner);
  ResetView(scene.view, scene.document);
  scene.view.RotateView(35, {1, 2, 0}, true);
  const std::string drawn = scene.Draw();
  size_t letters = 0;
  for (const char letter : {'a', 'b', 'c', 'o'}) {
    const size_t end = drawn.find(std::string(" ") + letter + "\n");
    if (end == std::string::npos) continue;
    ++letters;
    double x = 0.0, y = 0.0;
    std::istringstream place(drawn.substr(drawn.rfind("text", end) + 4));
    ASSERT_TRUE(place >> x >> y);
    // The middle of a box of 6 by 10.
    for (const FrameLayout::Body& body : scene.renderer.Layout().bodies)
      EXPECT_GT(std::hypot(x + 3 - body.shape.centre.x, y - 5 - body.shape.centre.y),
                std::hypot(body.shape.p.x, body.shape.p.y));
  }
  EXPECT_EQ(letters, 4u);
}

TEST(RenderLabels, CornersTouchTheirBodiesInEveryDirection) {
  for (int i = 0; i < 72; ++i) {
    const double angle = i * 5.0 * kRadiansPerDegree;
    const CanvasPoint body{100, 50};
    const CanvasPoint corner = LabelCorner(body, 12.0, {30, 10}, std::cos(angle), std::sin(angle));
    const double distance = std::hypot(body.x - std::clamp(body.x, corner.x, corner.x + 30),
                                       body.y - std::clamp(body.y, corner.y - 10, corner.y));
    EXPECT_GE(distance, 11.9) << i;
    EXPECT_LE(distance, 16.0) << i;
  }
}

TEST(RenderLabels, ColoursAndSwitches) {
  Scene scene;
  scene.options.labels = scene.options.hydrogenLabels = true;
  AtomRecord* carbon = scene.Add("C1", 0, 0, 0);
  scene.Add("H1", 3, 0, 0);
  scene.Add("Q1", 0, 4, 0);
  EXPECT_EQ(scene.canvas.Count("text"), 0);
  EXPECT_NE(scene.Draw().find("left #ffffff C1\n"), std::string::npos);
  EXPECT_EQ(scene.canvas.Count("text"), 3);
  scene.options.whiteBackground = true;
  EXPECT_NE(scene.Draw().find("left #000000 C1\n"), std::string::npos);
  scene.options.hybridLabelColoration = true;
  const char* colours[] = {"#969600", "#ff0000", "#963232", "#00c8c8", "#646464", "#646464"};
  for (int code = 0; code < 6; ++code) {
    carbon->SetHybridization(code);
    const std::string drawn = scene.Draw();
    EXPECT_NE(drawn.find(std::string("left ") + colours[code] + " C1\n"), std::string::npos) << code;
    EXPECT_NE(drawn.find("left #000000 Q1\n"), std::string::npos);
  }
  scene.options.hydrogenLabels = false;
  carbon->flags2 |= kLabelOff;
  EXPECT_EQ(Only(scene.Draw(), "text").find("Q1\n"), Only(scene.Draw(), "text").size() - 3);
  EXPECT_EQ(scene.canvas.Count("text"), 1);
}

TEST(RenderLabels, OffsetsCountFromTheAtom) {
  Scene scene(kBallAndStick);
  scene.options.labels = true;
  scene.options.printing = true;
  AtomRecord* atom = scene.Add("N1", -1.1, 0, 0);
  atom->labelOffsetX = 0.125f;
  atom->labelOffsetY = 0.25f;
  // Bottom left of the text, up being positive: an eighth and a quarter of 10160.
  EXPECT_EQ(Only(scene.Draw(), "text"), "text 12027 11176 left #000000 N1\n");
  scene.options.printing = false;
  EXPECT_NE(scene.Draw().find("text 367.375 224.25 left #ffffff N1\n"), std::string::npos);
  // What an automatic label says its offset is keeps it where it is.
  atom->labelOffsetX = atom->labelOffsetY = 0.0f;
  scene.Draw();
  const PlacedLabel automatic = scene.renderer.Labels().at(0);
  EXPECT_GT(std::hypot(automatic.at.x - 330.0, automatic.at.y - 299.0), 12.0);
  const CanvasPoint offset = scene.renderer.LabelOffset(*atom, scene.view);
  atom->labelOffsetX = static_cast<float>(offset.x);
  atom->labelOffsetY = static_cast<float>(offset.y);
  atom->flags2 |= kLabelPlaced;
  scene.Draw();
  EXPECT_NEAR(scene.renderer.Labels().at(0).at.x, automatic.at.x, 1e-3);
  EXPECT_NEAR(scene.renderer.Labels().at(0).at.y, automatic.at.y, 1e-3);
}

TEST(RenderLabels, StandAwayFromBonds) {
  Scene scene;
  scene.options.labels = true;
  scene.Add("C1", 0, 0, 0);
  scene.Add("C2", -1.2, 0.7, 0);
  scene.Add("C3", -1.2, -0.7, 0);
  Connect(scene.document, scene.messages);
  scene.Draw();
  EXPECT_LT(scene.renderer.Labels().at(0).at.x + scene.renderer.Labels().at(0).size.x, 300.0);
}

// A bent ribbon of rings with hydrogens about it, with as many crowded and crossing bonds as real molecules have.
void AddRibbon(Scene& scene) {
  for (int i = 0; i < 36; ++i) {
    const double along = 1.25 * (i / 2) - 11.0;
    const double bend = 0.35 * i;
    const double side = i % 2 == 0 ? 0.7 : -0.7;
    const Cartesian at{along * 0.8, 2.5 * std::sin(bend / 2.0) + side, 2.5 * std::cos(bend / 2.0)};
    scene.Add(Numbered(i % 7 == 3 ? "N" : "C", i + 1), at.x, at.y, at.z);
    if (i % 2 == 0) scene.Add(Numbered("H", i + 1), at.x, at.y + 0.5, at.z + 0.8);
  }
  Connect(scene.document, scene.messages);
}

// How far each label went on its atom since the last picture, the greatest.
double GreatestMove(Scene& scene, std::map<const AtomRecord*, CanvasPoint>& last) {
  double greatest = 0.0;
  // One that was left out may come back elsewhere.
  std::erase_if(last, [&](const auto& known) {
    return std::ranges::find(scene.renderer.Labels(), known.first, &PlacedLabel::atom) == scene.renderer.Labels().end();
  });
  for (const PlacedLabel& label : scene.renderer.Labels()) {
    const CanvasPoint now{label.at.x - label.atom->screenX, label.at.y - label.atom->screenY};
    const auto [known, fresh] = last.try_emplace(label.atom, now);
    if (!fresh) greatest = std::max(greatest, std::hypot(now.x - known->second.x, now.y - known->second.y));
    known->second = now;
  }
  return greatest;
}

TEST(RenderLabels, DoNotJumpWhileTurningAndComeToRest) {
  for (const int mode : {kWireFrame, kBallAndStick}) {
    Scene scene(mode);
    scene.options.labels = true;
    AddRibbon(scene);
    std::map<const AtomRecord*, CanvasPoint> last;
    double jump = 0.0;
    double glide = 0.0;
    for (const bool steady : {false, true}) {
      scene.options.steadyLabels = steady;
      last.clear();
      for (int i = 0; i < 120; ++i) {
        scene.view.RotateView(1.0, {0.3, 1, 0.2}, true);
        scene.Draw();
        double& greatest = steady ? glide : jump;
        greatest = std::max(greatest, GreatestMove(scene, last));
      }
    }
    EXPECT_GT(jump, 25.0) << mode;
    EXPECT_LT(glide, 20.0) << mode;
    // At rest the picture is the one that a fresh renderer draws.
    int frames = 0;
    while (!scene.renderer.LabelsSettled() && ++frames < 50) {
      scene.Draw();
      EXPECT_LT(GreatestMove(scene, last), 20.0);
    }
    const std::string settled = scene.Draw();
    EXPECT_TRUE(scene.renderer.LabelsSettled());
    scene.options.steadyLabels = false;
    EXPECT_EQ(settled, scene.Draw());
  }
}

}  // namespace
}  // namespace marvik::test

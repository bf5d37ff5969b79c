#include <gtest/gtest.h>
#include <map>
#include <random>

#include "draw/labels/label_layout.h"

#include "render_helpers.h"

namespace marvik::test {
namespace {

struct Box {
  double left, top, right, bottom;
};
Box BoxOf(const LabelBox& l) {
  return {l.corner.x, l.corner.y - l.size.y, l.corner.x + l.size.x, l.corner.y};
}
double Shared(const LabelBox& first, const LabelBox& second) {
  const Box a = BoxOf(first);
  const Box b = BoxOf(second);
  const double w = std::min(a.right, b.right) - std::max(a.left, b.left);
  const double h = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
  return w > 0.0 && h > 0.0 ? w * h : 0.0;
}
double DistanceToBody(const LabelBox& l) {
  const Box b = BoxOf(l);
  return std::hypot(l.body.x - std::clamp(l.body.x, b.left, b.right), l.body.y - std::clamp(l.body.y, b.top, b.bottom));
}

std::vector<LabelBox> Crowd(size_t count, double side, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> place(0.0, side);
  std::vector<LabelBox> labels(count);
  for (LabelBox& l : labels) {
    l.body = {place(random), place(random)};
    l.size = {24.0, 10.0};
    l.bodyRadius = 8.0;
    l.corner = LabelCorner(l.body, l.bodyRadius, l.size, 1.0, -1.0);
  }
  return labels;
}

TEST(RenderLabels, CornersTouchTheirBodiesInEveryDirection) {
  for (int i = 0; i < 72; ++i) {
    const double angle = i * 5.0 * kRadiansPerDegree;
    LabelBox l{{}, {30, 10}, {100, 50}, 12.0, false};
    l.corner = LabelCorner(l.body, l.bodyRadius, l.size, std::cos(angle), std::sin(angle));
    EXPECT_GE(DistanceToBody(l), 11.9) << i;
    EXPECT_LE(DistanceToBody(l), 16.0) << i;
  }
}

TEST(RenderLabels, SpreadingPartsOverlapsByLittleMoves) {
  auto labels = Crowd(60, 400.0, 5);
  const auto before = labels;
  const auto overlap = [](const std::vector<LabelBox>& all) {
    double sum = 0.0;
    for (size_t i = 0; i < all.size(); ++i)
      for (size_t j = 0; j < i; ++j) sum += Shared(all[i], all[j]);
    return sum;
  };
  LabelSpreader spreader;
  spreader.Spread(labels);
  EXPECT_GT(overlap(before), 400.0);
  EXPECT_LT(overlap(labels), 0.15 * overlap(before));
  for (size_t i = 0; i < labels.size(); ++i) {
    EXPECT_GE(DistanceToBody(labels[i]), 7.0) << i;
    EXPECT_LE(std::hypot(labels[i].corner.x - before[i].corner.x, labels[i].corner.y - before[i].corner.y), 26.0) << i;
  }
}

TEST(RenderLabels, LabelsPlacedByHandStay) {
  auto labels = Crowd(40, 150.0, 9);
  for (size_t i = 0; i < labels.size(); i += 3) labels[i].fixed = true;
  const auto before = labels;
  LabelSpreader().Spread(labels);
  for (size_t i = 0; i < labels.size(); i += 3) {
    EXPECT_EQ(labels[i].corner.x, before[i].corner.x);
    EXPECT_EQ(labels[i].corner.y, before[i].corner.y);
  }
}

TEST(RenderLabels, ColoursAndSwitches) {
  Scene scene;
  scene.options.labels = true;
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

// The label stands on the side that has no bonds, and glides when the model turns a little.
TEST(RenderLabels, AwayFromBondsAndSteady) {
  Scene scene;
  scene.options.labels = true;
  scene.Add("C1", 0, 0, 0);
  scene.Add("C2", -1.2, 0.7, 0);
  scene.Add("C3", -1.2, -0.7, 0);
  Connect(scene.document, scene.messages);
  scene.Draw();
  EXPECT_LT(scene.renderer.Labels().at(0).at.x + scene.renderer.Labels().at(0).size.x, 300.0);
  CanvasPoint last = scene.renderer.Labels().at(0).at;
  for (int i = 0; i < 30; ++i) {
    scene.view.rotateView(1.0, {0, 1, 0}, true);
    scene.Draw();
    const CanvasPoint now = scene.renderer.Labels().at(0).at;
    EXPECT_LT(std::hypot(now.x - last.x, now.y - last.y), 3.0) << i;
    last = now;
  }
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
        scene.view.rotateView(1.0, {0.3, 1, 0.2}, true);
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

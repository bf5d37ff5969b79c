#include "app/export_output.h"

#include "app/bench_fixture.h"

namespace marvik {
namespace {

using test::BenchTest;

constexpr const char* kNames[] = {"x.pdb", "x.CT", "x.inp", "x.wrl", "x.con", "x.glb"};

TEST_F(BenchTest, ExportsGoByTheExtensionAndLeaveTheFileAlone) {
  ASSERT_TRUE(Open());
  EXPECT_EQ(Run(102, folder / "x.Wrl"), Outcome::Failed);
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.shown[0].text,
            "VRML structure display is currently implemented only for\n"
            "Ball and Stick models and Thermal Ellipsoid models.");
  EXPECT_EQ(Captions(), "Invalid Display Choice");
  bench.RenditionMode = kThermalEllipsoid;
  for (const char* name : kNames) {
    EXPECT_EQ(Run(102, folder / name), Outcome::Failed) << name;
    EXPECT_EQ(Captions(), "Error: Found Atom of Type Q") << name;
    EXPECT_FALSE(folder.Has(name));
  }
  Run(203);
  std::vector<std::string> queries;
  bench.hooks.startConQuest = [&](const std::string& path) { queries.push_back(path); };
  constexpr const char* kBegins[] = {"COMPND  x.pdb ",    "small\n6 4\n",   "FIELDS LAB TYP COO TFU\n",
                                     "#VRML V2.0 utf8\n", "T1 *CONN\nAT1 ", "glTF\x02"};
  for (size_t i = 0; i < std::size(kNames); ++i) {
    EXPECT_EQ(Run(102, folder / kNames[i]), Outcome::Done) << kNames[i];
    EXPECT_TRUE(folder.Get(kNames[i]).starts_with(kBegins[i])) << folder.Get(kNames[i]).substr(0, 60);
    EXPECT_EQ(Run(102, folder / "no/such/" + kNames[i]), Outcome::Failed);
    EXPECT_EQ(Captions(), "Error: File I/O");
  }
  EXPECT_EQ(queries, std::vector<std::string>{folder / "x.con"});
  EXPECT_EQ(bench.Title(), "small.res");
  EXPECT_TRUE(bench.modified);
}

TEST_F(BenchTest, ScenesAreSeenAsInTheWindow) {
  ASSERT_TRUE(Open());
  ViewState& view = bench.view;
  view.RotateView(40, {1, 0.3, -0.2}, true);
  view.RotateView(-75, {0, 1, 0}, true);
  view.panX = 30;
  view.panY = -50;
  const SceneView scene = ViewOfScene(view);
  EXPECT_NEAR(Determinant(scene.rotation), 1.0, 1e-6);
  for (const AtomRecord* atom : Atoms(bench.document.atoms)) {
    const ViewPoint window = view.TransformPoint(atom->position - view.viewCentre).p;
    const ScenePoint seen = scene.rotation * (SceneFrame(atom->position) - scene.centre) / scene.halfExtent;
    EXPECT_NEAR(seen.x, window.x + 30 / (view.drawingSize / 2), 1e-6);
    EXPECT_NEAR(seen.y, window.y + 50 / (view.drawingSize / 2), 1e-6);
    EXPECT_NEAR(seen.z, window.z, 1e-6);
  }
}

}  // namespace
}  // namespace marvik

#include <gtest/gtest.h>

#include "files/export/export_fixture.h"
#include "files/export/vrml.h"

#if defined(MARVIK_WITH_COIN)

#include <Inventor/SoDB.h>
#include <Inventor/SoFullPath.h>
#include <Inventor/SoInput.h>
#include <Inventor/VRMLnodes/SoVRML.h>
#include <Inventor/VRMLnodes/SoVRMLBillboard.h>
#include <Inventor/VRMLnodes/SoVRMLGroup.h>
#include <Inventor/VRMLnodes/SoVRMLText.h>
#include <Inventor/VRMLnodes/SoVRMLTransform.h>
#include <Inventor/VRMLnodes/SoVRMLViewpoint.h>
#include <Inventor/actions/SoGetMatrixAction.h>
#include <Inventor/actions/SoSearchAction.h>
#include <map>

namespace marvik::test {
namespace {

// A world as another reader finds it. `errors` counts what it complained about.
class VrmlWorld {
 public:
  explicit VrmlWorld(const std::string& text) {
    static bool isInitialised = false;
    if (!isInitialised) SoDB::init();
    isInitialised = true;
    SoInput input;
    input.setBuffer(text.data(), text.size());
    root = SoDB::readAllVRML(&input);
    if (root) root->ref();
  }
  ~VrmlWorld() {
    if (root) root->unref();
  }

  template <class Visit>
  void ForEach(SoType type, Visit visit) const {
    SoSearchAction search;
    search.setType(type);
    search.setInterest(SoSearchAction::ALL);
    search.apply(root);
    for (int i = 0; i < search.getPaths().getLength(); ++i) visit(search.getPaths()[i]);
  }

  SoVRMLGroup* root = nullptr;
};

// What stands in a field of a node, not in its list of children, is only on the full path. Reading it by a cast to a
// class that the path is not of is that library's own documented way.
template <class Node>
__attribute__((no_sanitize("vptr"))) Node* TailOf(SoPath* path) {
  return static_cast<Node*>(static_cast<SoFullPath*>(path)->getTail());
}

ScenePoint PlaceOf(const SbVec3f& v) {
  return {v[0], v[1], v[2]};
}

TEST_F(ExportTest, AnotherReaderFindsTheSceneInTheVrml) {
  SceneOptions options;
  options.ellipsoids = true;
  options.view.centre = {3.0, 4.0, 5.0};
  options.view.halfExtent = 6.0;
  // Looking along -x with z up.
  options.view.rotation = {{{{0, 1, 0}, {0, 0, 1}, {1, 0, 0}}}};
  const VrmlWorld world(*ComposeVrml(document, options, messages));
  ASSERT_TRUE(world.root);
  std::map<std::string, ScenePoint> places;
  world.ForEach(SoVRMLTransform::getClassTypeId(), [&](SoPath* path) {
    auto* transform = TailOf<SoVRMLTransform>(path);
    const std::string name = transform->getName().getString();
    if (name.starts_with('A')) places[name.substr(name.find('_') + 1)] = PlaceOf(transform->translation.getValue());
  });
  ASSERT_EQ(places.size(), 6u);
  for (const AtomRecord* atom : Atoms(document.atoms))
    EXPECT_LT(Length(places.at(atom->name) - SceneFrame(atom->position)), 1.5e-4) << atom->name;
  const double inCell = Handedness(Atom("C1")->fract, Atom("N1")->fract, Atom("O1")->fract, Atom("Cl1")->fract);
  EXPECT_GT(Handedness(places["C1"], places["N1"], places["O1"], places["Cl1"]) * inCell, 0.0);

  size_t bonds = 0;
  world.ForEach(SoVRMLGroup::getClassTypeId(), [&](SoPath* path) {
    auto* group = TailOf<SoVRMLGroup>(path);
    const std::string name = group->getName().getString();
    if (!name.starts_with('B') || name == "Bands") return;
    ++bonds;
    const size_t second = name.rfind('_');
    const size_t first = name.find('_');
    const ScenePoint from = places.at(name.substr(first + 1, second - first - 1));
    const ScenePoint to = places.at(name.substr(second + 1));
    ASSERT_EQ(group->getNumChildren(), 2);
    for (int i = 0; i < 2; ++i) {
      // The far end of the unit cylinder, in place, is the atom itself or the middle of the bond.
      SoGetMatrixAction action(SbViewportRegion(100, 100));
      action.apply(group->getChild(i));
      SbVec3f low, high;
      action.getMatrix().multVecMatrix(SbVec3f(0, -0.5f, 0), low);
      action.getMatrix().multVecMatrix(SbVec3f(0, 0.5f, 0), high);
      const ScenePoint middle = (from + to) / 2.0;
      EXPECT_LT(Length(PlaceOf(low) - (i == 0 ? from : middle)), 5e-4) << name;
      EXPECT_LT(Length(PlaceOf(high) - (i == 0 ? middle : to)), 5e-4) << name;
    }
  });
  EXPECT_EQ(bonds, 4u);

  size_t labels = 0;
  world.ForEach(SoVRMLBillboard::getClassTypeId(), [&](SoPath*) { ++labels; });
  EXPECT_EQ(labels, 6u);
  world.ForEach(SoVRMLText::getClassTypeId(),
                [&](SoPath* path) { EXPECT_TRUE(places.contains(TailOf<SoVRMLText>(path)->string[0].getString())); });
  size_t viewpoints = 0;
  world.ForEach(SoVRMLViewpoint::getClassTypeId(), [&](SoPath* path) {
    ++viewpoints;
    auto* viewpoint = TailOf<SoVRMLViewpoint>(path);
    const ScenePoint away = PlaceOf(viewpoint->position.getValue()) - options.view.centre;
    EXPECT_NEAR(away.x * std::tan(viewpoint->fieldOfView.getValue() / 2.0), 6.0, 1e-3);
    EXPECT_LT(std::fabs(away.y) + std::fabs(away.z), 1e-4);
    SbVec3f up, toward;
    viewpoint->orientation.getValue().multVec(SbVec3f(0, 1, 0), up);
    viewpoint->orientation.getValue().multVec(SbVec3f(0, 0, 1), toward);
    EXPECT_LT(Length(PlaceOf(up) - ScenePoint{0, 0, 1}), 1e-3);
    EXPECT_LT(Length(PlaceOf(toward) - ScenePoint{1, 0, 0}), 1e-3);
  });
  EXPECT_EQ(viewpoints, 1u);
}

TEST_F(ExportTest, AnotherReaderTakesOddLabelsAndEmptyScenes) {
  Atom("O2")->name = "a \"b\\\xFF'#{}";
  const VrmlWorld odd(*ComposeVrml(document, {}, messages));
  ASSERT_TRUE(odd.root);
  bool found = false;
  odd.ForEach(SoVRMLText::getClassTypeId(),
              [&](SoPath* path) { found = found || TailOf<SoVRMLText>(path)->string[0] == "a \"b\\?'#{}"; });
  EXPECT_TRUE(found);
  for (AtomRecord* atom : Atoms(document.atoms)) atom->Set(kHidden, true);
  EXPECT_TRUE(VrmlWorld(*ComposeVrml(document, {}, messages)).root);
}

}  // namespace
}  // namespace marvik::test

#else

namespace marvik::test {

TEST_F(ExportTest, AnotherReaderFindsTheSceneInTheVrml) {
  GTEST_SKIP() << "libcoin-dev is not installed";
}

}  // namespace marvik::test

#endif

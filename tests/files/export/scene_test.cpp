#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <nlohmann/json.hpp>
#include <numbers>

#include "base/numbers.h"
#include "files/export/export_fixture.h"
#include "files/export/gltf.h"
#include "files/export/gltf_shapes.h"
#include "files/export/vrml.h"
#include "model/placement.h"

#if __has_include(<assimp/Importer.hpp>) && defined(MARVIK_WITH_ASSIMP)
#include <assimp/Importer.hpp>
#include <assimp/scene.h>
#endif

namespace marvik::test {
namespace {

// A view turned about all axes, seen from a corner.
SceneView TurnedView() {
  SceneView view;
  const double c = std::cos(0.5), s = std::sin(0.5);
  const Mat3 aboutX{{{{1, 0, 0}, {0, c, -s}, {0, s, c}}}};
  const Mat3 aboutZ{{{{c, -s, 0}, {s, c, 0}, {0, 0, 1}}}};
  view.rotation = aboutX * aboutZ;
  view.centre = {3.0, 4.0, 5.0};
  view.halfExtent = 6.0;
  return view;
}

void ExpectSame(const Mat3& a, const Mat3& b, double tolerance = 1e-12) {
  for (int i = 0; i < 3; ++i)
    for (size_t j = 0; j < 3; ++j) EXPECT_NEAR(a[i][j], b[i][j], tolerance);
}

// Of a unit quaternion, and of an axis with its angle, the rotation matrix as the textbooks have it.
Mat3 MatrixOf(const std::array<double, 4>& q) {
  const auto [x, y, z, w] = q;
  return {{{{1 - 2 * (y * y + z * z), 2 * (x * y - z * w), 2 * (x * z + y * w)},
            {2 * (x * y + z * w), 1 - 2 * (x * x + z * z), 2 * (y * z - x * w)},
            {2 * (x * z - y * w), 2 * (y * z + x * w), 1 - 2 * (x * x + y * y)}}}};
}

TEST(SceneTurns, MatrixQuaternionAndAxisAgree) {
  for (int n = 0; n < 64; ++n) {
    // All corners of the case distinction: half turns, none, and between.
    const std::array<double, 4> raw{n % 4 - 1.0, n / 4 % 4 - 1.0, n / 16 - 1.0, n % 3 * 0.7};
    const double length = std::hypot(std::hypot(raw[0], raw[1]), std::hypot(raw[2], raw[3]));
    if (length == 0.0) continue;
    const Mat3 turn = MatrixOf({raw[0] / length, raw[1] / length, raw[2] / length, raw[3] / length});
    ExpectSame(MatrixOf(QuaternionOf(turn)), turn);
    const AxisAngle r = AxisAngleOf(turn);
    const double s = std::sin(r.angle / 2);
    ExpectSame(MatrixOf({r.axis.x * s, r.axis.y * s, r.axis.z * s, std::cos(r.angle / 2)}), turn);
    const ScenePoint y{turn[0][1], turn[1][1], turn[2][1]};
    const Mat3 fromY = TurnFromY(y * 2.5);
    EXPECT_NEAR(Determinant(fromY), 1.0, 1e-12);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(fromY[i][1], y[i], 1e-12);
  }
}

TEST(SceneShapes, AreClosedAndFaceOutward) {
  const struct {
    TriangleMesh mesh;
    double volume;
  } shapes[] = {{SphereMesh(), 4.0 / 3.0 * std::numbers::pi}, {CylinderMesh(), std::numbers::pi}, {BoxMesh(), 8.0}};
  for (const auto& [mesh, volume] : shapes) {
    const auto at = [](const std::array<float, 3>& p) { return ScenePoint{p[0], p[1], p[2]}; };
    double sum = 0.0;
    std::map<std::array<long, 6>, int> edges;
    for (size_t i = 0; i < mesh.indices.size(); i += 3) {
      const uint16_t* corner = &mesh.indices[i];
      ScenePoint p[3];
      for (size_t k = 0; k < 3; ++k) p[k] = at(mesh.positions.at(corner[k]));
      const ScenePoint normal = Cross(p[1] - p[0], p[2] - p[0]);
      sum += Dot(normal, p[0]) / 6.0;
      for (size_t k = 0; k < 3; ++k) {
        EXPECT_GE(Dot(normal, at(mesh.normals.at(corner[k]))), 0.9 * Length(normal));
        const ScenePoint from = p[k] * 1e4, to = p[(k + 1) % 3] * 1e4;
        const std::array<long, 3> a{lround(from.x), lround(from.y), lround(from.z)};
        const std::array<long, 3> b{lround(to.x), lround(to.y), lround(to.z)};
        if (a != b)
          edges[{std::min(a, b)[0], std::min(a, b)[1], std::min(a, b)[2], std::max(a, b)[0], std::max(a, b)[1],
                 std::max(a, b)[2]}] += a < b ? 1 : -1;
      }
    }
    EXPECT_NEAR(sum, volume, 0.06 * volume);
    for (const auto& [edge, open] : edges) EXPECT_EQ(open, 0);
  }
}

TEST_F(ExportTest, SceneHasTheWindowsSizes) {
  SceneOptions options;
  options.ellipsoids = true;
  options.hydrogenLabels = false;
  Atom("Cl1")->flags2 |= kLabelOff;
  document.atoms.FindBond(Atom("C1"), Atom("N1"))->SetStyle(kDashed);
  const auto scene = BuildScene(document, options, messages);
  ASSERT_TRUE(scene);
  ASSERT_EQ(scene->atoms.size(), 6u);
  ASSERT_EQ(scene->bonds.size(), 4u);
  const SceneAtom& carbon = scene->atoms[0];
  EXPECT_EQ(carbon.shape, SceneShape::Ellipsoid);
  EXPECT_EQ(scene->atoms[1].shape, SceneShape::Ball);
  EXPECT_EQ(scene->atoms[2].shape, SceneShape::Box) << "not positive definite";
  EXPECT_DOUBLE_EQ(scene->atoms[1].halfAxes[0], 2.2 * 0.2);
  std::string labelled;
  for (const SceneAtom& atom : scene->atoms) labelled += atom.isLabelled ? atom.atom->name : "-";
  EXPECT_EQ(labelled, "C1N1O1--O2");
  // A·diag(h²)·Aᵀ is the tensor of the model, Z negated, times the square of the scale.
  EXPECT_NEAR(Determinant(carbon.axes), 1.0, 1e-9);
  const auto& h = carbon.halfAxes;
  const Mat3 tensor = carbon.axes * Mat3::Diagonal(h[0] * h[0], h[1] * h[1], h[2] * h[2]) * Transposed(carbon.axes);
  const Mat3 mirror = Mat3::Diagonal(1, 1, -1);
  Mat3 expected = mirror * CartesianTensor(*Atom("C1"), document.cell, document.matrix) * mirror;
  for (auto& row : expected.m)
    for (double& element : row) element *= 1.53817 * 1.53817;
  ExpectSame(tensor, expected, 1e-5);
  for (const SceneBond& bond : scene->bonds) {
    const bool dashed = bond.atom->name == "N1" || bond.partner->name == "N1";
    EXPECT_EQ(bond.sticks.size(), dashed ? 6u : 2u);
    EXPECT_NEAR(bond.radius, 0.055, 1e-8);
    double length = 0.0;
    for (const SceneStick& stick : bond.sticks) length += Length(stick.to - stick.from);
    EXPECT_NEAR(length, (dashed ? 0.6 : 1.0) * Length(bond.partner->position - bond.atom->position), 1e-9);
    EXPECT_EQ(bond.sticks.front().row, bond.atom->element->atomicNumber);
    EXPECT_EQ(bond.sticks.back().row, bond.partner->element->atomicNumber);
  }
}

TEST_F(ExportTest, ScenesRefusePeaksAndTakeOddLabels) {
  Atom("O2")->name = "Q2";
  EXPECT_FALSE(ComposeVrml(document, {}, messages));
  EXPECT_FALSE(ComposeGlb(document, {}, messages));
  ASSERT_EQ(messages.shown.size(), 2u);
  EXPECT_EQ(messages.shown[1].caption, "Error: Found Atom of Type Q");
  Atom("Q2")->name = "a \"b\\\xC3\xA5\xFF\x01";
  const std::string vrml = *ComposeVrml(document, {}, messages);
  EXPECT_NE(vrml.find("DEF A6_a__b_____ Transform"), std::string::npos) << vrml;
  EXPECT_NE(vrml.find("string \"a \\\"b\\\\\xC3\xA5??\""), std::string::npos) << vrml;
  EXPECT_NE(ComposeGlb(document, {}, messages)->find("\"name\":\"a \\\"b\\\\\xC3\xA5??\""), std::string::npos);
  for (AtomRecord* atom : Atoms(document.atoms)) atom->Set(kHidden, true);
  EXPECT_TRUE(ComposeVrml(document, {}, messages)->starts_with("#VRML V2.0 utf8\n"));
  EXPECT_TRUE(ComposeGlb(document, {}, messages)->starts_with("glTF"));
}

// As the format's text has it: lengths, alignment, and the bounds of each accessor of places.
TEST_F(ExportTest, TheGlbKeepsToItsFormat) {
  SceneOptions options;
  options.ellipsoids = true;
  const std::string glb = *ComposeGlb(document, options, messages);
  const auto word = [&](size_t at) {
    uint32_t value = 0;
    std::memcpy(&value, glb.data() + at, sizeof value);
    return value;
  };
  EXPECT_EQ(word(4), 2u);
  EXPECT_EQ(word(8), glb.size());
  const uint32_t jsonLength = word(12), binaryLength = word(20 + jsonLength);
  EXPECT_EQ(jsonLength % 4, 0u);
  EXPECT_EQ(28 + jsonLength + binaryLength, glb.size());
  const auto json = nlohmann::json::parse(glb.substr(20, jsonLength));
  EXPECT_EQ(json["buffers"][0]["byteLength"], binaryLength);
  size_t end = 0, bounded = 0;
  for (const auto& view : json["bufferViews"]) {
    const size_t start = view["byteOffset"];
    EXPECT_EQ(start % 4, 0u);
    EXPECT_GE(start, end);
    EXPECT_LT(start, end + 4) << "no gap but for the alignment";
    end = start + view["byteLength"].get<size_t>();
    EXPECT_LE(end, binaryLength);
  }
  for (const auto& accessor : json["accessors"]) {
    const auto& view = json["bufferViews"].at(accessor["bufferView"].get<size_t>());
    const bool isPlace = accessor["type"] == "VEC3";
    EXPECT_EQ(accessor["count"].get<size_t>() * (isPlace ? 12 : 2), view["byteLength"]);
    if (!accessor.contains("min")) continue;
    ++bounded;
    std::vector<float> values(3 * accessor["count"].get<size_t>());
    std::memcpy(values.data(), glb.data() + 28 + jsonLength + view["byteOffset"].get<size_t>(), 4 * values.size());
    for (size_t i = 0; i < 3; ++i) {
      float low = values[i], high = values[i];
      for (size_t n = i; n < values.size(); n += 3) low = std::min(low, values[n]), high = std::max(high, values[n]);
      EXPECT_EQ(accessor["min"][i].get<float>(), low);
      EXPECT_EQ(accessor["max"][i].get<float>(), high);
    }
  }
  EXPECT_GE(bounded, 3u);
  for (const auto& mesh : json["meshes"])
    for (const auto& part : mesh["primitives"]) {
      const auto count = [&](const char* name) {
        return json["accessors"].at(part["attributes"][name].get<size_t>())["count"].get<size_t>();
      };
      EXPECT_EQ(count("POSITION"), count("NORMAL"));
    }
}

#if defined(MARVIK_WITH_ASSIMP)

// The world matrix of every node by name.
void CollectNodes(const aiNode* node, const aiMatrix4x4& above, std::multimap<std::string, aiMatrix4x4>& nodes,
                  std::map<std::string, const aiNode*>& byName) {
  const aiMatrix4x4 world = above * node->mTransformation;
  nodes.emplace(node->mName.C_Str(), world);
  byName[node->mName.C_Str()] = node;
  for (unsigned i = 0; i < node->mNumChildren; ++i) CollectNodes(node->mChildren[i], world, nodes, byName);
}

ScenePoint PlaceOf(const aiMatrix4x4& m) {
  return {m.a4, m.b4, m.c4};
}

TEST_F(ExportTest, AnotherReaderFindsTheSceneInTheGlb) {
  SceneOptions options;
  options.ellipsoids = true;
  options.view = TurnedView();
  const std::string glb = *ComposeGlb(document, options, messages);
  Assimp::Importer importer;
  const aiScene* scene = importer.ReadFileFromMemory(glb.data(), glb.size(), 0, "glb");
  ASSERT_TRUE(scene) << importer.GetErrorString();
  std::multimap<std::string, aiMatrix4x4> nodes;
  std::map<std::string, const aiNode*> byName;
  CollectNodes(scene->mRootNode, aiMatrix4x4(), nodes, byName);
  std::map<std::string, ScenePoint> places;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    ASSERT_EQ(nodes.count(atom->name), 1u) << atom->name;
    const ScenePoint seen = PlaceOf(nodes.find(atom->name)->second);
    const ScenePoint expected = options.view.rotation * (SceneFrame(atom->position) - options.view.centre);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(seen[i], expected[i], 1e-4) << atom->name;
    places[atom->name] = seen;
  }
  size_t bonds = 0;
  for (const auto& [name, node] : byName) {
    if (name.find('-') == std::string::npos || node->mNumChildren != 2) continue;
    ++bonds;
    const ScenePoint ends = places.at(name.substr(0, name.find('-'))) + places.at(name.substr(name.find('-') + 1));
    ScenePoint middle;
    for (unsigned i = 0; i < 2; ++i)
      middle += PlaceOf(nodes.find(name)->second * node->mChildren[i]->mTransformation) / 2.0;
    EXPECT_LT(Length(middle - ends / 2.0), 1e-4) << name;
  }
  EXPECT_EQ(bonds, 4u);
  const double inCell = Handedness(Atom("C1")->fract, Atom("N1")->fract, Atom("O1")->fract, Atom("Cl1")->fract);
  EXPECT_GT(Handedness(places["C1"], places["N1"], places["O1"], places["Cl1"]) * inCell, 0.0);
  // Triangles wind counter-clockwise seen from where their normals point.
  for (unsigned m = 0; m < scene->mNumMeshes; ++m) {
    const aiMesh* mesh = scene->mMeshes[m];
    for (unsigned f = 0; f < mesh->mNumFaces; ++f) {
      const unsigned* corner = mesh->mFaces[f].mIndices;
      const aiVector3D a = mesh->mVertices[corner[0]];
      const aiVector3D across = (mesh->mVertices[corner[1]] - a) ^ (mesh->mVertices[corner[2]] - a);
      if (across.Length() < 1e-7f) continue;  // at a pole
      EXPECT_GT(across * (mesh->mNormals[corner[0]] + mesh->mNormals[corner[2]]), 0.0f) << m << " " << f;
    }
  }
  ASSERT_EQ(scene->mNumCameras, 1u);
  EXPECT_NEAR(scene->mCameras[0]->mOrthographicWidth, 6.0, 1e-5);
}

#else

TEST_F(ExportTest, AnotherReaderFindsTheSceneInTheGlb) {
  GTEST_SKIP() << "libassimp-dev is not installed";
}

#endif

}  // namespace
}  // namespace marvik::test

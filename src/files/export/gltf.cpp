#include "files/export/gltf.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>

#include "base/numbers.h"
#include "files/export/gltf_shapes.h"

namespace marvik {

namespace {

// Numbers of the format.
constexpr int kFloatType = 5126;
constexpr int kShortType = 5123;
constexpr int kVertexTarget = 34962;
constexpr int kIndexTarget = 34963;
constexpr uint32_t kMagic = 0x46546C67;
constexpr uint32_t kJsonChunk = 0x4E4F534A;
constexpr uint32_t kBinaryChunk = 0x004E4942;

enum Shape { kSphere, kBox, kCylinder, kBands };
enum MeshKind { kBallMesh, kEllipsoidMesh, kBoxMesh, kStickMesh };
constexpr int kBandMaterial = -1;

template <class Unsigned>
void AppendLittleEndian(std::string& out, Unsigned value) {
  for (size_t i = 0; i < sizeof value; ++i) out += static_cast<char>(value >> (8 * i) & 255u);
}

void PadTo4(std::string& out, char with) {
  while (out.size() % 4 != 0) out += with;
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : Utf8Text(text)) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "\"";
}

template <class Values>
std::string Array(const Values& values) {
  std::string text = "[";
  for (const double value : values) text.append(text.size() > 1 ? "," : "").append(Printf("%.7g", value));
  return text + "]";
}

std::array<double, 3> Triplet(const ScenePoint& p) {
  return {p.x, p.y, p.z};
}

// Colours are given in linear light.
double Linear(int channel) {
  const double c = channel / 255.0;
  return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

// A list of JSON objects that are referred to by their place.
class JsonList {
 public:
  int Add(const std::string& object) {
    text_.append(count_ > 0 ? ",\n" : "").append(object);
    return count_++;
  }
  const std::string& Text() const { return text_; }
  bool Empty() const { return count_ == 0; }

 private:
  std::string text_;
  int count_ = 0;
};

class GlbWriter {
 public:
  GlbWriter(const Document& document, const Scene& scene, const SceneView& view)
      : document_(document), scene_(scene), view_(view) {}

  std::string Write() {
    std::string children;
    for (const SceneAtom& atom : scene_.atoms) AppendIndex(children, AtomNode(atom));
    for (const SceneBond& bond : scene_.bonds) AppendIndex(children, BondNode(bond));
    const int structure = nodes_.Add("{\"name\":\"structure\",\"rotation\":" + Array(QuaternionOf(view_.rotation)) +
                                     ",\"translation\":" + Array(Triplet(view_.rotation * view_.centre * -1.0)) +
                                     (children.empty() ? "" : ",\"children\":[" + children + "]") + "}");
    const double away = 10.0 * view_.halfExtent;
    const int camera = nodes_.Add(
        "{\"name\":\"window\",\"camera\":0,\"translation\":" + Array(std::array<double, 3>{0.0, 0.0, away}) + "}");
    std::string json =
        "{\"asset\":{\"version\":\"2.0\",\"generator\":\"Marvik\"},\"scene\":0,\n\"scenes\":[{\"name\":" +
        Quoted(document_.instructions.title) + ",\"nodes\":[" + std::to_string(structure) + "," +
        std::to_string(camera) + "]}],\n\"cameras\":[{\"type\":\"orthographic\",\"orthographic\":" +
        Printf("{\"xmag\":%.7g,\"ymag\":%.7g,\"znear\":%.7g,\"zfar\":%.7g}}]", view_.halfExtent, view_.halfExtent,
               0.01 * away, 2.0 * away);
    AppendList(json, "nodes", nodes_);
    AppendList(json, "meshes", meshes_);
    AppendList(json, "materials", materials_);
    AppendList(json, "accessors", accessors_);
    AppendList(json, "bufferViews", views_);
    if (!binary_.empty()) json += ",\n\"buffers\":[{\"byteLength\":" + std::to_string(binary_.size()) + "}]";
    return Container(json + "}");
  }

 private:
  static void AppendIndex(std::string& list, int index) {
    list.append(list.empty() ? "" : ",").append(std::to_string(index));
  }

  static void AppendList(std::string& json, const char* name, const JsonList& list) {
    if (!list.Empty()) json.append(",\n\"").append(name).append("\":[\n").append(list.Text()).append("]");
  }

  std::string Container(std::string json) {
    PadTo4(json, ' ');
    PadTo4(binary_, '\0');
    const size_t binary = binary_.empty() ? 0 : binary_.size() + 8;
    std::string file;
    AppendLittleEndian(file, kMagic);
    AppendLittleEndian(file, uint32_t{2});
    AppendLittleEndian(file, static_cast<uint32_t>(12 + 8 + json.size() + binary));
    AppendLittleEndian(file, static_cast<uint32_t>(json.size()));
    AppendLittleEndian(file, kJsonChunk);
    file += json;
    if (binary == 0) return file;
    AppendLittleEndian(file, static_cast<uint32_t>(binary_.size()));
    AppendLittleEndian(file, kBinaryChunk);
    return file + binary_;
  }

  int AtomNode(const SceneAtom& atom) {
    constexpr MeshKind kKinds[] = {kBallMesh, kEllipsoidMesh, kBoxMesh};
    const ElementInfo& element = *atom.atom->element;
    std::string node = "{\"name\":" + Quoted(atom.atom->name) + ",\"mesh\":" +
                       std::to_string(Mesh(kKinds[static_cast<size_t>(atom.shape)], element.atomicNumber)) +
                       ",\"translation\":" + Array(Triplet(atom.place));
    if (atom.shape == SceneShape::Ellipsoid) node += ",\"rotation\":" + Array(QuaternionOf(atom.axes));
    return nodes_.Add(node + ",\"scale\":" + Array(atom.halfAxes) +
                      ",\"extras\":{\"element\":" + Quoted(element.Symbol()) + "}}");
  }

  int BondNode(const SceneBond& bond) {
    std::string children;
    for (const SceneStick& stick : bond.sticks) {
      const ScenePoint across = stick.to - stick.from;
      const std::array<double, 3> scale{bond.radius, Length(across), bond.radius};
      AppendIndex(children, nodes_.Add("{\"mesh\":" + std::to_string(Mesh(kStickMesh, stick.row)) +
                                       ",\"translation\":" + Array(Triplet((stick.from + stick.to) / 2.0)) +
                                       ",\"rotation\":" + Array(QuaternionOf(TurnFromY(across))) +
                                       ",\"scale\":" + Array(scale) + "}"));
    }
    return nodes_.Add("{\"name\":" + Quoted(bond.atom->name + "-" + bond.partner->name) + ",\"children\":[" + children +
                      "],\"extras\":{\"order\":" + std::to_string(bond.order + 1) + "}}");
  }

  int Mesh(MeshKind kind, int row) {
    const auto [at, isNew] = meshOf_.try_emplace({kind, row}, 0);
    if (!isNew) return at->second;
    constexpr Shape kShapes[] = {kSphere, kSphere, kBox, kCylinder};
    std::string primitives = Primitive(kShapes[kind], row);
    if (kind == kEllipsoidMesh) primitives.append(",").append(Primitive(kBands, kBandMaterial));
    return at->second = meshes_.Add("{\"primitives\":[" + primitives + "]}");
  }

  std::string Primitive(Shape shape, int row) {
    const auto [at, isNew] = shapeOf_.try_emplace(shape, std::string());
    if (isNew) at->second = Geometry(shape);
    return "{" + at->second + ",\"material\":" + std::to_string(Material(row)) + "}";
  }

  int Material(int row) {
    const auto [at, isNew] = materialOf_.try_emplace(row, 0);
    if (!isNew) return at->second;
    const ElementColour c = row == kBandMaterial ? PackColour(0, 0, 0) : document_.elements[row].colour;
    const std::array<double, 4> colour{Linear(RedOf(c)), Linear(GreenOf(c)), Linear(BlueOf(c)), 1.0};
    const std::string name = row == kBandMaterial ? "bands" : std::string(document_.elements[row].Symbol());
    return at->second = materials_.Add("{\"name\":" + Quoted(name) + ",\"pbrMetallicRoughness\":{\"baseColorFactor\":" +
                                       Array(colour) + ",\"metallicFactor\":0,\"roughnessFactor\":0.4}}");
  }

  std::string Geometry(Shape shape) {
    const TriangleMesh mesh = shape == kSphere     ? SphereMesh()
                              : shape == kBox      ? BoxMesh()
                              : shape == kCylinder ? CylinderMesh()
                                                   : BandsMesh();
    const int positions = VertexAccessor(mesh.positions, true);
    const int normals = VertexAccessor(mesh.normals, false);
    const size_t start = binary_.size();
    for (const uint16_t index : mesh.indices) AppendLittleEndian(binary_, index);
    const int indices = Accessor(start, kIndexTarget, kShortType, mesh.indices.size(), "SCALAR", "");
    return Printf("\"attributes\":{\"POSITION\":%d,\"NORMAL\":%d},\"indices\":%d", positions, normals, indices);
  }

  int VertexAccessor(const std::vector<std::array<float, 3>>& vertices, bool withBounds) {
    const size_t start = binary_.size();
    std::array<float, 3> low = vertices[0];
    std::array<float, 3> high = vertices[0];
    for (const auto& vertex : vertices)
      for (size_t i = 0; i < 3; ++i) {
        AppendLittleEndian(binary_, std::bit_cast<uint32_t>(vertex[i]));
        low[i] = std::min(low[i], vertex[i]);
        high[i] = std::max(high[i], vertex[i]);
      }
    // Nine digits are what it takes to give back single precision.
    const auto exact = [](const std::array<float, 3>& p) {
      return Printf("[%.9g,%.9g,%.9g]", static_cast<double>(p[0]), static_cast<double>(p[1]),
                    static_cast<double>(p[2]));
    };
    return Accessor(start, kVertexTarget, kFloatType, vertices.size(), "VEC3",
                    withBounds ? ",\"min\":" + exact(low) + ",\"max\":" + exact(high) : "");
  }

  int Accessor(size_t start, int target, int type, size_t count, const char* shape, const std::string& bounds) {
    const int view = views_.Add(Printf("{\"buffer\":0,\"byteOffset\":%zu,\"byteLength\":%zu,\"target\":%d}", start,
                                       binary_.size() - start, target));
    PadTo4(binary_, '\0');
    return accessors_.Add(
        Printf("{\"bufferView\":%d,\"componentType\":%d,\"count\":%zu,\"type\":\"%s\"", view, type, count, shape) +
        bounds + "}");
  }

  const Document& document_;
  const Scene& scene_;
  const SceneView& view_;
  JsonList nodes_, meshes_, materials_, accessors_, views_;
  std::string binary_;
  std::map<std::pair<MeshKind, int>, int> meshOf_;
  std::map<Shape, std::string> shapeOf_;
  std::map<int, int> materialOf_;
};

}  // namespace

std::optional<std::string> ComposeGlb(const Document& document, const SceneOptions& options, UserMessages& messages) {
  const auto scene = BuildScene(document, options, messages);
  if (!scene) return {};
  return GlbWriter(document, *scene, options.view).Write();
}

}  // namespace marvik

#include "files/export/vrml.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "base/numbers.h"

namespace marvik {

namespace {

constexpr double kFieldOfView = 0.2;  // radians
constexpr double kLabelSize = 0.35;   // Å
constexpr double kLabelAway = 1.15;   // of the atom's size, toward the viewer
constexpr double kRightAngle = 1.570796;

// A number in as few characters as four decimals take.
std::string Number(double value) {
  std::string text = Printf("%.4f", value);
  while (text.ends_with('0')) text.pop_back();
  if (text.ends_with('.')) text.pop_back();
  return text == "-0" ? "0" : text;
}

std::string Numbers(std::initializer_list<double> values) {
  std::string text;
  for (const double value : values) text.append(text.empty() ? "" : " ").append(Number(value));
  return text;
}

std::string Numbers(const ScenePoint& p) {
  return Numbers({p.x, p.y, p.z});
}

std::string Rotation(const Mat3& turn) {
  const AxisAngle r = AxisAngleOf(turn);
  return Numbers({r.axis.x, r.axis.y, r.axis.z, r.angle});
}

// A label within the name of a node: letters and digits are all that is certain to be allowed everywhere.
std::string IdPart(const std::string& label) {
  std::string id;
  for (const char c : label) {
    const bool plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    id += plain ? c : '_';
  }
  return id;
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : Utf8Text(text)) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "\"";
}

class VrmlWriter {
 public:
  VrmlWriter(const Document& document, const Scene& scene, const SceneOptions& options)
      : document_(document), scene_(scene), options_(options) {}

  std::string Write() {
    text_ = "#VRML V2.0 utf8\n";
    text_ += "WorldInfo { title " + Quoted(document_.instructions.title) + " }\n";
    text_ += "NavigationInfo { type [ \"EXAMINE\" \"ANY\" ] }\nBackground { skyColor [ 1 1 1 ] }\n";
    Viewpoint();
    Parts();
    int number = 0;
    for (const SceneAtom& atom : scene_.atoms) Atom(atom, ++number);
    number = 0;
    for (const SceneBond& bond : scene_.bonds) Bond(bond, ++number);
    return std::move(text_);
  }

 private:
  void Viewpoint() {
    const SceneView& view = options_.view;
    const Mat3 camera = Transposed(view.rotation);
    const ScenePoint back{camera[0][2], camera[1][2], camera[2][2]};
    const double distance = view.halfExtent / std::tan(kFieldOfView / 2.0);
    text_ += "Viewpoint { description \"Window\" position " + Numbers(view.centre + back * distance) + " orientation " +
             Rotation(camera) + " fieldOfView " + Number(kFieldOfView) + " }\n";
  }

  // What the atoms and bonds use, inside a Switch that shows none of it.
  void Parts() {
    text_ += "Switch { whichChoice -1 choice [\n";
    std::set<int> rows;
    for (const SceneAtom& atom : scene_.atoms) rows.insert(atom.atom->element->atomicNumber);
    bool isFirst = true;
    for (const int row : rows) {
      const ElementInfo& element = document_.elements[row];
      const std::string symbol(element.Symbol());
      const ElementColour c = element.colour;
      const std::string colour = Numbers({RedOf(c) / 255.0, GreenOf(c) / 255.0, BlueOf(c) / 255.0});
      text_ += "DEF Ball_" + symbol + " Shape { appearance DEF Look_" + symbol +
               " Appearance { material Material { diffuseColor " + colour +
               " specularColor 0.5 0.5 0.5 shininess 0.6 } } geometry " +
               (isFirst ? "DEF Sphere1 Sphere { radius 1 }" : "USE Sphere1") + " }\n";
      text_ += "DEF Stick_" + symbol + " Shape { appearance USE Look_" + symbol + " geometry " +
               (isFirst ? "DEF Cylinder1 Cylinder { radius 1 height 1 }" : "USE Cylinder1") + " }\n";
      text_ += "DEF Box_" + symbol + " Shape { appearance USE Look_" + symbol + " geometry " +
               (isFirst ? "DEF Box1 Box { size 2 2 2 }" : "USE Box1") + " }\n";
      isFirst = false;
    }
    if (options_.ellipsoids) Bands();
    text_ += "] }\n";
  }

  // The principal circles of the unit sphere, a hair outside of it.
  void Bands() {
    text_ +=
        "DEF Bands Group { children [ DEF Band Shape { appearance Appearance { material Material { diffuseColor "
        "0 0 0 } } geometry Cylinder { radius 1.01 height 0.06 top FALSE bottom FALSE } }\n"
        "Transform { rotation 1 0 0 " +
        Number(kRightAngle) +
        " children USE Band }\n"
        "Transform { rotation 0 0 1 " +
        Number(kRightAngle) + " children USE Band } ] }\n";
  }

  void Atom(const SceneAtom& atom, int number) {
    constexpr const char* kShapes[] = {"Ball_", "Ball_", "Box_"};
    const std::string& label = atom.atom->name;
    const auto& half = atom.halfAxes;
    text_ += "DEF A" + std::to_string(number) + "_" + IdPart(label) + " Transform { translation " +
             Numbers(atom.place) + " children [ Transform { ";
    if (atom.shape == SceneShape::Ellipsoid) text_ += "rotation " + Rotation(atom.axes) + " ";
    text_ += "scale " + Numbers({half[0], half[1], half[2]}) + " children [ USE " +
             kShapes[static_cast<size_t>(atom.shape)] + std::string(atom.atom->element->Symbol());
    if (atom.shape == SceneShape::Ellipsoid) text_ += " USE Bands";
    text_ += " ] }";
    if (atom.isLabelled) Label(label, std::max({half[0], half[1], half[2]}));
    text_ += " ] }\n";
  }

  void Label(const std::string& label, double size) {
    text_ += "\n Billboard { axisOfRotation 0 0 0 children Transform { translation " +
             Numbers({0.7 * size, 0.7 * size, kLabelAway * size}) + " children Shape { appearance ";
    text_ += hasLabel_ ? "USE LabelLook"
                       : "DEF LabelLook Appearance { material Material { diffuseColor 0 0 0 emissiveColor 0 0 0 } }";
    text_ += " geometry Text { string " + Quoted(label) + " fontStyle ";
    text_ +=
        hasLabel_ ? "USE LabelFont" : "DEF LabelFont FontStyle { family \"SANS\" size " + Number(kLabelSize) + " }";
    text_ += " } } } }";
    hasLabel_ = true;
  }

  void Bond(const SceneBond& bond, int number) {
    text_ += "DEF B" + std::to_string(number) + "_" + IdPart(bond.atom->name) + "_" + IdPart(bond.partner->name) +
             " Group { children [\n";
    for (const SceneStick& stick : bond.sticks) {
      const ScenePoint across = stick.to - stick.from;
      text_ += " Transform { translation " + Numbers((stick.from + stick.to) / 2.0) + " rotation " +
               Rotation(TurnFromY(across)) + " scale " + Numbers({bond.radius, Length(across), bond.radius}) +
               " children USE Stick_" + std::string(document_.elements[stick.row].Symbol()) + " }\n";
    }
    text_ += "] }\n";
  }

  const Document& document_;
  const Scene& scene_;
  const SceneOptions& options_;
  std::string text_;
  bool hasLabel_ = false;
};

}  // namespace

std::optional<std::string> ComposeVrml(const Document& document, const SceneOptions& options, UserMessages& messages) {
  const auto scene = BuildScene(document, options, messages);
  if (!scene) return {};
  return VrmlWriter(document, *scene, options).Write();
}

}  // namespace marvik

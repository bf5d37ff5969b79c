#include "gl/gl_scene.h"

#include <algorithm>
#include <cmath>

#include "chem/bonds/crystal_fragments.h"
#include "draw/canvas/colours.h"
#include "draw/density/density_net.h"
#include "draw/renderer/bond_sticks.h"
#include "draw/renderer/figure_faces.h"
#include "draw/surface/lit_surface.h"
#include "model/placement.h"

namespace marvik {
namespace {

constexpr double kSidePerUnit = 1000.0;  // thin lines of pictures of twice this side are two pixels wide, and so on
constexpr double kLongestAxis = 1e4;
constexpr double kFarthest = 1e5;
constexpr Rgb kGrey{128, 128, 128};
constexpr double kCentroidBall = 0.1;  // Å

// Takes the texts of a picture, the lines that lead to them and what stands in its corners. There black is `ink`.
class LabelCollector : public Canvas {
 public:
  LabelCollector(LabelFont* font, Rgb ink) : font_(font), ink_(ink) {}

  void Clear(Rgb) override {}
  void Lines(std::span<const LinePiece>, const Pen&) override {}
  void Line(CanvasPoint a, CanvasPoint b, const Pen& pen) override {
    if (taken_ == Taken::Lines) leaders.push_back({a, b, pen.colour, pen.width});
    Keep([a, b, own = Inked(pen)](Canvas& canvas) { canvas.Line(a, b, own); });
  }
  void BeginGroup(std::string_view name) override {
    const bool lines = name == kLeaderGroup || name == kMarkGroup;
    taken_ = lines ? Taken::Lines : name == kCornerGroup ? Taken::All : Taken::Texts;
  }
  void EndGroup() override { taken_ = Taken::Texts; }
  void FillEllipse(const EllipseShape& shape, Rgb fill, const Pen& outline) override {
    Keep([shape, fill, own = Inked(outline)](Canvas& canvas) { canvas.FillEllipse(shape, fill, own); });
  }
  void DiscStack(CanvasPoint, std::span<const Disc>) override {}
  void Arc(const EllipseShape& shape, double t0, double t1, const Pen& pen) override {
    if (taken_ != Taken::Lines) return;
    constexpr int kPieces = 48;
    for (int i = 0; i < kPieces; ++i)
      Line(PointOn(shape, t0 + (t1 - t0) * i / kPieces), PointOn(shape, t0 + (t1 - t0) * (i + 1) / kPieces), pen);
  }
  void Polygon(std::span<const CanvasPoint> points, Rgb fill, const Pen& outline) override {
    Keep([points = std::vector(points.begin(), points.end()), fill, own = Inked(outline)](Canvas& canvas) {
      canvas.Polygon(points, fill, own);
    });
  }
  void Polyline(std::span<const CanvasPoint> points, const Pen& pen) override {
    Keep([points = std::vector(points.begin(), points.end()), own = Inked(pen)](Canvas& canvas) {
      canvas.Polyline(points, own);
    });
  }
  void Text(CanvasPoint at, TextAnchor anchor, std::string_view text, const TextLook& look) override {
    if (anchor == TextAnchor::Centre) {
      const CanvasPoint size = Canvas::TextSize(text);
      at = {at.x - size.x / 2, at.y + size.y / 2};
    }
    labels.push_back({at, std::string(text), look});
  }
  using Canvas::TextSize;
  CanvasPoint TextSize(std::string_view text, const TextShift& shift) override {
    if (!font_) return {};
    return {font_->Width(text, shift), font_->Ascent() + font_->Descent()};
  }

  std::vector<GlLabel> labels;
  std::vector<GlLeader> leaders;
  std::vector<std::function<void(Canvas&)>> corners;

 private:
  enum class Taken { Texts, Lines, All };
  void Keep(std::function<void(Canvas&)> draw) {
    if (taken_ == Taken::All) corners.push_back(std::move(draw));
  }
  Pen Inked(Pen pen) const {
    if (pen.colour == kBlack) pen.colour = ink_;
    return pen;
  }

  Taken taken_ = Taken::Texts;
  LabelFont* font_;
  Rgb ink_;
};

// What the interactive renderer leaves in the atoms belongs to the window's picture; this puts it back.
class ScreenPlaces {
 public:
  explicit ScreenPlaces(Document& document) {
    for (AtomRecord* atom = document.atoms.head; atom; atom = atom->next)
      places_.push_back({atom, atom->view, atom->screenX, atom->screenY, atom->scratch});
  }
  ~ScreenPlaces() {
    for (const Place& place : places_) {
      place.atom->view = place.view;
      place.atom->screenX = place.screenX;
      place.atom->screenY = place.screenY;
      place.atom->scratch = place.scratch;
    }
  }
  ScreenPlaces(const ScreenPlaces&) = delete;
  ScreenPlaces& operator=(const ScreenPlaces&) = delete;

 private:
  struct Place {
    AtomRecord* atom;
    ViewPoint view;
    int16_t screenX, screenY;
    int32_t scratch;
  };
  std::vector<Place> places_;
};

class SceneBuilder {
 public:
  SceneBuilder(Document& document, const ViewState& view, int size, const GlPictureOptions& options)
      : document_(document), view_(view), options_(options), size_(size) {
    // The pan is kept in pixels of the drawing area that it was made in.
    const double scale = view.drawingSize > 0.0 ? size / view.drawingSize : 1.0;
    view_.drawingSize = size;
    view_.FitView(view_.viewRadius, std::nullopt);
    view_.panX = static_cast<int32_t>(std::lround(view.panX * scale));
    view_.panY = static_cast<int32_t>(std::lround(view.panY * scale));
    // Where the interactive renderer has a point: its scale is a pixel short of the picture's half, and it counts in
    // middles of pixels.
    scale_ = 1.0 - 2.0 / size;
    shift_ = {(2.0 * view_.panX + 1.0) / size, (1.0 - 2.0 * view_.panY) / size, 0.0};
  }

  GlScene Build(LabelFont* font) {
    SetUpColours();
    Project(font);
    AddAtoms();
    AddBonds();
    if (options_.showCell) AddCell();
    if (options_.net) AddNet();
    AddFaces();
    if (options_.marks) AddMarks();
    for (const GlAtom& atom : scene_.atoms)
      scene_.depth = std::max(scene_.depth, std::abs(atom.at.z) + atom.Reach() + 2.0);
    for (const GlLine& edge : scene_.lines)
      scene_.depth = std::max({scene_.depth, std::abs(edge.a.z) + 2.0, std::abs(edge.b.z) + 2.0});
    return std::move(scene_);
  }

 private:
  void SetUpColours();
  void Project(LabelFont* font);
  void AddAtoms();
  void AddBonds();
  void AddCell();
  void AddNet();
  void AddFaces();
  void AddMarks();
  bool CutsAway(const Cartesian& at) const { return view_.CutsAway(view_.TransformPoint(at - view_.viewCentre).p); }
  ViewPoint PlacedAt(const Cartesian& at) const { return Placed(view_.TransformPoint(at - view_.viewCentre).p); }
  ViewPoint Placed(const ViewPoint& view) const { return view * scale_ + shift_; }
  GlAtom AtomOf(const AtomRecord& record) const;
  bool SetAxes(const AtomRecord& record, GlAtom& atom) const;
  Rgb PeakColour(const AtomRecord& record) const;
  int RowOf(const AtomRecord& record) const {
    return record.element ? std::clamp(record.element->atomicNumber, 0, kUnknownRow) : kUnknownRow;
  }

  Document& document_;
  ViewState view_;
  const GlPictureOptions& options_;
  int size_;
  double scale_ = 1.0;
  ViewPoint shift_;
  GlScene scene_;
  Rgb ink_ = kBlack;  // of labels and edges
  ColourScheme scheme_;
  double highestPeak_ = 0.0;
  std::vector<AtomRecord*> drawn_;
  std::vector<double> radii_;  // of those whose look is not that of the element; 0 else
};

void SceneBuilder::SetUpColours() {
  scene_.background = kWhite;
  if (options_.colour && options_.look != Look::Classic) scene_.fog = kFog;
  if (options_.colour && !options_.printing) {
    const auto channel = [this](size_t i) {
      return static_cast<uint8_t>(std::lround(std::clamp(options_.settings.background[i], 0.0, 1.0) * 255.0));
    };
    scene_.background = {channel(0), channel(1), channel(2)};
  }
  const Rgb b = scene_.background;
  // Black on black would be no label at all.
  if (0.299 * b.r + 0.587 * b.g + 0.114 * b.b < 60.0) ink_ = kWhite;
  scene_.unit =
      2.0 / size_ * (options_.thinLine > 0.0 ? options_.thinLine : std::max(1.0, std::floor(size_ / kSidePerUnit)));
}

void SceneBuilder::Project(LabelFont* font) {
  RenderOptions options;
  options.mode = options_.mode;
  options.labels = options_.labels && font;
  options.hydrogenLabels = options_.hydrogenLabels;
  options.hybridLabelColoration = options_.hybridLabelColoration && options_.colour;
  options.showCell = options_.showCell && font;
  options.look = options_.look;
  options.labelForm = options_.labelForm;
  options.probability = options_.probability;
  options.net = options_.net;
  options.contacts = options_.contacts;
  options.marks = options_.marks;
  options.figure = options_.figure;
  options.safeColours = options_.safeColours;
  options.blackWhite = !options_.colour;
  options.exact = true;
  options.whiteBackground = true;
  LabelCollector canvas(font, ink_);
  InteractiveRenderer renderer;
  renderer.Render(document_, view_, options, canvas, nullptr);
  scene_.labels = std::move(canvas.labels);
  scene_.leaders = std::move(canvas.leaders);
  scene_.corners = std::move(canvas.corners);
  scheme_.SetUp(document_, options_.figure.colourBy);
  const Rgb measured = MeasureColour(true);
  const Rgb ofMeasures = options_.colour ? MeasureColour(ink_ != kWhite) : kBlack;
  for (GlLeader& leader : scene_.leaders) {
    const bool grey = leader.colour.r == leader.colour.g && leader.colour.g == leader.colour.b;
    if (ink_ == kWhite && grey) leader.colour = kGrey;
    if (leader.colour == measured) leader.colour = ofMeasures;
  }
  for (GlLabel& label : scene_.labels) {
    if (label.look.colour == kBlack) label.look.colour = ink_;
    if (label.look.colour == measured) label.look.colour = ofMeasures;
    label.look.rimColour = scene_.background;
  }
  for (AtomRecord* atom = document_.atoms.head; atom; atom = atom->next) {
    if (atom->scratch < 0) continue;
    drawn_.push_back(atom);
    const auto body = options_.look == Look::Classic ? std::nullopt : renderer.BodyOf(*atom);
    radii_.push_back(body ? std::hypot(body->p.x, body->p.y) * 2.0 / size_ : 0.0);
    if (atom->IsPeak() && std::isfinite(atom->peakHeight))
      highestPeak_ = std::max(highestPeak_, std::abs(atom->peakHeight));
  }
}

Rgb SceneBuilder::PeakColour(const AtomRecord& record) const {
  const Rgb full = RgbOf(document_.elements[kUnknownRow].colour);
  if (!record.IsPeak()) return kGrey;
  const double share =
      highestPeak_ > 0.0 && std::isfinite(record.peakHeight) ? std::abs(record.peakHeight) / highestPeak_ : 1.0;
  return MixColours(scene_.background, full, 0.35 + 0.65 * share);
}

GlAtom SceneBuilder::AtomOf(const AtomRecord& record) const {
  const int row = RowOf(record);
  const ElementInfo& element = document_.elements[row];
  GlAtom atom;
  atom.at = Placed(record.view);
  atom.radius = element.drawRadius > 0.0 ? std::min(2.0 * element.drawRadius / view_.viewRadius, kLongestAxis) : 0.0;
  const auto shade = row == kUnknownRow ? std::nullopt : scheme_.ShadeOf(record);
  atom.colour = row == kUnknownRow ? PeakColour(record)
                : shade            ? ColourScheme::ColourOf(options_.figure.colourBy, *shade)
                                   : ElementColourOf(document_.elements, row, options_.safeColours);
  atom.pale = options_.figure.paleMates && options_.colour && IsGenerated(record);
  atom.texture = element.texture;
  const double least = 3.0 * scene_.unit;
  if (row == kUnknownRow) {
    atom.shape = GlShape::Mark;
    atom.radius = std::max(0.7 * atom.radius, least);
  } else if (options_.mode == kThermalEllipsoid && record.IsAnisotropic()) {
    atom.shape = SetAxes(record, atom) ? GlShape::Ellipsoid : GlShape::CrossedBox;
    if (atom.shape == GlShape::CrossedBox) atom.radius = std::max(0.8 * atom.radius, least);
  }
  return atom;
}

// Semi-axes in view units. False for a tensor that is no ellipsoid.
bool SceneBuilder::SetAxes(const AtomRecord& record, GlAtom& atom) const {
  const DisplacementEllipsoid own = EllipsoidAxes(CartesianTensor(record, document_.cell, document_.matrix));
  if (!own.positiveDefinite) return false;
  const double scale = ProbabilityScale(options_.probability);
  const Matrix4& m = view_.combined;
  for (size_t k = 0; k < 3; ++k) {
    const Cartesian axis = own.axes[k] * (own.lengths[k] * scale);
    const auto row = [&](size_t r) { return m[r][0] * axis.x + m[r][1] * axis.y + m[r][2] * axis.z; };
    ViewPoint& v = atom.axes[k];
    v = ViewPoint{row(0), row(1), row(2)} * scale_;
    if (v.z < 0.0) v = -v;
    const double length = Length(v);
    if (!(length > 1e-9 && length < kLongestAxis)) return false;
  }
  if (Dot(Cross(atom.axes[0], atom.axes[1]), atom.axes[2]) < 0.0) std::swap(atom.axes[0], atom.axes[1]);
  return true;
}

void SceneBuilder::AddAtoms() {
  for (AtomRecord*& record : drawn_) {
    record->scratch = static_cast<int32_t>(&record - drawn_.data());
    GlAtom& atom = scene_.atoms.emplace_back(AtomOf(*record));
    const double radius = radii_[static_cast<size_t>(record->scratch)];
    if (radius > 0.0 && (atom.shape == GlShape::Ball || atom.shape == GlShape::Mark)) atom.radius = radius;
  }
}

void SceneBuilder::AddBonds() {
  std::vector<std::vector<DrawnContact>> contacts(drawn_.size());
  if (options_.contacts) {
    for (const DrawnContact& contact : *options_.contacts)
      if (contact.from->scratch >= 0) contacts[static_cast<size_t>(contact.from->scratch)].push_back(contact);
  }
  for (size_t i = 0; i < drawn_.size(); ++i) {
    scene_.atoms[i].firstBond = static_cast<uint32_t>(scene_.bonds.size());
    for (const BondRecord* record = drawn_[i]->bonds; record; record = record->next) {
      if (record->partner->scratch < 0 || IsNoEdge(*record, options_.figure.polyhedra)) continue;
      // Of peaks they would be webs.
      if (options_.look != Look::Classic && (drawn_[i]->IsPeak() || record->partner->IsPeak())) continue;
      const GlAtom& a = scene_.atoms[i];
      const GlAtom& b = scene_.atoms[static_cast<size_t>(record->partner->scratch)];
      GlBond bond{a.at,
                  b.at,
                  0.0,
                  a.colour,
                  b.colour,
                  std::min(record->Order(), static_cast<int>(kPi)),
                  std::min(record->Style(), static_cast<int>(kDotted))};
      const double width = std::isfinite(record->width) ? record->width / view_.viewRadius : 0.0;
      bond.radius = 0.5 * std::clamp(width, scene_.unit, kLongestAxis);
      bond.paleA = a.pale;
      bond.paleB = b.pale;
      if (options_.figure.taperedBonds && bond.style == kSolid && bond.order != kPi) {
        bond.widening = Nearness(b.at.z) / Nearness(a.at.z) - 1.0;
        bond.radius *= Nearness(a.at.z);
      }
      if (a.shape == GlShape::Mark || b.shape == GlShape::Mark) {
        bond.radius = 0.5 * scene_.unit;
        bond.colourA = bond.colourB = kGrey;
        bond.order = kSingle;
      }
      scene_.bonds.push_back(bond);
    }
    for (const DrawnContact& contact : contacts[i]) {
      if (contact.to->scratch < 0) continue;
      const Rgb colour = ContactColour(contact.line, ink_ != kWhite);
      const GlAtom& to = scene_.atoms[static_cast<size_t>(contact.to->scratch)];
      scene_.bonds.push_back({scene_.atoms[i].at, to.at, scene_.unit, colour, colour, kSingle, kDashed});
    }
  }
}

void SceneBuilder::AddCell() {
  std::array<ViewPoint, 8> corners;
  for (size_t i = 0; i < corners.size(); ++i) {
    const Fractional at{i & 1 ? 1.0 : 0.0, i & 2 ? 1.0 : 0.0, i & 4 ? 1.0 : 0.0};
    corners[i] = Placed(view_.TransformPoint(document_.matrix * at - view_.viewCentre).p);
    if (!IsFinite(corners[i]) || Length(corners[i]) > kFarthest) return;
  }
  constexpr std::array<Rgb, 3> kAxisColours{{{220, 0, 0}, {0, 140, 0}, {0, 0, 220}}};
  for (size_t i = 0; i < corners.size(); ++i) {
    for (size_t axis = 0; axis < 3; ++axis) {
      const size_t j = i | size_t{1} << axis;
      if (j == i) continue;
      scene_.lines.push_back({corners[i], corners[j], i == 0 && options_.colour ? kAxisColours[axis] : ink_});
    }
  }
}

void SceneBuilder::AddNet() {
  const bool light = ink_ != kWhite;
  for (const NetLine& line : options_.net->lines) {
    const ViewPoint a = view_.TransformPoint(line.a - view_.viewCentre).p;
    const ViewPoint b = view_.TransformPoint(line.b - view_.viewCentre).p;
    if (view_.CutsAway((a + b) * 0.5)) continue;
    const GlLine edge{Placed(a), Placed(b), ColourOf(line.tone, light, false), true};
    if (IsFinite(edge.a) && IsFinite(edge.b) && Length(edge.a) < kFarthest) scene_.lines.push_back(edge);
  }
}

void SceneBuilder::AddFaces() {
  for (const FigureFace& face : FacesOf(document_, options_.figure.polyhedra, options_.marks.get())) {
    if (std::ranges::any_of(face.corners, [this](const Cartesian& at) { return CutsAway(at); })) continue;
    const bool light = ink_ != kWhite;
    GlFace veil{{}, face.centre ? AtomOf(*face.centre).colour : MeasureColour(light), face.Opacity()};
    for (const Cartesian& corner : face.corners) veil.corners.push_back(PlacedAt(corner));
    if (!std::ranges::all_of(veil.corners, [](const ViewPoint& p) { return Length(p) < kFarthest; })) continue;
    const Rgb edge = MixColours(veil.colour, light ? kBlack : kWhite, 0.45);
    for (size_t i = 0; i < veil.corners.size(); ++i)
      scene_.lines.push_back({veil.corners[i], veil.corners[(i + 1) % veil.corners.size()], edge});
    if (options_.colour) scene_.faces.push_back(std::move(veil));
  }
  const auto depth = [](const GlFace& face) {
    double sum = 0.0;
    for (const ViewPoint& corner : face.corners) sum += corner.z;
    return sum / static_cast<double>(face.corners.size());
  };
  std::ranges::stable_sort(scene_.faces, {}, depth);
}

// Centroids and the lines to them, as a last atom's bonds.
void SceneBuilder::AddMarks() {
  const Rgb colour = options_.colour ? MeasureColour(ink_ != kWhite) : kBlack;
  for (const Cartesian& centroid : options_.marks->centroids) {
    if (CutsAway(centroid)) continue;
    GlAtom& ball = scene_.atoms.emplace_back();
    ball.at = PlacedAt(centroid);
    ball.radius = std::max(kCentroidBall / std::max(view_.halfExtent, 1e-6), 2.0 * scene_.unit);
    ball.colour = colour;
    ball.firstBond = static_cast<uint32_t>(scene_.bonds.size());
  }
  if (scene_.atoms.empty()) return;
  for (const FigureMarks::Line& line : options_.marks->lines)
    if (!CutsAway(line.from.at) && !CutsAway(line.to.at))
      scene_.bonds.push_back(
          {PlacedAt(line.from.at), PlacedAt(line.to.at), 0.6 * scene_.unit, colour, colour, kSingle, kDashed});
}

}  // namespace

double GlAtom::Reach() const {
  if (shape != GlShape::Ellipsoid) return 1.5 * radius + 0.02;
  double longest = 0.0;
  for (const ViewPoint& axis : axes) longest = std::max(longest, Length(axis));
  return 1.05 * longest + 0.02;
}

GlScene BuildGlScene(Document& document, const ViewState& view, int size, const GlPictureOptions& options,
                     LabelFont* font) {
  const ScreenPlaces places(document);
  return SceneBuilder(document, view, size, options).Build(font);
}

}  // namespace marvik

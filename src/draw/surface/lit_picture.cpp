#include "draw/surface/lit_picture.h"

#include <algorithm>
#include <cmath>

#include "chem/bonds/crystal_fragments.h"
#include "draw/canvas/colours.h"
#include "draw/canvas/scanline_canvas.h"
#include "draw/density/density_net.h"
#include "draw/renderer/bond_sticks.h"
#include "draw/renderer/cell_box.h"
#include "draw/renderer/figure_faces.h"
#include "model/placement.h"

namespace marvik {
namespace {

constexpr double kHydrogenBall = 0.14;  // Å, where no ellipsoid is smaller
constexpr double kOtherBall = 0.25;     // Å, of isotropic atoms without a U of their own
constexpr double kLargestU = 4.0;       // Å²
constexpr double kStickFactor = 1.5;    // wider than lines are drawn
constexpr size_t kCarbonRow = 6;
constexpr Rgb kPeakColour{215, 195, 60};
constexpr Rgb kGrey{128, 128, 128};
constexpr double kFaintestPeak = 0.35;  // share of the colour
constexpr double kDash = 0.16;          // Å, of a dashed bond; gaps are as long
constexpr double kDotGap = 0.16;        // Å from dot to dot
constexpr double kContactPen = 0.8;     // pixels for each pixel of a thin line
constexpr double kCentroidBall = 0.1;   // Å
constexpr double kBoxArm = 0.8;         // of the element's ball
constexpr double kBoxStick = 0.12;      // of the arm
constexpr double kCellEdge = 0.55;      // pixels for each pixel of a thin line

class Builder {
 public:
  Builder(const Document& document, const ViewState& view, const RenderOptions& options)
      : document_(document), view_(view), options_(options) {
    scale_ = std::max(view.viewportWidth * 0.5 - 1.0, 1.0);
    originX_ = view.viewportOffsetX + view.viewportWidth * 0.5 + view.deviceOriginX + view.panX;
    originY_ =
        view.fullHeight - 1 - (view.viewportOffsetY + view.viewportHeight * 0.5) + view.deviceOriginY + view.panY;
    angstrom_ = view.halfExtent > 0.0 ? scale_ / view.halfExtent : 1.0;
    perRadius_ = view.viewRadius > 0.0 ? view.drawingSize / view.viewRadius : 1.0;
    probability_ = ProbabilityScale(options.probability);
  }

  LitScene Build() {
    colours_ = ColoursOf(options_.look, options_.printing || options_.whiteBackground);
    scheme_.SetUp(document_, options_.figure.colourBy);
    scene_.background = colours_.background;
    FindSmallest();
    if (options_.showCell) AddCell();
    if (options_.net) AddNet();
    for (const AtomRecord* atom : Atoms(document_.atoms, kVisibleOnly)) {
      if (!Shows(*atom)) continue;
      AddAtom(*atom);
      for (const BondRecord* bond = atom->bonds; bond; bond = bond->next) {
        if (document_.atoms.Passes(bond->partner, kVisibleOnly) && Shows(*bond->partner) &&
            !IsNoEdge(*bond, options_.figure.polyhedra))
          AddBond(*atom, *bond);
      }
    }
    if (options_.contacts) AddContacts();
    AddFaces();
    if (options_.marks) AddMarks();
    return std::move(scene_);
  }

 private:
  ViewPoint At(const AtomRecord& atom) const { return At(atom.position); }
  ViewPoint At(const Cartesian& position) const {
    const ViewPoint p = view_.TransformPoint(position - view_.viewCentre).p;
    return {originX_ + p.x * scale_, originY_ - p.y * scale_, p.z * scale_};
  }
  bool CutsAway(const Cartesian& position) const {
    return view_.IsClipped() && view_.CutsAway(view_.TransformPoint(position - view_.viewCentre).p);
  }
  bool Shows(const AtomRecord& atom) const { return IsFinite(atom.position) && !CutsAway(atom.position); }
  int RowOf(const AtomRecord& atom) const {
    return atom.element ? std::clamp(atom.element->atomicNumber, 0, kUnknownRow) : kUnknownRow;
  }
  bool IsPale(const AtomRecord& atom) const { return options_.figure.paleMates && IsGenerated(atom); }
  Rgb ColourOfAtom(const AtomRecord& atom) const {
    if (atom.IsPeak()) {
      const double share = highest_ > 0.0 ? std::abs(atom.peakHeight) / highest_ : 1.0;
      return MixColours(scene_.background, LegibleOn(kPeakColour, colours_.light),
                        kFaintestPeak + (1.0 - kFaintestPeak) * std::clamp(share, 0.0, 1.0));
    }
    const int row = RowOf(atom);
    if (row == kUnknownRow) return kGrey;
    const auto shade = scheme_.ShadeOf(atom);
    const Rgb colour = shade ? ColourScheme::ColourOf(options_.figure.colourBy, *shade)
                             : ElementColourOf(document_.elements, row, options_.safeColours);
    // The dark blues and reds of the element table are hard to see on black.
    return options_.look == Look::Dark && !colours_.light ? LegibleOn(colour, false) : colour;
  }

  // Semi-axes in pixels; nothing of a tensor that is no ellipsoid.
  bool AxesOf(const AtomRecord& atom, std::array<ViewPoint, 3>& axes) const {
    const DisplacementEllipsoid own = EllipsoidAxes(CartesianTensor(atom, document_.cell, document_.matrix));
    if (!own.positiveDefinite) return false;
    const Matrix4& m = view_.combined;
    for (size_t k = 0; k < 3; ++k) {
      const Cartesian axis = own.axes[k] * (own.lengths[k] * probability_ * scale_);
      const auto row = [&](size_t r) { return m[r][0] * axis.x + m[r][1] * axis.y + m[r][2] * axis.z; };
      axes[k] = {row(0), -row(1), row(2)};
    }
    return true;
  }

  void FindSmallest() {
    smallest_ = kHydrogenBall * angstrom_;
    for (const AtomRecord* atom : Atoms(document_.atoms, kVisibleOnly)) {
      if (atom->IsPeak() && std::isfinite(atom->peakHeight))
        highest_ = std::max(highest_, std::abs(double{atom->peakHeight}));
      if (!atom->IsAnisotropic() || RowOf(*atom) == kUnknownRow) continue;
      std::array<ViewPoint, 3> axes;
      if (!AxesOf(*atom, axes)) continue;
      anisotropic_ = true;
      std::array<double, 3> lengths{Length(axes[0]), Length(axes[1]), Length(axes[2])};
      std::ranges::sort(lengths);
      smallest_ = std::min(smallest_, lengths[1]);
    }
  }

  double RadiusOf(const AtomRecord& atom) const {
    const int row = RowOf(atom);
    if (row == kUnknownRow) return document_.elements[static_cast<int>(kCarbonRow)].drawRadius * perRadius_ / 3.0;
    if (!anisotropic_) return document_.elements[row].drawRadius * perRadius_;
    if (IsHydrogenRow(row)) return smallest_;
    const double u = atom.IsAnisotropic() ? 0.0 : atom.u[0];
    return u > 0.0 && u < kLargestU ? std::sqrt(u) * probability_ * angstrom_ : kOtherBall * angstrom_;
  }

  void AddAtom(const AtomRecord& atom) {
    LitEllipsoid ellipsoid{At(atom), {}, ColourOfAtom(atom), options_.cutOctant, IsPale(atom)};
    const bool anisotropic = atom.IsAnisotropic() && RowOf(atom) != kUnknownRow;
    if (anisotropic && AxesOf(atom, ellipsoid.axes)) {
      scene_.ellipsoids.push_back(ellipsoid);
    } else if (anisotropic) {
      AddCrossedBox(atom, ellipsoid.centre);
    } else {
      scene_.balls.push_back({ellipsoid.centre, RadiusOf(atom), ellipsoid.colour, ellipsoid.pale});
    }
  }

  // Stands for a tensor that is no ellipsoid: six sticks that face the viewer.
  void AddCrossedBox(const AtomRecord& atom, const ViewPoint& at) {
    const double arm = kBoxArm * document_.elements[RowOf(atom)].drawRadius * perRadius_;
    const auto corner = [&](int i) { return at + ViewPoint{i & 1 ? arm : -arm, i & 2 ? arm : -arm, 0.0}; };
    for (const auto& [from, to] : {std::pair{0, 1}, {1, 3}, {3, 2}, {2, 0}, {0, 3}, {1, 2}}) {
      const Rgb colour = ColourOfAtom(atom);
      const bool pale = IsPale(atom);
      scene_.sticks.push_back({corner(from), corner(to), kBoxStick * arm, colour, colour, pale, pale});
      scene_.balls.push_back({corner(from), kBoxStick * arm, colour, pale});
    }
  }

  void AddBond(const AtomRecord& atom, const BondRecord& bond) {
    const AtomRecord& partner = *bond.partner;
    if (atom.IsPeak() || partner.IsPeak()) return;
    const ViewPoint a = At(atom);
    const ViewPoint b = At(partner);
    const double width = std::clamp(static_cast<double>(bond.width), 0.0, 2.0) * perRadius_ * 0.5 * kStickFactor;
    const double length = std::hypot(b.x - a.x, b.y - a.y);
    const ViewPoint across =
        length > 0.0 ? ViewPoint{-(b.y - a.y) / length, (b.x - a.x) / length, 0.0} : ViewPoint{1.0, 0.0, 0.0};
    LitStick whole{a, b, 0.5 * width, ColourOfAtom(atom), ColourOfAtom(partner), IsPale(atom), IsPale(partner)};
    if (options_.figure.taperedBonds) {
      const double near = Nearness(a.z / scale_);
      whole.radius *= near;
      whole.widening = Nearness(b.z / scale_) / near - 1.0;
    }
    for (const BondStick& stick : SticksOfOrder(bond.Order())) {
      LitStick part = whole;
      part.a = a + across * (stick.side * width);
      part.b = b + across * (stick.side * width);
      part.radius *= stick.share;
      AddStick(part, stick.dashed ? kDashed : bond.Style());
    }
  }

  void AddStick(const LitStick& stick, int style) {
    if (style == kSolid) return scene_.sticks.push_back(stick);
    const double step = (style == kDashed ? 2.0 * kDash : kDotGap) * angstrom_;
    const double length = Length(stick.b - stick.a);
    if (!(step > 0.0 && length < 1000.0 * step)) return;
    const int pieces = std::max(1, static_cast<int>(length / step));
    for (int i = 0; i < pieces; ++i) {
      const double middle = (i + 0.5) / pieces;
      const Rgb colour = middle < 0.5 ? stick.colourA : stick.colourB;
      const bool pale = middle < 0.5 ? stick.paleA : stick.paleB;
      const ViewPoint at = stick.a + (stick.b - stick.a) * middle;
      const ViewPoint half = (stick.b - stick.a) * (0.25 / pieces);
      if (style == kDashed) {
        scene_.sticks.push_back({at - half, at + half, stick.radius, colour, colour, pale, pale});
        scene_.balls.push_back({at - half, stick.radius, colour, pale});
        scene_.balls.push_back({at + half, stick.radius, colour, pale});
      } else {
        scene_.balls.push_back({at, stick.radius, colour, pale});
      }
    }
  }

  void AddContacts() {
    for (const DrawnContact& contact : *options_.contacts) {
      if (!Shows(*contact.from) || !Shows(*contact.to)) continue;
      const Rgb colour = ContactColour(contact.line, colours_.light);
      const double radius = kContactPen * ThinLineOf(options_, view_.drawingSize);
      AddStick({At(*contact.from), At(*contact.to), radius, colour, colour}, kDashed);
    }
  }

  void AddFaces() {
    for (const FigureFace& face : FacesOf(document_, options_.figure.polyhedra, options_.marks.get())) {
      LitFace lit{{}, face.centre ? ColourOfAtom(*face.centre) : MeasureColour(colours_.light), face.Opacity()};
      if (std::ranges::any_of(face.corners, [this](const Cartesian& corner) { return CutsAway(corner); })) continue;
      for (const Cartesian& corner : face.corners) lit.corners.push_back(At(corner));
      const Rgb edge = MixColours(lit.colour, colours_.light ? kBlack : kWhite, 0.45);
      for (size_t i = 0; i < lit.corners.size(); ++i)
        scene_.lines.push_back({lit.corners[i], lit.corners[(i + 1) % lit.corners.size()], edge});
      scene_.faces.push_back(std::move(lit));
    }
    if (!scene_.faces.empty()) scene_.lineWidth = ThinLineOf(options_, view_.drawingSize);
  }

  // Centroids and the lines to them; the rest stands over the bodies.
  void AddMarks() {
    const Rgb colour = MeasureColour(colours_.light);
    const double thin = ThinLineOf(options_, view_.drawingSize);
    for (const Cartesian& centroid : options_.marks->centroids)
      if (!CutsAway(centroid))
        scene_.balls.push_back({At(centroid), std::max(kCentroidBall * angstrom_, 2.0 * thin), colour});
    for (const FigureMarks::Line& line : options_.marks->lines)
      if (!CutsAway(line.from.at) && !CutsAway(line.to.at))
        AddStick({At(line.from.at), At(line.to.at), kContactPen * thin, colour, colour}, kDashed);
  }

  void AddCell() {
    const CellColours colours = CellColoursOn(colours_.light);
    const double radius = kCellEdge * ThinLineOf(options_, view_.drawingSize);
    for (const CellEdge& edge : kCellEdges) {
      const Cartesian a = document_.matrix * kCellCorners[edge.from].at;
      const Cartesian b = document_.matrix * kCellCorners[edge.to].at;
      if (!IsFinite(a) || !IsFinite(b)) continue;
      const Rgb colour = colours[static_cast<size_t>(edge.axis)];
      scene_.sticks.push_back({At(a), At(b), radius, colour, colour});
    }
  }

  void AddNet() {
    std::array<Rgb, kNetTones> colours;
    for (size_t tone = 0; tone < kNetTones; ++tone)
      colours[tone] = ColourOf(static_cast<NetTone>(tone), colours_.light, options_.safeColours);
    scene_.lineWidth = ThinLineOf(options_, view_.drawingSize);
    scene_.lines.reserve(options_.net->lines.size());
    for (const NetLine& line : options_.net->lines)
      if (!CutsAway((line.a + line.b) * 0.5))
        scene_.lines.push_back({At(line.a), At(line.b), colours[static_cast<size_t>(line.tone)]});
  }

  const Document& document_;
  const ViewState& view_;
  const RenderOptions& options_;
  double scale_ = 1.0;      // pixels to a view unit
  double angstrom_ = 1.0;   // pixels
  double perRadius_ = 1.0;  // pixels to an Å of an element's drawn radius
  double originX_ = 0.0;
  double originY_ = 0.0;
  double probability_ = 1.0;
  double smallest_ = 1.0;  // ellipsoid, pixels
  double highest_ = 0.0;   // peak
  LookColours colours_;
  ColourScheme scheme_;
  bool anisotropic_ = false;
  LitScene scene_;
};

}  // namespace

int FlatRendition(const Document& document, int mode) {
  if (mode != kLitRendition) return mode;
  for (const AtomRecord* atom : Atoms(document.atoms, kVisibleOnly)) {
    if (atom->IsAnisotropic()) return kThermalEllipsoid;
  }
  return kBallAndStick;
}

LitScene BuildLitScene(const Document& document, const ViewState& view, const RenderOptions& options) {
  return Builder(document, view, options).Build();
}

const Image& LitCache::Draw(LitScene scene, int width, int height, const LitOptions& options) {
  const bool same = surface_.width == width && surface_.height == height && moving_ == options.moving &&
                    shadow_ == options.shadow && scene == scene_;
  drawn_ = !same;
  if (same) return surface_;
  surface_ = Image();  // never two at a time
  surface_ = DrawLitSurface(scene, width, height, options);
  scene_ = std::move(scene);
  moving_ = options.moving;
  shadow_ = options.shadow;
  return surface_;
}

bool DrawOverLit(Document& document, const ViewState& view, const RenderOptions& options, Canvas& canvas,
                 InteractiveRenderer& renderer, const KeepGoing& keepGoing) {
  RenderOptions over = options;
  over.mode = FlatRendition(document, kLitRendition);
  over.clear = over.bodies = false;
  return renderer.Render(document, view, over, canvas, keepGoing);
}

LitPicture DrawLit(Document& document, const ViewState& view, const RenderOptions& options, int width, int height,
                   const LitOptions& lit, LabelFont* font, InteractiveRenderer& renderer, const KeepGoing& keepGoing) {
  LitOptions quality = lit;
  quality.shadow = lit.shadow && options.figure.ambientShadow;
  LitPicture picture{DrawLitSurface(BuildLitScene(document, view, options), width, height, quality), false};
  ScanlineCanvas canvas(picture.image, font);
  picture.complete = DrawOverLit(document, view, options, canvas, renderer, keepGoing);
  return picture;
}

}  // namespace marvik

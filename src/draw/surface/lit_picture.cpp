#include "draw/surface/lit_picture.h"

#include <algorithm>
#include <cmath>

#include "draw/canvas/colours.h"
#include "draw/canvas/scanline_canvas.h"
#include "draw/renderer/bond_sticks.h"
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

// Texts, and the lines that lead to them, of what the interactive renderer draws.
class TextsOnly : public Canvas {
 public:
  explicit TextsOnly(Canvas& canvas) : canvas_(canvas) {}
  void Clear(Rgb) override {}
  void Lines(std::span<const LinePiece>, const Pen&) override {}
  void Line(CanvasPoint a, CanvasPoint b, const Pen& pen) override {
    if (leaders_) canvas_.Line(a, b, pen);
  }
  void FillEllipse(const EllipseShape&, Rgb, const Pen&) override {}
  void DiscStack(CanvasPoint, std::span<const Disc>) override {}
  void Arc(const EllipseShape& shape, double t0, double t1, const Pen& pen) override {
    if (pen.width >= 2.0) canvas_.Arc(shape, t0, t1, pen);  // rings about what is selected
  }
  void FillSector(const EllipseShape&, double, double, Rgb) override {}
  void Polygon(std::span<const CanvasPoint>, Rgb, const Pen&) override {}
  void Polyline(std::span<const CanvasPoint>, const Pen&) override {}
  void Text(CanvasPoint at, TextAnchor anchor, std::string_view text, const TextLook& look) override {
    canvas_.Text(at, anchor, text, look);
  }
  CanvasPoint TextSize(std::string_view text, size_t lowered) override { return canvas_.TextSize(text, lowered); }
  void BeginGroup(std::string_view name) override { leaders_ = name == kLeaderGroup; }
  void EndGroup() override { leaders_ = false; }

 private:
  Canvas& canvas_;
  bool leaders_ = false;
};

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
    scene_.background = ColoursOf(options_.look, options_.printing || options_.whiteBackground).background;
    FindSmallest();
    for (const AtomRecord* atom : Atoms(document_.atoms, kVisibleOnly)) {
      if (!IsFinite(atom->position)) continue;
      AddAtom(*atom);
      for (const BondRecord* bond = atom->bonds; bond; bond = bond->next) {
        if (document_.atoms.Passes(bond->partner, kVisibleOnly) && IsFinite(bond->partner->position))
          AddBond(*atom, *bond);
      }
    }
    return std::move(scene_);
  }

 private:
  ViewPoint At(const AtomRecord& atom) const {
    const ViewPoint p = view_.transformPoint(atom.position - view_.viewCentre).p;
    return {originX_ + p.x * scale_, originY_ - p.y * scale_, p.z * scale_};
  }
  int RowOf(const AtomRecord& atom) const {
    return atom.element ? std::clamp(atom.element->atomicNumber, 0, kUnknownRow) : kUnknownRow;
  }
  Rgb ColourOfAtom(const AtomRecord& atom) const {
    if (atom.IsPeak()) return kPeakColour;
    const int row = RowOf(atom);
    return row == kUnknownRow ? kGrey : RgbOf(document_.elements[row].colour);
  }
  static bool IsHydrogenRow(int row) { return row == kHydrogenRow || row == kDeuteriumRow; }

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
    LitEllipsoid ellipsoid{At(atom), {}, ColourOfAtom(atom), options_.cutOctant};
    if (atom.IsAnisotropic() && RowOf(atom) != kUnknownRow && AxesOf(atom, ellipsoid.axes)) {
      scene_.ellipsoids.push_back(ellipsoid);
    } else {
      scene_.balls.push_back({ellipsoid.centre, RadiusOf(atom), ellipsoid.colour});
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
    for (const BondStick& stick : SticksOfOrder(bond.Order())) {
      const ViewPoint shift = across * (stick.side * width);
      scene_.sticks.push_back(
          {a + shift, b + shift, 0.5 * width * stick.share, ColourOfAtom(atom), ColourOfAtom(partner)});
    }
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
  bool anisotropic_ = false;
  LitScene scene_;
};

}  // namespace

LitScene BuildLitScene(const Document& document, const ViewState& view, const RenderOptions& options) {
  return Builder(document, view, options).Build();
}

LitPicture DrawLit(Document& document, const ViewState& view, const RenderOptions& options, int width, int height,
                   const LitOptions& lit, LabelFont* font, InteractiveRenderer& renderer, const KeepGoing& keepGoing) {
  const LitScene scene = BuildLitScene(document, view, options);
  LitPicture picture{DrawLitSurface(scene, width, height, lit), false};
  ScanlineCanvas canvas(picture.image, font);
  TextsOnly texts(canvas);
  RenderOptions over = options;
  over.mode = scene.ellipsoids.empty() ? kBallAndStick : kThermalEllipsoid;
  picture.complete = renderer.Render(document, view, over, texts, keepGoing);
  return picture;
}

}  // namespace marvik

#include <algorithm>
#include <cmath>

#include "draw/renderer/render_frame.h"

namespace marvik {

namespace {

// No ball is drawn larger, however far the view is zoomed in; device units.
constexpr double kLargestBall = 20000.0;

using ScreenDiscs = std::array<Disc, 8>;

// The eight discs as the bounding boxes of their pixels: from (-r + o) to (-r + s), the right end not included, with
// f = i (r - 1) / 16 + 0.5 in single precision, o the whole part of f and s that of 2 r - 3 f.
ScreenDiscs WholeDiscs(int r, const std::array<Rgb, 8>& shades) {
  ScreenDiscs discs;
  for (int i = 0; i < 8; ++i) {
    const float f = static_cast<float>(i) * static_cast<float>(r - 1) / 16.0f + 0.5f;
    const int o = static_cast<int>(f);
    const int s = static_cast<int>(2.0f * static_cast<float>(r) - 3.0f * f);
    const double middle = -r + (o + s - 1) / 2.0;
    const auto n = static_cast<size_t>(i);
    discs[n] = {{middle, middle}, std::max(0.0, (s - o) / 2.0), shades[n]};
  }
  return discs;
}

// The same without whole numbers.
ScreenDiscs ExactDiscs(double r, const std::array<Rgb, 8>& shades) {
  ScreenDiscs discs;
  for (size_t i = 0; i < 8; ++i) {
    const double f = static_cast<double>(i) * r / 16.0;
    discs[i] = {{-f, -f}, r - 2.0 * f, shades[i]};
  }
  return discs;
}

// On paper the discs shrink by 1/32 of the radius at a time. The last ones pass through nothing and grow again: they
// are the highlight.
std::array<Disc, 21> PageDiscs(double radius, const std::array<Rgb, 21>& shades) {
  const double step = radius / 32.0;
  std::array<Disc, 21> discs;
  discs[0] = {{0.0, 0.0}, radius, shades[0]};
  for (size_t n = 0; n < 20; ++n) {
    const auto k = static_cast<double>(n / 2 * 2);
    const double shift = -k * step / 2.0;
    const double smaller = radius - 2.0 * k * step - static_cast<double>(n % 2) * step;
    discs[n + 1] = {{shift, shift}, std::abs(smaller), shades[n + 1]};
  }
  return discs;
}

void DrawWholeBall(Canvas& canvas, CanvasPoint centre, int radius, const std::array<Rgb, 8>& shades) {
  if (radius < 2) {
    const std::array<Disc, 1> dot{{{{0.0, 0.0}, radius == 1 ? 1.0 : 0.5, shades[6]}}};
    canvas.DiscStack(centre, dot);
    return;
  }
  canvas.DiscStack(centre, WholeDiscs(radius, shades));
}

}  // namespace

void RenderFrame::SetUpBalls() {
  for (size_t row = 0; row < ballRadius_.size(); ++row) {
    const double drawRadius = document_->elements[static_cast<int>(row)].drawRadius;
    const double radius = drawRadius > 0.0 ? std::min(drawRadius * map_.ball, kLargestBall) : 0.0;
    // The quotient of two decimal fractions may fall a hair short of the whole number that it stands for.
    ballRadius_[row] = map_.whole ? std::floor(radius + 1e-9) : radius;
  }
}

void RenderFrame::DrawBall(const FrameAtom& atom) {
  const double radius = BallRadius(atom);
  const Rgb colour = ElementRgb(atom);
  if (options_->blackWhite) {
    const EllipseShape shape{Centre(atom), {std::max(radius, 0.5), 0.0}, {0.0, std::max(radius, 0.5)}};
    canvas_->FillEllipse(shape, kWhite, ThinPen(kBlack));
    DrawPattern(shape, document_->elements[atom.row].texture);
    return;
  }
  if (options_->printing) {
    canvas_->DiscStack(Centre(atom), PageDiscs(radius, PageBallShades(colour)));
    return;
  }
  Shades& shades = shades_[atom.row];
  if (!shades.known || shades.colour != colour) shades = {colour, true, BallShades(colour)};
  if (map_.whole) {
    DrawWholeBall(*canvas_, Centre(atom), static_cast<int>(radius), shades.screen);
  } else {
    canvas_->DiscStack(Centre(atom), ExactDiscs(std::max(radius, 0.5), shades.screen));
  }
}

}  // namespace marvik

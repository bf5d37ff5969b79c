#include <algorithm>
#include <cmath>

#include "draw/density/density_net.h"
#include "draw/renderer/render_frame.h"

namespace marvik {

namespace {

// The net is drawn by layers of one depth each, which stand between the bodies.
constexpr size_t kLayers = 48;
constexpr double kFarthestInk = 0.4;    // of the colour that the farthest layer has
constexpr Rgb kNetGrey{140, 140, 140};  // of holes in black and white
constexpr double kTextRim = 2.0;        // pixels of the screen

int16_t Short(double v) {
  return static_cast<int16_t>(std::lround(std::clamp(v, -32768.0, 32767.0)));
}

}  // namespace

void RenderFrame::SetUpNet() {
  for (auto& layer : netPieces_) layer.clear();
  netDepths_ = {};
  if (!options_->net || !options_->bodies) return;
  netPieces_.resize(kLayers * kNetTones);
  const std::vector<NetLine>& lines = options_->net->lines;
  netEnds_.clear();
  double low = 1e30;
  double high = -1e30;
  for (const NetLine& line : lines) {
    for (const Cartesian& end : {line.a, line.b}) {
      const ViewPoint p = view_->TransformPoint(end - view_->viewCentre).p;
      low = std::min(low, p.z);
      high = std::max(high, p.z);
      netEnds_.push_back(p);
    }
  }
  if (!(high >= low) || !std::isfinite(high - low)) return;
  netDepths_ = {low, std::max(high - low, 1e-6)};
  for (size_t i = 0; i < lines.size(); ++i) {
    const ViewPoint& a = netEnds_[2 * i];
    const ViewPoint& b = netEnds_[2 * i + 1];
    if (view_->CutsAway((a + b) * 0.5)) continue;
    const CanvasPoint p = NetPoint(a);
    const CanvasPoint q = NetPoint(b);
    if (!options_->printing && !map_.Shows(p, q, map_.unit)) continue;
    const double share = (0.5 * (a.z + b.z) - low) / netDepths_[1];
    const auto layer = std::min(static_cast<size_t>(share * kLayers), kLayers - 1);
    const double f = map_.fixedPoint;
    netPieces_[layer * kNetTones + static_cast<size_t>(lines[i].tone)].push_back(
        {Short(p.x * f), Short(p.y * f), Short(q.x * f), Short(q.y * f)});
  }
}

// Without cutting to whole pixels first.
CanvasPoint RenderFrame::NetPoint(const ViewPoint& p) const {
  const CanvasPoint offset = map_.Vector(p);
  return {map_.origin.x + offset.x, map_.origin.y + offset.y};
}

Rgb RenderFrame::NetColour(NetTone tone) const {
  if (!options_->blackWhite) return ColourOf(tone, colours_.light, options_->safeColours);
  return tone == NetTone::Plus || tone == NetTone::Observed ? kBlack : kNetGrey;
}

// Places in the depth order for the layers that hold something.
void RenderFrame::AddNetItems() {
  if (netPieces_.empty()) return;
  for (uint32_t layer = 0; layer < kLayers; ++layer) {
    const double z = netDepths_[0] + netDepths_[1] * (layer + 0.5) / kLayers;
    const auto first = netPieces_.begin() + static_cast<ptrdiff_t>(layer * kNetTones);
    if (std::any_of(first, first + kNetTones, [](const auto& pieces) { return !pieces.empty(); }))
      items_.push_back({OrderedKey(static_cast<float>(z)), kNetItem | layer});
  }
}

void RenderFrame::DrawNetLayer(uint32_t layer) {
  const double ink = kFarthestInk + (1.0 - kFarthestInk) * layer / (kLayers - 1.0);
  for (size_t tone = 0; tone < kNetTones; ++tone) {
    const auto& pieces = netPieces_[layer * kNetTones + tone];
    if (pieces.empty()) continue;
    const Rgb colour = NetColour(static_cast<NetTone>(tone));
    canvas_->ScaledLines(pieces, 1.0 / map_.fixedPoint, ThinPen(MixColours(Background(), colour, ink)));
  }
}

// All of it, under what is drawn then.
void RenderFrame::DrawNet() {
  if (!options_->net || !options_->bodies) return;
  SetUpNet();
  if (Grouped()) canvas_->BeginGroup("density");
  for (uint32_t layer = 0; layer < kLayers && !netPieces_.empty(); ++layer) DrawNetLayer(layer);
  if (Grouped()) canvas_->EndGroup();
}

void RenderFrame::DrawNetTexts() {
  if (!options_->net) return;
  for (const NetText& text : options_->net->texts) {
    const ViewPoint place = view_->TransformPoint(text.at - view_->viewCentre).p;
    const CanvasPoint at = NetPoint(place);
    if (view_->CutsAway(place) || !std::isfinite(at.x) || !std::isfinite(at.y) ||
        (!options_->printing && !map_.Shows(at, 0.0)))
      continue;
    TextLook look(NetColour(text.tone));
    look.rimColour = Background();
    look.rim = kTextRim * map_.unit;
    const CanvasPoint size = canvas_->TextSize(text.text);
    canvas_->Text({at.x - size.x / 2.0, at.y + size.y / 2.0}, TextAnchor::BottomLeft, text.text, look);
  }
}

}  // namespace marvik

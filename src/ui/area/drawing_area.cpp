#include "ui/area/drawing_area.h"

#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <algorithm>
#include <cmath>

#include "draw/canvas/scanline_canvas.h"
#include "draw/labels/label_font.h"
#include "draw/renderer/look.h"
#include "draw/view/picking.h"
#include "ui/area/key_state.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr int kUsualSide = 840;
constexpr double kLabelPixels = 12.0;
constexpr int kRest = 250;           // ms without a change after which the view counts as at rest
constexpr int kLitRest = 60;         // the same for the lit rendition, whose frames are seldom slow
constexpr double kSlowLit = 150;     // ms; where frames of half the grid take longer, a wire frame moves
constexpr double kSlowLabels = 12;   // ms
constexpr int kGlide = 15;           // ms between frames while labels go to their places
constexpr double kBondSlack = 2.0;   // nominal pixels beside a stick that still hit it
constexpr double kLoneMark = 6.0;    // radius of the mark about an atom without a body, nominal pixels
constexpr double kHoverRoom = 1.12;  // of a body
constexpr double kHoverWidth = 2.0;
constexpr int kAtomsBetweenClocks = 64;

// Lets the view's square lie in the middle of the whole area for one frame; for everyone else it is all there is.
class SquareInArea {
 public:
  SquareInArea(ViewState& view, const QSize& area) : view_(view) {
    view.viewportOffsetX = (area.width() - view.viewportWidth) / 2;
    view.viewportOffsetY = (area.height() - view.viewportHeight) / 2;
    view.fullWidth = area.width();
    view.fullHeight = area.height();
  }
  ~SquareInArea() {
    view_.viewportOffsetX = view_.viewportOffsetY = 0;
    view_.fullWidth = view_.viewportWidth;
    view_.fullHeight = view_.viewportHeight;
  }
  SquareInArea(const SquareInArea&) = delete;
  SquareInArea& operator=(const SquareInArea&) = delete;

 private:
  ViewState& view_;
};

}  // namespace

DrawingArea::DrawingArea(Workbench& bench, QWidget* parentWidget)
    : QWidget(parentWidget), bench_(bench), keyProbe_([this] { return isActiveWindow() && InterruptKeyDown(); }) {
  setAttribute(Qt::WA_OpaquePaintEvent);
  setAttribute(Qt::WA_NoSystemBackground);
  setMouseTracking(true);
  setFocusPolicy(Qt::StrongFocus);
  setMinimumSize(160, 160);
  restTimer_.setSingleShot(true);
  restTimer_.setInterval(kRest);
  connect(&restTimer_, &QTimer::timeout, this, &DrawingArea::Redraw);
  glideTimer_.setSingleShot(true);
  glideTimer_.setInterval(kGlide);
  connect(&glideTimer_, &QTimer::timeout, this, [this] {
    stale_ = true;
    update();
  });
}

DrawingArea::~DrawingArea() = default;

QPointF DrawingArea::PlaceOf(const Cartesian& position) const {
  ViewState& view = bench_.view;
  const SquareInArea square(view, DeviceSize());
  const PixelPoint at = view.ToPixel(view.TransformPoint(position - view.viewCentre));
  return FromDevice(QPointF(at.x + view.panX + 0.5, at.y + view.panY + 0.5));
}

QSize DrawingArea::sizeHint() const {
  const int available = screen() ? screen()->availableSize().height() * 8 / 10 : kUsualSide;
  const int side = std::min(kUsualSide, available);
  return {side, side};
}

QSize DrawingArea::DeviceSize() const {
  const double ratio = devicePixelRatioF();
  return {std::max(1, static_cast<int>(std::lround(width() * ratio))),
          std::max(1, static_cast<int>(std::lround(height() * ratio)))};
}

void DrawingArea::Redraw() {
  moving_ = false;
  restTimer_.stop();
  stale_ = true;
  update();
}

void DrawingArea::RedrawMoving() {
  Redraw();
  if (bench_.RenditionMode == kWireFrame || (!IsLit() && fullFrame_ <= slowFrame_)) return;
  moving_ = true;
  restTimer_.start(IsLit() ? kLitRest : kRest);
}

void DrawingArea::HoldFrames(bool on) {
  held_ += on ? 1 : -1;
  if (held_ == 0) update();
}

void DrawingArea::SetDragging(bool on) {
  if (dragging_ == on) return;
  dragging_ = on;
  // A lit model that is held still is shown in full.
  if (bench_.RenditionMode != kWireFrame && !(IsLit() && on)) Redraw();
}

bool DrawingArea::IsLit() const {
  return bench_.RenditionMode == kLitRendition;
}

void DrawingArea::SetBand(const QRect& rectangle) {
  if (band_ == rectangle) return;
  band_ = rectangle;
  update();
}

void DrawingArea::SetMarks(uint32_t start, uint32_t target) {
  startMark_ = start;
  targetMark_ = target;
  update();
}

// The view keeps what it shows; only the square that it fills is another.
void DrawingArea::FitToSize() {
  const QSize size = DeviceSize();
  const double side = std::min(size.width(), size.height());
  if (bench_.view.drawingSize == side) return;
  bench_.view.drawingSize = side;
  bench_.view.FitView(bench_.view.viewRadius, std::nullopt);
}

void DrawingArea::resizeEvent(QResizeEvent*) {
  FitToSize();
  RedrawMoving();
}

void DrawingArea::DrawFrame(bool gliding) {
  const QSize size = DeviceSize();
  const double ratio = devicePixelRatioF();
  if (frame_.size() != size) frame_ = QImage(size, QImage::Format_RGB32);
  frame_.setDevicePixelRatio(ratio);
  FitToSize();
  if (!font_) font_ = std::make_unique<LabelFont>(kLabelPixels * ratio);
  if (font_->Pixels() != kLabelPixels * ratio) font_->SetPixels(kLabelPixels * ratio);
  auto* pixels = reinterpret_cast<uint32_t*>(frame_.bits());
  const auto stride = static_cast<ptrdiff_t>(frame_.bytesPerLine()) / 4;
  if (!canvas_) canvas_ = std::make_unique<ScanlineCanvas>(pixels, size.width(), size.height(), stride, font_.get());
  canvas_->SetTarget(pixels, size.width(), size.height(), stride);

  RenderOptions options = bench_.ScreenOptions();
  const bool quick = IsLit() ? moving_ : dragging_ || moving_;
  const bool wire = quick && (!IsLit() || coarseFrame_ > kSlowLit);
  if (wire) options.mode = kWireFrame;
  const SquareInArea square(bench_.view, size);
  clock_.start();
  nextPoll_ = firstPoll_;
  asked_ = 0;
  bool labelsWait = false;
  const auto goOn = [this] { return KeepGoing(); };
  if (IsLit() && !wire) {
    // Where labels take long to find their places the model does not wait for them.
    const bool fresh = DrawSurface(options, quick);
    options.steadyLabels = gliding;
    options.carriedLabels = gliding && fresh && labelTime_ > kSlowLabels;
    const qint64 start = clock_.nsecsElapsed();
    interrupted_ = !DrawOverLit(bench_.document, bench_.view, options, *canvas_, bench_.renderer, goOn);
    if (!options.carriedLabels) labelTime_ = static_cast<double>(clock_.nsecsElapsed() - start) / 1e6;
    labelsWait = options.carriedLabels && !quick;
  } else {
    // A model that takes long to draw is not drawn again and again for its labels.
    options.steadyLabels = gliding && (wire || fullFrame_ <= slowFrame_);
    interrupted_ = !bench_.renderer.Render(bench_.document, bench_.view, options, *canvas_, goOn);
  }
  if (!wire && !IsLit()) fullFrame_ = static_cast<double>(clock_.nsecsElapsed()) / 1e6;
  stale_ = false;
  ++framesDrawn_;
  if ((bench_.renderer.LabelsSettled() && !labelsWait) || interrupted_) {
    glideTimer_.stop();
  } else {
    glideTimer_.start();
  }
  if (interrupted_) Q_EMIT Interrupted();
}

bool DrawingArea::DrawSurface(const RenderOptions& options, bool coarse) {
  LitOptions lit;
  lit.moving = coarse;
  lit.shadow = options.figure.ambientShadow;
  const Image& surface =
      surface_.Draw(BuildLitScene(bench_.document, bench_.view, options), frame_.width(), frame_.height(), lit);
  for (int y = 0; y < surface.height; ++y) {
    const uint32_t* row = surface.pixels.data() + static_cast<ptrdiff_t>(y) * surface.width;
    std::copy_n(row, surface.width, reinterpret_cast<uint32_t*>(frame_.scanLine(y)));
  }
  if (coarse && surface_.WasDrawn()) coarseFrame_ = static_cast<double>(clock_.nsecsElapsed()) / 1e6;
  return surface_.WasDrawn();
}

QColor DrawingArea::Background() const {
  const Rgb colour = ColoursOf(bench_.look, false).background;
  return {colour.r, colour.g, colour.b};
}

bool DrawingArea::KeepGoing() {
  if (++asked_ % kAtomsBetweenClocks != 0) return true;
  const qint64 now = clock_.elapsed();
  if (now < nextPoll_) return true;
  nextPoll_ = now + pollEvery_;
  if (keyProbe_()) return ignoreHeldKey_;
  ignoreHeldKey_ = false;
  return true;
}

void DrawingArea::ShowPicture(const Image& picture, const std::array<double, 3>& around) {
  const QSize size = DeviceSize();
  QImage whole(size, QImage::Format_RGB32);
  whole.setDevicePixelRatio(devicePixelRatioF());
  whole.fill(
      QColor::fromRgbF(static_cast<float>(around[0]), static_cast<float>(around[1]), static_cast<float>(around[2])));
  const int left = (size.width() - picture.width) / 2;
  const int top = (size.height() - picture.height) / 2;
  for (int y = std::max(0, -top); y < std::min(picture.height, size.height() - top); ++y) {
    auto* row = reinterpret_cast<uint32_t*>(whole.scanLine(top + y));
    for (int x = std::max(0, -left); x < std::min(picture.width, size.width() - left); ++x) {
      row[left + x] = picture.At(x, y);
    }
  }
  SetPicture(whole);
}

void DrawingArea::SetPicture(const QImage& picture) {
  // Labels on their way would change the frame under the picture soon.
  if (stale_ || frame_.size() != DeviceSize() || glideTimer_.isActive()) DrawFrame(false);
  picture_ = picture;
  underneath_ = picture.isNull() ? QImage() : frame_.copy();
  update();
}

void DrawingArea::InvertBand(QImage& shown) const {
  if (band_.isNull()) return;
  const QRect inside = band_.intersected(shown.rect());
  const auto invert = [&shown](int x, int y) {
    if (!shown.rect().contains(x, y)) return;
    reinterpret_cast<uint32_t*>(shown.scanLine(y))[x] ^= 0x00ffffffu;
  };
  for (int x = inside.left(); x <= inside.right(); ++x) {
    invert(x, band_.top());
    if (band_.height() > 1) invert(x, band_.bottom());
  }
  for (int y = std::max(inside.top(), band_.top() + 1); y <= std::min(inside.bottom(), band_.bottom() - 1); ++y) {
    invert(band_.left(), y);
    if (band_.width() > 1) invert(band_.right(), y);
  }
}

void DrawingArea::paintEvent(QPaintEvent*) {
  const QSize size = DeviceSize();
  if (held_ == 0 && (stale_ || frame_.size() != size)) {
    // The first frame is not waited for.
    if (framesDrawn_ == 0) RedrawMoving();
    DrawFrame(true);
    if (frame_ != underneath_) picture_ = underneath_ = QImage();
  }
  QPainter painter(this);
  if (frame_.size() != size) painter.fillRect(rect(), Background());
  if (!frame_.isNull()) {
    const QPointF corner = FromDevice(QPointF(size.width() - frame_.width(), size.height() - frame_.height()) / 2);
    QImage& shown = picture_.size() == frame_.size() ? picture_ : frame_;
    InvertBand(shown);
    painter.drawImage(QPointF(std::round(corner.x()), std::round(corner.y())), shown);
    InvertBand(shown);
  }
  if (held_ == 0) {
    PaintSelectedNames(painter);
    PaintHover(painter);
    PaintMarks(painter);
    PaintHint(painter);
  }
  painter.end();
  Q_EMIT Painted();
}

// Never smaller than the mark about an atom without one.
EllipseShape DrawingArea::BodyOf(const AtomRecord& atom) const {
  const double reach = kLoneMark * devicePixelRatioF();
  const CanvasPoint centre{atom.screenX + 0.5, atom.screenY + 0.5};
  const auto body = stale_ ? std::nullopt : bench_.renderer.BodyOf(atom);
  const bool round = body && std::hypot(body->p.x, body->p.y) > reach;
  return round ? *body : EllipseShape{centre, {reach, 0.0}, {0.0, reach}};
}

FrameHit DrawingArea::HitAt(const QPointF& position) const {
  const QPointF at = ToDevice(position);
  const double ratio = devicePixelRatioF();
  // The records of a frame that is to be drawn anew may be gone.
  FrameHit hit;
  if (!stale_) hit = bench_.renderer.At({at.x(), at.y()}, kBondSlack * ratio);
  if (hit.atom || hit.bond) return hit;
  const AtomList& atoms = bench_.document.atoms;
  if (const AtomRecord* atom = HitTestAtom(atoms, at.x(), at.y(), ratio)) {
    hit.atom = atom;
    hit.body = BodyOf(*atom);
  } else if (const BondRecord* bond = HitTestBond(atoms, at.x(), at.y(), ratio).bond) {
    hit.bond = bond;
    hit.from = {bond->owner->screenX + 0.5, bond->owner->screenY + 0.5};
    hit.to = {bond->partner->screenX + 0.5, bond->partner->screenY + 0.5};
  }
  return hit;
}

void DrawingArea::SetPointer(const std::optional<QPointF>& position) {
  pointer_ = position;
  update();
}

void DrawingArea::PaintHover(QPainter& painter) const {
  if (!pointer_ || dragging_ || stale_) return;
  const FrameHit hit = HitAt(*pointer_);
  if (!hit.atom && !hit.bond) return;
  const bool light = ColoursOf(bench_.look, false).light;
  painter.save();
  painter.setRenderHint(QPainter::Antialiasing);
  painter.scale(1.0 / devicePixelRatioF(), 1.0 / devicePixelRatioF());
  QPen pen(light ? QColor(0, 95, 170, 210) : QColor(255, 255, 255, 200), kHoverWidth * devicePixelRatioF());
  pen.setCapStyle(Qt::RoundCap);
  painter.setPen(pen);
  if (hit.bond) {
    const auto between = [&](double t) {
      return QPointF(hit.from.x + (hit.to.x - hit.from.x) * t, hit.from.y + (hit.to.y - hit.from.y) * t);
    };
    painter.drawLine(between(0.25), between(0.75));
  } else {
    const EllipseShape& e = hit.body;
    QPainterPath path;
    path.addEllipse(QPointF(0, 0), kHoverRoom, kHoverRoom);
    painter.drawPath(QTransform(e.p.x, e.p.y, e.q.x, e.q.y, e.centre.x, e.centre.y).map(path));
    PaintName(painter, *hit.atom);
  }
  painter.restore();
}

// What is selected is named where labels are switched off, or had no room for it.
void DrawingArea::PaintSelectedNames(QPainter& painter) const {
  constexpr size_t kMost = 40;
  const AtomArray& selection = bench_.document.atoms.selection;
  if (dragging_ || moving_ || stale_ || bench_.look == Look::Classic || selection.Size() > kMost) return;
  painter.save();
  painter.scale(1.0 / devicePixelRatioF(), 1.0 / devicePixelRatioF());
  for (const AtomRecord* atom : selection)
    if (bench_.document.atoms.Passes(atom, kVisibleOnly)) PaintName(painter, *atom);
  painter.restore();
}

// Of an atom that has no label in the picture.
void DrawingArea::PaintName(QPainter& painter, const AtomRecord& atom) const {
  const auto& labels = bench_.renderer.Labels();
  if (std::ranges::find(labels, &atom, &PlacedLabel::atom) != labels.end()) return;
  const EllipseShape body = BodyOf(atom);
  QFont letters = font();
  letters.setPixelSize(static_cast<int>(std::lround(kLabelPixels * devicePixelRatioF())));
  painter.setFont(letters);
  const QString name = ToText(atom.name);
  const QFontMetricsF metrics(letters);
  const double reach = std::max(std::hypot(body.p.x, body.q.x), kLoneMark) * kHoverRoom;
  QRectF box = metrics.boundingRect(name).adjusted(-3, -1, 3, 1);
  box.moveBottomLeft(QPointF(body.centre.x + reach, body.centre.y - reach / 2));
  QColor ground = Background();
  ground.setAlpha(190);
  painter.fillRect(box, ground);
  painter.setPen(ColoursOf(bench_.look, false).light ? Qt::black : Qt::white);
  painter.drawText(box, Qt::AlignCenter, name);
}

void DrawingArea::PaintMarks(QPainter& painter) const {
  const auto ring = [&](uint32_t serial, Qt::PenStyle style) {
    const AtomRecord* atom = serial ? bench_.document.atoms.FindSerial(serial) : nullptr;
    if (!atom) return;
    const bool light = ColoursOf(bench_.look, false).light;
    painter.setPen(QPen(light ? QColor(176, 90, 0) : QColor(255, 210, 80), 1.6, style));
    painter.drawEllipse(FromDevice(QPointF(atom->screenX + 0.5, atom->screenY + 0.5)), 11.0, 11.0);
  };
  if (!startMark_ && !targetMark_) return;
  painter.setRenderHint(QPainter::Antialiasing);
  ring(startMark_, Qt::DotLine);
  ring(targetMark_, Qt::SolidLine);
}

QStringList DrawingArea::HintLines() const {
  const Document& document = bench_.document;
  if (document.atoms.head) {
    if (Atoms(document.atoms, kVisibleOnly).begin() != Atoms(document.atoms, kVisibleOnly).end()) return {};
    return {tr("Every atom is hidden"), tr("Select > Show All brings them back")};
  }
  const QString gestures =
      tr("Drag to rotate, Ctrl + drag or the middle button to move, the wheel to zoom\n"
         "Click to select, Shift + drag to select many, right click for what can be done");
  if (!document.CurrentFile.empty()) {
    return {tr("No atoms in %1").arg(ToText(bench_.Title())),
            tr("Refine > Solve finds them from the reflections beside the file\n"
               "Open another file: Ctrl+O or drop one here")};
  }
  return {tr("Open a file: Ctrl+O or drop one here"), tr("Instruction and result files (.ins, .res), CIF"), gestures};
}

void DrawingArea::PaintHint(QPainter& painter) const {
  const QStringList lines = HintLines();
  if (lines.isEmpty()) return;
  const double spacing = 26.0;
  const double pad = 16.0;
  QRectF place = QRectF(rect()).adjusted(pad, 0, -pad, 0);
  double y = height() / 2.0 - 46.0;
  const bool light = ColoursOf(bench_.look, false).light;
  const QColor first = light ? QColor(40, 46, 52) : QColor(215, 222, 230);
  const QColor others = light ? QColor(88, 96, 104) : QColor(150, 160, 170);
  for (qsizetype i = 0; i < lines.size(); ++i) {
    QFont lineFont = font();
    lineFont.setPointSizeF(font().pointSizeF() * (i == 0 ? 1.5 : 1.0));
    painter.setFont(lineFont);
    painter.setPen(i == 0 ? first : others);
    place.setTop(y);
    place.setHeight(height());
    QRectF used;
    painter.drawText(place, Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap, lines[i], &used);
    y = used.bottom() + (i == 0 ? 10.0 : spacing);
  }
}

}  // namespace marvik

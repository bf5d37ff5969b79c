#include "gl/gl_picture.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "draw/canvas/colours.h"
#include "draw/canvas/scanline_canvas.h"
#include "draw/labels/text_drawing.h"
#include "gl/gl_calls.h"
#include "gl/gl_context.h"
#include "gl/gl_painter.h"
#include "gl/gl_veil.h"

namespace marvik {
namespace {

constexpr int kTargetSide = 2048;    // samples; larger pictures are drawn in tiles
constexpr int kManySamples = 5;      // per pixel and direction
constexpr int kLargePicture = 2000;  // from here on fewer will do
constexpr int kFewSamples = 3;
constexpr int kEmPerRim = 14;                    // pixels of a label's em to a pixel of its rim
constexpr double kPixelsPerPoint = 96.0 / 72.0;  // of labels: 8 points are then a 60th of 600 pixels
constexpr int kStandardPoints = 8;
constexpr int kLargestStandardBitmap = 600;
constexpr float kLeastEmShare = 0.016666668f;

// Atoms that were begun, over all tiles or layers.
class Progress {
 public:
  Progress(const KeepGoing& keepGoing, const std::function<void(int, int)>& progress, int64_t total)
      : keepGoing_(keepGoing), progress_(progress), total_(static_cast<int>(std::min<int64_t>(total, 1'000'000'000))) {}
  bool GoOn() const { return !keepGoing_ || keepGoing_(); }
  bool Step() {
    if (!GoOn()) return false;
    if (progress_) progress_(std::min(++done_, total_), total_);
    return true;
  }

 private:
  const KeepGoing& keepGoing_;
  const std::function<void(int, int)>& progress_;
  int total_;
  int done_ = 0;
};

Rgb ColourOfSample(uint32_t rgba) {
  return {static_cast<uint8_t>(rgba), static_cast<uint8_t>(rgba >> 8), static_cast<uint8_t>(rgba >> 16)};
}

struct Job {
  const GlScene& scene;
  const GlPictureOptions& options;
  int size;
  std::vector<GlLayer> layers;
  Image& image;
};

GlPicture Failed(std::string text, std::string caption = {}) {
  GlPicture picture;
  picture.error = std::move(text);
  picture.caption = std::move(caption);
  return picture;
}

// Every layer drawn by itself and blended over what is there.
bool DrawDirectly(const Job& job, GlPainter& painter, const KeepGoing& keepGoing,
                  const std::function<void(int, int)>& tell) {
  const int64_t total = static_cast<int64_t>(job.layers.size() * job.scene.atoms.size());
  Progress progress(keepGoing, tell, total);
  painter.Begin({0, 0, job.size, job.size});
  bool complete = true;
  for (size_t i = 0; i < job.layers.size() && complete; ++i) {
    if (i == 1) {
      glEnable(GL_BLEND);
      glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    }
    complete = painter.Draw(job.layers[i], [&] { return progress.Step(); });
  }
  glDisable(GL_BLEND);
  glFinish();
  GlSamples samples;
  samples.width = samples.height = job.size;
  GlTarget::Read(job.size, job.size, samples.colours, samples.depths);
  VeilSamples(job.scene, job.size, 0, 0, samples);
  const std::vector<uint32_t>& colours = samples.colours;
  for (int y = 0; y < job.size; ++y) {
    for (int x = 0; x < job.size; ++x)
      job.image.At(x, job.size - 1 - y) = PixelOf(
          ColourOfSample(colours[static_cast<size_t>(y) * static_cast<size_t>(job.size) + static_cast<size_t>(x)]));
  }
  return complete;
}

int FactorFor(const Job& job) {
  if (job.layers.size() == 1) return 1;
  return job.size < kLargePicture ? kManySamples : kFewSamples;
}

// One picture with several samples to a pixel holds all layers; drawn in tiles.
bool DrawSampled(const Job& job, GlPainter& painter, int factor, const KeepGoing& keepGoing,
                 const std::function<void(int, int)>& tell) {
  GlSamples samples;
  samples.factor = factor;
  samples.margin = LargestShift(job.layers, job.size);
  const int most = std::max(kTargetSide / factor - 2 * samples.margin, 1);
  const int perSide = (job.size + most - 1) / most;
  Progress progress(keepGoing, tell, int64_t{perSide} * perSide * static_cast<int64_t>(job.scene.atoms.size()));
  bool complete = true;
  const auto from = [&](int i) { return static_cast<int>(int64_t{job.size} * i / perSide); };
  for (int row = 0; row < perSide; ++row) {
    for (int column = 0; column < perSide; ++column) {
      const int left = from(column);
      const int top = from(row);
      samples.width = from(column + 1) - left;
      samples.height = from(row + 1) - top;
      const GlWindow window{left - samples.margin, job.size - top - samples.height - samples.margin,
                            samples.width + 2 * samples.margin, samples.height + 2 * samples.margin};
      if (!complete || !painter.ShowsAnything(window)) {
        continue;
      }
      painter.Begin(window);
      complete = painter.Draw(job.layers.front(), [&] { return progress.Step(); });
      GlTarget::Read(samples.Stride(), samples.Rows(), samples.colours, samples.depths);
      VeilSamples(job.scene, job.size, window.left, window.bottom, samples);
      const auto goOn = [&] { return complete && progress.GoOn(); };
      complete = CombineLayers(samples, job.layers, job.scene.background, job.options.transparent, job.image, left, top,
                               goOn) &&
                 complete;
    }
  }
  return complete;
}

void PaintLabels(const GlScene& scene, bool rimmed, LabelFont& font, Image& image) {
  const Surface surface{image.pixels.data(), image.width, image.height, image.width};
  if (!scene.leaders.empty()) {
    ScanlineCanvas canvas(image);
    const double width = std::max(1.0, font.Pixels() / kEmPerRim);
    for (const GlLeader& leader : scene.leaders)
      canvas.Line(leader.a, leader.b, {leader.colour, std::max(width, leader.width)});
  }
  if (!scene.corners.empty()) {
    ScanlineCanvas canvas(image);
    for (const auto& draw : scene.corners) draw(canvas);
  }
  for (const GlLabel& label : scene.labels) {
    const CanvasPoint base{std::round(label.corner.x), std::round(label.corner.y - font.Descent())};
    TextLook look = label.look;
    look.rim = rimmed && look.rim > 0.0 ? std::max(1.0, std::floor(font.Pixels() / kEmPerRim)) : 0.0;
    DrawText(surface, font, base, label.text, look);
  }
}

}  // namespace

int ProperPointSize(const std::string& fontFile, int bitmapSize) {
  if (bitmapSize <= kLargestStandardBitmap || LabelFont(kStandardPoints, fontFile).IsBuiltIn()) return kStandardPoints;
  const auto emPixels = [](int points) { return static_cast<float>(std::floor(points * kPixelsPerPoint)); };
  int points = kStandardPoints;
  while (emPixels(points) / static_cast<float>(bitmapSize) < kLeastEmShare) ++points;
  return points;
}

namespace {

// What the same scene shows on black and on white says how far each pixel is covered, and by what colour.
uint32_t Uncovered(uint32_t onBlack, uint32_t onWhite) {
  const auto part = [](uint32_t pixel, int shift) { return static_cast<int>(pixel >> shift & 255); };
  int through = 255;
  for (const int shift : {0, 8, 16})
    through = std::min(through, std::max(part(onWhite, shift) - part(onBlack, shift), 0));
  const int cover = 255 - through;
  uint32_t pixel = static_cast<uint32_t>(cover) << 24;
  for (const int shift : {0, 8, 16})
    if (cover > 0)
      pixel |= static_cast<uint32_t>(std::min((part(onBlack, shift) * 255 + cover / 2) / cover, 255)) << shift;
  return pixel;
}

// Translucent faces and fog mix with what is behind them.
bool RenderUncovered(const GlScene& scene, int size, GlPictureOptions options, Image& image, std::string& error,
                     const KeepGoing& keepGoing, const std::function<void(int done, int total)>& progress) {
  options.transparent = false;
  GlScene backed = scene;
  Image onWhite(size, size);
  backed.background = kWhite;
  const bool first = RenderGlScene(backed, size, options, onWhite, error, keepGoing, progress);
  backed.background = kBlack;
  const bool second = first && RenderGlScene(backed, size, options, image, error, keepGoing, progress);
  if (!second) return false;
  std::ranges::transform(image.pixels, onWhite.pixels, image.pixels.begin(), Uncovered);
  return true;
}

}  // namespace

bool RenderGlScene(const GlScene& scene, int size, const GlPictureOptions& options, Image& image, std::string& error,
                   const KeepGoing& keepGoing, const std::function<void(int done, int total)>& progress) {
  if (options.transparent && (!scene.faces.empty() || scene.fog > 0.0))
    return RenderUncovered(scene, size, options, image, error, keepGoing, progress);
  Job job{scene, options, size,
          LayersOf({options.antiAlias, options.settings.layerCount, options.colour, options.printing, size}), image};
  const int factor = options.direct ? 1 : FactorFor(job);
  const int side = options.direct ? size : std::min(kTargetSide, (size + 2 * LargestShift(job.layers, size)) * factor);
  std::fill(image.pixels.begin(), image.pixels.end(), options.transparent ? 0u : PixelOf(scene.background));
  if (scene.atoms.empty() && scene.lines.empty()) return true;
  if (!LoadGlCalls()) {
    error = "Could not initialize the device context.";
    return false;
  }
  const auto context = options.makeContext ? options.makeContext(error) : MakeOffscreenContext(error);
  if (!context) return false;
  const GlTarget target(side, side);
  if (!target.IsComplete()) {
    error = "Failed to create DIBSection.";
    return false;
  }
  if (!InitGlContext()) {
    error = "Could not initialize the device context.";
    return false;
  }
  GlPainter painter(scene, {options.colour, options.settings.cutSection, size, factor, !options.direct});
  return options.direct ? DrawDirectly(job, painter, keepGoing, progress)
                        : DrawSampled(job, painter, factor, keepGoing, progress);
}

GlPicture RenderGlPicture(Document& document, const ViewState& view, int size, const GlPictureOptions& options,
                          const KeepGoing& keepGoing, const std::function<void(int done, int total)>& progress) {
  if (size < 1 || size > kLargestGlPicture)
    return Failed("Incorrect bitmap dimensions. (Must be >= 1)", "Error: Incorrect Dimensions");
  if (options.mode != kBallAndStick && options.mode != kThermalEllipsoid) {
    return Failed(kInvalidDisplayText, kInvalidDisplayCaption);
  }
  try {
    const FigureChoices& figure = options.figure;
    const bool texts =
        options.labels || options.showCell || options.marks || figure.tripod || figure.scaleBar || figure.legend;
    LabelFont font(options.labelPointSize * kPixelsPerPoint, texts ? options.settings.fontPath : "");
    if (texts && font.IsBuiltIn()) return Failed("Can't open the font file " + options.settings.fontPath);
    if (texts && options.labelPointSize < 1) return Failed("Can't create a font.");
    GlPicture picture;
    const GlScene scene = BuildGlScene(document, view, size, options, texts ? &font : nullptr);
    picture.image.emplace(size, size);
    picture.complete = RenderGlScene(scene, size, options, *picture.image, picture.error, keepGoing, progress);
    if (!picture.error.empty()) return Failed(picture.error);
    PaintLabels(scene, !options.transparent, font, *picture.image);
    return picture;
  } catch (const std::bad_alloc&) {
    return Failed("Failed to create DIBSection.");
  }
}

}  // namespace marvik

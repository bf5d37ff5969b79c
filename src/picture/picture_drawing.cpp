#include "picture/picture_drawing.h"

#include <algorithm>
#include <cmath>

#include "base/files.h"
#include "draw/canvas/scanline_canvas.h"
#include "draw/labels/label_font.h"
#include "draw/surface/lit_picture.h"
#include "picture/gl_output.h"
#include "picture/label_report.h"

namespace marvik {
namespace {

constexpr double kPointsPerInch = 72.0;
constexpr double kUsualWidth = 450.0;  // points
constexpr double kLeastLabel = 6.0;    // points, of type that can be read

// What a picture has whatever the screen shows.
void ForPicture(RenderOptions& options, const Document& document, const PictureOptions& picture) {
  options.selection = false;
  options.blackWhite = picture.blackWhite;
  if (options.blackWhite) options.mode = FlatRendition(document, options.mode);
  options.layout = !picture.labelReport.empty();
  if (options.exact) options.mode = FlatRendition(document, options.mode);
  const bool light = (options.look == Look::Light || options.look == Look::Paper) && !options.blackWhite;
  if (picture.background == PictureBackground::Black && light) options.look = Look::Dark;
}

std::optional<Image> DrawLitPixels(PictureSubject& subject, const PictureOptions& picture,
                                   InteractiveRenderer& renderer) {
  LabelFont font(LabelPoints(subject) / PointsPerPixel(picture));
  LitPicture lit = DrawLit(subject.document, FittedView(subject, picture.size), PixelOptions(subject, picture),
                           picture.size, picture.size, {}, &font, renderer, subject.goOn);
  if (!lit.complete) {
    SayPictureStopped(subject.messages);
    return {};
  }
  if (!WriteLabelReport(subject, picture, renderer, picture.size, PointsPerPixel(picture))) return {};
  return KeptRows(lit.image, picture);
}

std::optional<Image> DrawPlainPixels(PictureSubject& subject, const PictureOptions& picture,
                                     InteractiveRenderer& renderer) {
  Image image(picture.size, picture.size);
  LabelFont font(LabelPoints(subject) / PointsPerPixel(picture));
  ScanlineCanvas canvas(image, &font);
  if (!renderer.Render(subject.document, FittedView(subject, picture.size), PixelOptions(subject, picture), canvas,
                       subject.goOn)) {
    SayPictureStopped(subject.messages);
    return {};
  }
  if (!WriteLabelReport(subject, picture, renderer, picture.size, PointsPerPixel(picture))) return {};
  return KeptRows(image, picture);
}

}  // namespace

std::nullopt_t RefusePicture(UserMessages& messages, const std::string& text) {
  messages.Show({MessageIcon::Warning, "Error: File I/O", text});
  return std::nullopt;
}

int VectorSide(const PictureOptions& picture) {
  if (!(picture.resolution > 0.0)) return picture.size;
  return std::max(kSmallestPicture, static_cast<int>(std::lround(picture.size * kPointsPerInch / picture.resolution)));
}

double PointsPerPixel(const PictureOptions& picture) {
  return picture.resolution > 0.0 ? kPointsPerInch / picture.resolution : kUsualWidth / picture.size;
}

double LabelPoints(const PictureSubject& subject) {
  return std::max(subject.look.labelPoints, kLeastLabel);
}

ViewState FittedView(const PictureSubject& subject, double side) {
  ViewState view = subject.view;
  const double factor = view.drawingSize > 0.0 ? side / view.drawingSize : 1.0;
  view.panX = static_cast<int32_t>(std::lround(std::clamp(view.panX * factor, -1e6, 1e6)));
  view.panY = static_cast<int32_t>(std::lround(std::clamp(view.panY * factor, -1e6, 1e6)));
  view.drawingSize = side;
  view.fitView(view.viewRadius, std::nullopt);
  return view;
}

RenderOptions PixelOptions(const PictureSubject& subject, const PictureOptions& picture) {
  RenderOptions options = subject.look;
  options.whiteBackground =
      picture.background == PictureBackground::Transparent || picture.background == PictureBackground::White;
  ForPicture(options, subject.document, picture);
  return options;
}

bool DrawLines(PictureSubject& subject, const PictureOptions& picture, double side, Canvas& canvas) {
  RenderOptions options = subject.look;
  options.exact = true;
  options.cutOctant = true;
  options.whiteBackground = picture.background != PictureBackground::Black;
  options.clear = picture.background != PictureBackground::Transparent;
  ForPicture(options, subject.document, picture);
  InteractiveRenderer renderer;
  if (renderer.Render(subject.document, FittedView(subject, side), options, canvas, subject.goOn))
    return WriteLabelReport(subject, picture, renderer, static_cast<int>(side), 1.0);
  SayPictureStopped(subject.messages);
  return false;
}

std::optional<Image> DrawPixels(PictureSubject& subject, const PictureOptions& picture) {
  InteractiveRenderer renderer;
  return DrawPixels(subject, picture, renderer);
}

std::optional<Image> DrawPixels(PictureSubject& subject, const PictureOptions& picture, InteractiveRenderer& renderer) {
  if (picture.openGl) {
    auto image = DrawGlImage(subject, picture);
    if (image) *image = KeptRows(*image, picture);
    return image;
  }
  return subject.look.mode == kLitRendition && !picture.blackWhite ? DrawLitPixels(subject, picture, renderer)
                                                                   : DrawPlainPixels(subject, picture, renderer);
}

Image KeptRows(Image& image, const PictureOptions& picture) {
  const int rows = picture.Rows(image.height);
  if (rows == image.height) return std::move(image);
  Image kept(image.width, rows);
  std::copy_n(image.pixels.begin() + std::ptrdiff_t{picture.FirstRow(image.height)} * image.width, kept.pixels.size(),
              kept.pixels.begin());
  return kept;
}

bool WriteLabelReport(const PictureSubject& subject, const PictureOptions& picture, const InteractiveRenderer& renderer,
                      int side, double pointsPerUnit) {
  if (picture.labelReport.empty()) return true;
  const std::string report = LabelReport(renderer.Layout(), pointsPerUnit, picture.FirstRow(side));
  if (WriteFileAtomically(picture.labelReport, report) == 0) return true;
  RefusePicture(subject.messages, "Error opening file (" + picture.labelReport + ") for writing.");
  return false;
}

bool FindContent(PictureSubject& subject, bool lines, PictureOptions& picture) {
  constexpr int kSide = 600;
  constexpr double kMargin = 0.02;  // of the side
  PictureOptions small = picture;
  small.labelReport.clear();
  small.size = std::min(picture.size, kSide);
  small.resolution =
      kPointsPerInch * small.size / (lines ? VectorSide(picture) : picture.size * PointsPerPixel(picture));
  if (lines && small.background != PictureBackground::Black) small.background = PictureBackground::White;
  const auto image = DrawPixels(subject, small);
  if (!image) return false;
  const auto row = [&](int y) { return image->pixels.begin() + std::ptrdiff_t{y} * image->width; };
  const auto isEmpty = [&](int y) {
    return std::all_of(row(y), row(y + 1), [&](uint32_t pixel) { return pixel == image->pixels.front(); });
  };
  int first = 0, last = image->height - 1;
  while (first < last && isEmpty(first)) ++first;
  while (last > first && isEmpty(last)) --last;
  if (first == last) return true;  // nothing at all
  const double side = image->height;
  picture.cutAbove = std::max(first / side - kMargin, 0.0);
  picture.kept = std::min((last + 1) / side + kMargin, 1.0) - picture.cutAbove;
  return true;
}

}  // namespace marvik

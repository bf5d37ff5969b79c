#include "picture/picture_drawing.h"

#include <algorithm>
#include <cmath>

#include "base/files.h"
#include "draw/canvas/extent_canvas.h"
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
constexpr double kThinLine = 0.5;      // points, of lines that are printed

// What a picture has whatever the screen shows.
void ForPicture(RenderOptions& options, const Document& document, const PictureOptions& picture) {
  options.selection = false;
  options.blackWhite = picture.blackWhite;
  if (options.blackWhite) options.mode = FlatRendition(document, options.mode);
  options.layout = !picture.labelReport.empty();
  if (options.exact) options.mode = FlatRendition(document, options.mode);
  if (picture.resolution > 0.0)
    options.thinLine = options.exact ? kThinLine : std::max(1.0, std::round(kThinLine / PointsPerPixel(picture)));
  const bool light = (options.look == Look::Light || options.look == Look::Paper) && !options.blackWhite;
  if (picture.background == PictureBackground::Black && light) options.look = Look::Dark;
}

std::optional<Image> DrawLitPixels(PictureSubject& subject, const PictureOptions& picture,
                                   InteractiveRenderer& renderer) {
  LabelFont font(LabelPoints(subject, picture) / PointsPerPixel(picture));
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
  LabelFont font(LabelPoints(subject, picture) / PointsPerPixel(picture));
  ScanlineCanvas canvas(image, &font);
  if (!renderer.Render(subject.document, FittedView(subject, picture.size), PixelOptions(subject, picture), canvas,
                       subject.goOn)) {
    SayPictureStopped(subject.messages);
    return {};
  }
  if (!WriteLabelReport(subject, picture, renderer, picture.size, PointsPerPixel(picture))) return {};
  return KeptRows(image, picture);
}

// Of what draws itself, from a small picture of it.
std::optional<std::pair<double, double>> RowsOfImage(PictureSubject& subject, const PictureOptions& picture) {
  constexpr int kSide = 600;
  PictureOptions small = picture;
  small.trim = false;
  small.size = std::min(picture.size, kSide);
  small.resolution = kPointsPerInch / (PointsPerPixel(picture) * picture.size / small.size);
  const auto image = DrawPixels(subject, small);
  if (!image) return {};
  const auto row = [&](int y) { return image->pixels.begin() + std::ptrdiff_t{y} * image->width; };
  const auto isEmpty = [&](int y) {
    return std::all_of(row(y), row(y + 1), [&](uint32_t pixel) { return pixel == image->pixels.front(); });
  };
  int first = 0, last = image->height - 1;
  while (first < last && isEmpty(first)) ++first;
  while (last > first && isEmpty(last)) --last;
  const double side = image->height;
  return std::pair(first / side, first == last ? 0.0 : (last + 1) / side);
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

double LabelPoints(const PictureSubject& subject, const PictureOptions& picture) {
  const double most = picture.journal ? picture.journal->type : subject.look.labelPoints;
  return std::max(std::min(subject.look.labelPoints, most), kLeastLabel);
}

ViewState FittedView(const PictureSubject& subject, double side) {
  ViewState view = subject.view;
  const double factor = view.drawingSize > 0.0 ? side / view.drawingSize : 1.0;
  view.panX = static_cast<int32_t>(std::lround(std::clamp(view.panX * factor, -1e6, 1e6)));
  view.panY = static_cast<int32_t>(std::lround(std::clamp(view.panY * factor, -1e6, 1e6)));
  view.drawingSize = side;
  view.FitView(view.viewRadius, std::nullopt);
  return view;
}

RenderOptions PixelOptions(const PictureSubject& subject, const PictureOptions& picture) {
  RenderOptions options = subject.look;
  options.whiteBackground =
      picture.background == PictureBackground::Transparent || picture.background == PictureBackground::White;
  ForPicture(options, subject.document, picture);
  return options;
}

RenderOptions LineOptions(const PictureSubject& subject, const PictureOptions& picture) {
  RenderOptions options = subject.look;
  options.exact = true;
  options.cutOctant = true;
  options.whiteBackground = picture.background != PictureBackground::Black;
  options.clear = picture.background != PictureBackground::Transparent;
  ForPicture(options, subject.document, picture);
  return options;
}

bool DrawLines(PictureSubject& subject, const PictureOptions& picture, double side, Canvas& canvas,
               InteractiveRenderer& renderer) {
  if (renderer.Render(subject.document, FittedView(subject, side), LineOptions(subject, picture), canvas, subject.goOn))
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

bool FindContent(PictureSubject& subject, bool lines, double side, PictureOptions& picture,
                 InteractiveRenderer& renderer) {
  constexpr double kMargin = 0.02;  // of the side
  std::pair<double, double> rows;
  if (picture.openGl) {
    const auto found = RowsOfImage(subject, picture);
    if (!found) return false;
    rows = *found;
  } else {
    LabelFont font(LabelPoints(subject, picture) / (lines ? 1.0 : PointsPerPixel(picture)));
    ExtentCanvas canvas(font);
    RenderOptions options = lines ? LineOptions(subject, picture) : PixelOptions(subject, picture);
    options.mode = FlatRendition(subject.document, options.mode);
    if (!renderer.Render(subject.document, FittedView(subject, side), options, canvas, subject.goOn)) {
      SayPictureStopped(subject.messages);
      return false;
    }
    if (!canvas.IsEmpty()) rows = {canvas.Top() / side, canvas.Bottom() / side};
  }
  if (!(rows.first < rows.second)) return true;  // nothing at all
  picture.cutAbove = std::clamp(rows.first - kMargin, 0.0, 1.0);
  picture.kept = std::clamp(rows.second + kMargin, picture.cutAbove, 1.0) - picture.cutAbove;
  return true;
}

}  // namespace marvik

#include "picture/picture_formats.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "base/files.h"
#include "draw/canvas/pdf_canvas.h"
#include "draw/canvas/png_strips.h"
#include "draw/canvas/png_writer.h"
#include "draw/canvas/scanline_canvas.h"
#include "draw/canvas/svg_canvas.h"
#include "draw/labels/label_font.h"
#include "draw/surface/lit_picture.h"
#include "picture/gl_output.h"
#include "picture/jpeg_writer.h"
#include "picture/label_report.h"
#include "picture/tiff_writer.h"

namespace marvik {
namespace {

constexpr double kPointsPerInch = 72.0;

PictureBytes Refuse(UserMessages& messages, const std::string& text) {
  messages.Show({MessageIcon::Warning, "Error: File I/O", text});
  return {};
}

PictureBytes Stopped(UserMessages& messages) {
  SayPictureStopped(messages);
  return {};
}

// The view fitted into a square of that side; what was moved by hand moves as far on the larger picture.
ViewState FittedView(const PictureSubject& subject, double side) {
  ViewState view = subject.view;
  const double factor = view.drawingSize > 0.0 ? side / view.drawingSize : 1.0;
  view.panX = static_cast<int32_t>(std::lround(std::clamp(view.panX * factor, -1e6, 1e6)));
  view.panY = static_cast<int32_t>(std::lround(std::clamp(view.panY * factor, -1e6, 1e6)));
  view.drawingSize = side;
  view.fitView(view.viewRadius, std::nullopt);
  return view;
}

// Points.
int VectorSide(const PictureOptions& picture) {
  if (!(picture.resolution > 0.0)) return picture.size;
  return std::max(kSmallestPicture, static_cast<int>(std::lround(picture.size * kPointsPerInch / picture.resolution)));
}

// Without a resolution a picture counts as being printed in this width.
constexpr double kUsualWidth = 450.0;  // points
constexpr double kLeastLabel = 6.0;    // points, of type that can be read

double PointsPerPixel(const PictureOptions& picture) {
  return picture.resolution > 0.0 ? kPointsPerInch / picture.resolution : kUsualWidth / picture.size;
}

double LabelPoints(const PictureSubject& subject) {
  return std::max(subject.look.labelPoints, kLeastLabel);
}

// False after a message.
bool WriteLabelReport(const PictureSubject& subject, const PictureOptions& picture, const InteractiveRenderer& renderer,
                      double pointsPerUnit) {
  if (picture.labelReport.empty()) return true;
  if (WriteFileAtomically(picture.labelReport, LabelReport(renderer.Layout(), pointsPerUnit)) == 0) return true;
  Refuse(subject.messages, "Error opening file (" + picture.labelReport + ") for writing.");
  return false;
}

// What a picture has whatever the screen shows.
void ForPicture(RenderOptions& options, const Document& document, const PictureOptions& picture) {
  options.selection = false;
  if (options.exact) options.mode = FlatRendition(document, options.mode);
  const bool light = options.look == Look::Light || options.look == Look::Paper;
  if (picture.background == PictureBackground::Black && light) options.look = Look::Dark;
}

// Nothing drawn: stopped or failed, and told.
bool DrawLines(PictureSubject& subject, const PictureOptions& picture, Canvas& canvas) {
  RenderOptions options = subject.look;
  options.exact = true;
  options.cutOctant = true;
  options.whiteBackground = picture.background != PictureBackground::Black;
  options.clear = picture.background != PictureBackground::Transparent;
  options.layout = !picture.labelReport.empty();
  ForPicture(options, subject.document, picture);
  InteractiveRenderer renderer;
  if (renderer.Render(subject.document, FittedView(subject, VectorSide(picture)), options, canvas, subject.goOn))
    return WriteLabelReport(subject, picture, renderer, 1.0);
  SayPictureStopped(subject.messages);
  return false;
}

PictureBytes DrawSvg(PictureSubject& subject, const PictureOptions& picture) {
  const int side = VectorSide(picture);
  LabelFont font(LabelPoints(subject));
  SvgCanvas canvas(side, picture.FirstRow(side), picture.Rows(side), font);
  if (!DrawLines(subject, picture, canvas)) return {};
  return canvas.Finish();
}

template <bool eps>
PictureBytes DrawPage(PictureSubject& subject, const PictureOptions& picture) {
  const int side = VectorSide(picture);
  const std::string file = FindSansFontFile();
  LabelFont font(LabelPoints(subject), file);
  PdfPage page;
  page.width = side;
  page.height = picture.Rows(side);
  page.corner.y = picture.FirstRow(side);
  page.title = subject.title;
  page.eps = eps;
  PdfCanvas canvas(page, font, file);
  if (!DrawLines(subject, picture, canvas)) return {};
  return canvas.Finish();
}

RenderOptions PixelOptions(const PictureSubject& subject, const PictureOptions& picture) {
  RenderOptions options = subject.look;
  options.whiteBackground =
      picture.background == PictureBackground::Transparent || picture.background == PictureBackground::White;
  options.layout = !picture.labelReport.empty();
  ForPicture(options, subject.document, picture);
  return options;
}

Image KeptRows(Image& image, const PictureOptions& picture) {
  const int rows = picture.Rows(image.height);
  if (rows == image.height) return std::move(image);
  Image kept(image.width, rows);
  std::copy_n(image.pixels.begin() + std::ptrdiff_t{picture.FirstRow(image.height)} * image.width, kept.pixels.size(),
              kept.pixels.begin());
  return kept;
}

std::optional<Image> DrawLitPixels(PictureSubject& subject, const PictureOptions& picture) {
  LabelFont font(LabelPoints(subject) / PointsPerPixel(picture));
  InteractiveRenderer renderer;
  LitPicture lit = DrawLit(subject.document, FittedView(subject, picture.size), PixelOptions(subject, picture),
                           picture.size, picture.size, {}, &font, renderer, subject.goOn);
  if (!lit.complete) {
    SayPictureStopped(subject.messages);
    return {};
  }
  if (!WriteLabelReport(subject, picture, renderer, PointsPerPixel(picture))) return {};
  return KeptRows(lit.image, picture);
}

PictureBytes DrawPng(PictureSubject& subject, const PictureOptions& picture) {
  if (subject.look.mode == kLitRendition) {
    const auto image = DrawLitPixels(subject, picture);
    return image ? EncodePng(*image, {picture.resolution, false}) : PictureBytes();
  }
  RenderOptions options = PixelOptions(subject, picture);
  const ViewState view = FittedView(subject, picture.size);
  const StripDrawing drawing{picture.size, picture.FirstRow(picture.size), picture.Rows(picture.size),
                             picture.background == PictureBackground::Transparent,
                             options.labels || options.showCell ? LabelPoints(subject) / PointsPerPixel(picture) : 0.0};
  InteractiveRenderer renderer;
  auto bytes = DrawPngInStrips(
      drawing, picture.resolution,
      [&](Canvas& canvas, bool clear) {
        options.clear = clear;
        return renderer.Render(subject.document, view, options, canvas, subject.goOn);
      },
      subject.messages);
  if (!bytes) return Stopped(subject.messages);
  if (!WriteLabelReport(subject, picture, renderer, PointsPerPixel(picture))) return {};
  return bytes;
}

std::optional<Image> DrawPixels(PictureSubject& subject, const PictureOptions& picture) {
  if (subject.look.mode == kLitRendition) return DrawLitPixels(subject, picture);
  Image image(picture.size, picture.size);
  LabelFont font(LabelPoints(subject) / PointsPerPixel(picture));
  ScanlineCanvas canvas(image, &font);
  InteractiveRenderer renderer;
  if (!renderer.Render(subject.document, FittedView(subject, picture.size), PixelOptions(subject, picture), canvas,
                       subject.goOn)) {
    SayPictureStopped(subject.messages);
    return {};
  }
  if (!WriteLabelReport(subject, picture, renderer, PointsPerPixel(picture))) return {};
  return KeptRows(image, picture);
}

std::optional<Image> DrawAnyPixels(PictureSubject& subject, const PictureOptions& picture) {
  return picture.openGl ? DrawGlImage(subject, picture) : DrawPixels(subject, picture);
}

// Where there is anything in the picture, from a small one of it with a margin above and below. False after a message.
bool FindContent(PictureSubject& subject, bool lines, PictureOptions& picture) {
  constexpr int kSide = 600;
  constexpr double kMargin = 0.02;  // of the side
  PictureOptions small = picture;
  small.labelReport.clear();
  small.size = std::min(picture.size, kSide);
  small.resolution =
      kPointsPerInch * small.size / (lines ? VectorSide(picture) : picture.size * PointsPerPixel(picture));
  if (lines && small.background != PictureBackground::Black) small.background = PictureBackground::White;
  const auto image = DrawAnyPixels(subject, small);
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

const char* MissingPdf() {
  return PdfCanvas::IsThere() ? nullptr : PdfCanvas::kMissing;
}
const char* MissingTiff() {
  return TiffIsThere() ? nullptr : kTiffMissing;
}

constexpr PictureFormat kFormats[] = {
    {"PNG", kPictureExtensions[0], "", true, DrawPng, nullptr,
     [](const Image& image, const PictureOptions& picture) {
       return EncodePng(image, {picture.resolution, picture.background == PictureBackground::Transparent});
     }},
    {"JPEG", kPictureExtensions[1], "jpeg", false, nullptr, nullptr,
     [](const Image& image, const PictureOptions& picture) { return EncodeJpeg(image, picture.resolution); }},
    {"SVG", kPictureExtensions[2], "", true, DrawSvg, nullptr, nullptr},
    {"PDF", kPictureExtensions[3], "", true, DrawPage<false>, MissingPdf, nullptr},
    {"TIFF", kPictureExtensions[4], "tiff", false, nullptr, MissingTiff,
     [](const Image& image, const PictureOptions& picture) { return EncodeTiff(image, picture.resolution); }},
    {"EPS", kPictureExtensions[5], "", true, DrawPage<true>, MissingPdf, nullptr},
};
static_assert(std::size(kFormats) == std::size(kPictureExtensions));

}  // namespace

std::span<const PictureFormat> PictureFormats() {
  return kFormats;
}

const PictureFormat* PictureFormatNamed(std::string_view extension) {
  const auto* found = std::ranges::find_if(kFormats, [&](const PictureFormat& format) {
    return format.extension == extension || (!extension.empty() && format.alias == extension);
  });
  return found == std::end(kFormats) ? nullptr : found;
}

std::string PictureExtensions(bool ofPixels) {
  std::vector<std::string_view> extensions;
  for (const PictureFormat& format : kFormats) {
    if (format.encode || !ofPixels) extensions.push_back(format.extension);
  }
  std::string text;
  for (size_t i = 0; i < extensions.size(); ++i) {
    if (i > 0) text += i + 1 < extensions.size() ? ", " : " and ";
    text.append(".").append(extensions[i]);
  }
  return text;
}

PictureBytes DrawPicture(PictureSubject& subject, const PictureOptions& options, const std::string& format) {
  const PictureFormat* known = PictureFormatNamed(format);
  if (options.openGl && (!known || !known->encode))
    return Refuse(subject.messages, "The OpenGL renderer makes " + PictureExtensions(true) + " files.");
  if (!known) {
    return Refuse(subject.messages, "Pictures can be written as " + PictureExtensions() + ", not as ." + format + ".");
  }
  if (!options.openGl && (options.size < kSmallestPicture || options.size > kLargestPicture))
    return Refuse(subject.messages, PictureSizeRule());
  PictureOptions possible = options;
  if (options.background == PictureBackground::Transparent && !known->transparent)
    possible.background = PictureBackground::White;
  if (const char* why = known->missing ? known->missing() : nullptr) return Refuse(subject.messages, why);
  try {
    const bool lines = !options.openGl && !known->encode;
    if (options.trim && !FindContent(subject, lines, possible)) return {};
    if (!options.openGl && known->draw) return known->draw(subject, possible);
    auto image = DrawAnyPixels(subject, possible);
    if (!image) return {};
    if (options.openGl) *image = KeptRows(*image, possible);
    if (auto bytes = known->encode(*image, possible)) return bytes;
  } catch (const std::bad_alloc&) {
  }
  return Refuse(subject.messages, "There is not enough memory for this picture.");
}

}  // namespace marvik

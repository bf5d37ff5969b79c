#include "app/picture/picture_output.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "app/picture/gl_output.h"
#include "base/files.h"
#include "draw/canvas/pdf_canvas.h"
#include "draw/canvas/png_strips.h"
#include "draw/canvas/scanline_canvas.h"
#include "draw/canvas/svg_canvas.h"
#include "draw/labels/label_font.h"
#include "gl/jpeg_writer.h"

namespace marvik {
namespace {

constexpr char kNoMemory[] = "There is not enough memory for this picture.";
constexpr double kPointsPerInch = 72.0;
constexpr double kPointsPerPageUnit = kPointsPerInch / 2540.0;
// Of the page, in page units: the middle of what projectSegmentForPrint draws, and the side of its square.
constexpr CanvasPoint kPageMiddle{9741.0, 13716.0};
constexpr double kPageSide = 2.0 * 10160.0;
constexpr double kA4Width = 21000.0;
constexpr double kA4Height = 29700.0;

void Refuse(const Workbench& bench, const std::string& text) {
  bench.messages.Show({MessageIcon::Warning, "Error: File I/O", text});
}

void SayStopped(const Workbench& bench) {
  bench.messages.Show({MessageIcon::Information, "Picture", "The picture was stopped; nothing was written."});
}

// The view fitted into a square of that side; what was moved by hand moves as far on the larger picture.
ViewState FittedView(const Workbench& bench, double side) {
  ViewState view = bench.view;
  const double factor = bench.view.drawingSize > 0.0 ? side / bench.view.drawingSize : 1.0;
  view.panX = static_cast<int32_t>(std::lround(std::clamp(view.panX * factor, -1e6, 1e6)));
  view.panY = static_cast<int32_t>(std::lround(std::clamp(view.panY * factor, -1e6, 1e6)));
  view.drawingSize = side;
  view.fitView(view.viewRadius, std::nullopt);
  return view;
}

bool DrawOn(Workbench& bench, const ViewState& view, const RenderOptions& options, Canvas& canvas) {
  const StageClock clock(bench.seconds.draw);
  return bench.renderer.Render(bench.document, view, options, canvas, bench.hooks.goOn);
}

RenderOptions VectorOptions(const Workbench& bench, const PictureOptions& picture) {
  RenderOptions options = bench.ScreenOptions();
  options.exact = true;
  options.cutOctant = true;
  options.whiteBackground = picture.background != PictureBackground::Black;
  options.clear = picture.background != PictureBackground::Transparent;
  return options;
}

// Points.
int VectorSide(const PictureOptions& picture) {
  if (!(picture.resolution > 0.0)) return picture.size;
  return std::max(kSmallestPicture, static_cast<int>(std::lround(picture.size * kPointsPerInch / picture.resolution)));
}

using Bytes = std::optional<std::string>;

Bytes DrawSvg(Workbench& bench, const PictureOptions& picture) {
  const int side = VectorSide(picture);
  LabelFont font(side * kLabelPart);
  SvgCanvas canvas(side, font);
  if (!DrawOn(bench, FittedView(bench, side), VectorOptions(bench, picture), canvas)) return {};
  return canvas.Finish();
}

Bytes DrawPdf(Workbench& bench, const PictureOptions& picture) {
  const int side = VectorSide(picture);
  const std::string file = FindSansFontFile();
  LabelFont font(side * kLabelPart, file);
  PdfPage page;
  page.width = page.height = side;
  page.title = bench.Title();
  PdfCanvas canvas(page, font, file);
  if (!DrawOn(bench, FittedView(bench, side), VectorOptions(bench, picture), canvas)) return {};
  return canvas.Finish();
}

Bytes DrawPng(Workbench& bench, const PictureOptions& picture) {
  const bool transparent = picture.background == PictureBackground::Transparent;
  RenderOptions options = bench.ScreenOptions();
  options.whiteBackground = transparent || picture.background == PictureBackground::White;
  const ViewState view = FittedView(bench, picture.size);
  const StripDrawing drawing{picture.size, transparent, options.labels || options.showCell};
  return DrawPngInStrips(
      drawing, picture.resolution,
      [&](Canvas& canvas, bool clear) {
        options.clear = clear;
        return DrawOn(bench, view, options, canvas);
      },
      bench.messages);
}

// Held whole in memory; transparency, which JPEG does not have, is white.
Bytes DrawJpeg(Workbench& bench, const PictureOptions& picture) {
  Image image(picture.size, picture.size);
  RenderOptions options = bench.ScreenOptions();
  options.whiteBackground =
      picture.background == PictureBackground::Transparent || picture.background == PictureBackground::White;
  LabelFont font(picture.size * kLabelPart);
  ScanlineCanvas canvas(image, &font);
  if (!DrawOn(bench, FittedView(bench, picture.size), options, canvas)) return {};
  const StageClock clock(bench.seconds.write);
  auto bytes = EncodeJpeg(image);
  if (!bytes) throw std::bad_alloc();
  return bytes;
}

struct Format {
  const char* extension;
  Bytes (*draw)(Workbench&, const PictureOptions&);
};
constexpr Format kFormats[] = {
    {"png", DrawPng}, {"jpg", DrawJpeg}, {"jpeg", DrawJpeg}, {"svg", DrawSvg}, {"pdf", DrawPdf}};

}  // namespace

std::string PictureSizeRule() {
  return "A picture has from " + std::to_string(kSmallestPicture) + " to " + std::to_string(kLargestPicture) +
         " pixels a side.";
}

std::optional<std::string> DrawPicture(Workbench& bench, const PictureOptions& options, const std::string& format) {
  if (options.openGl) return DrawGlFile(bench, options, format);
  const auto* known = std::ranges::find(kFormats, std::string_view(format), &Format::extension);
  if (known == std::end(kFormats)) {
    Refuse(bench, "Pictures can be written as .png, .jpg, .svg and .pdf, not as ." + format + ".");
    return {};
  }
  if (options.size < kSmallestPicture || options.size > kLargestPicture) {
    Refuse(bench, PictureSizeRule());
    return {};
  }
  Bytes bytes;
  try {
    bytes = known->draw(bench, options);
  } catch (const std::bad_alloc&) {
    Refuse(bench, kNoMemory);
    return {};
  }
  if (!bytes) SayStopped(bench);
  return bytes;
}

bool WritePicture(Workbench& bench, const PictureOptions& options, const std::string& path, const std::string& format) {
  const auto bytes = DrawPicture(bench, options, format.empty() ? LowerExtensionOf(path) : format);
  if (!bytes) return false;
  const StageClock clock(bench.seconds.write);
  const int error = WriteFileAtomically(path, *bytes);
  if (error == 0) return true;
  Refuse(bench, WriteFault(path, error));
  return false;
}

PagePlace PlaceOnPage(double width, double height) {
  PagePlace place;
  const double least = std::min(width, height);
  if (least > 0.0 && least < kPageSide) place.scale = least / kPageSide;
  place.corner = {kPageMiddle.x - width / 2.0 / place.scale, kPageMiddle.y - height / 2.0 / place.scale};
  return place;
}

bool DrawPage(Workbench& bench, Canvas& canvas) {
  // A step of the device origin is 36 page units.
  constexpr double kOriginStep = 36.0;
  ViewState view = bench.view;
  const double pixels = view.viewportWidth * 0.5 - 1.0;
  const double step = pixels > 0.0 ? kPageSide / 2.0 / pixels / kOriginStep : 0.0;
  view.deviceOriginX = static_cast<int32_t>(std::lround(view.panX * step));
  view.deviceOriginY = static_cast<int32_t>(std::lround(view.panY * step));
  RenderOptions options = bench.ScreenOptions();
  options.printing = true;
  return DrawOn(bench, view, options, canvas);
}

std::optional<std::string> DrawPdfPage(Workbench& bench) {
  const PagePlace place = PlaceOnPage(kA4Width, kA4Height);
  const std::string file = FindSansFontFile();
  LabelFont font(kPageLabelSize, file);
  PdfPage page;
  page.width = kA4Width * kPointsPerPageUnit;
  page.height = kA4Height * kPointsPerPageUnit;
  page.unit = place.scale * kPointsPerPageUnit;
  page.corner = place.corner;
  page.title = bench.Title();
  PdfCanvas canvas(page, font, file);
  auto bytes = DrawPage(bench, canvas) ? canvas.Finish() : Bytes();
  if (!bytes) SayStopped(bench);
  return bytes;
}

}  // namespace marvik

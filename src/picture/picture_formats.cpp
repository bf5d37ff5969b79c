#include "picture/picture_formats.h"

#include <algorithm>
#include <new>

#include "draw/canvas/pdf_canvas.h"
#include "draw/canvas/png_strips.h"
#include "draw/canvas/png_writer.h"
#include "draw/canvas/svg_canvas.h"
#include "draw/labels/label_font.h"
#include "draw/surface/lit_picture.h"
#include "picture/gl_output.h"
#include "picture/jpeg_writer.h"
#include "picture/picture_drawing.h"
#include "picture/picture_sheet.h"
#include "picture/picture_turn.h"
#include "picture/tiff_writer.h"

namespace marvik {
namespace {

PictureBytes DrawSvg(PictureSubject& subject, const PictureOptions& picture) {
  const int side = VectorSide(picture);
  LabelFont font(LabelPoints(subject, picture));
  SvgCanvas canvas(side, picture.FirstRow(side), picture.Rows(side), font);
  InteractiveRenderer renderer;
  if (!DrawLines(subject, picture, side, canvas, renderer)) return {};
  return canvas.Finish();
}

template <bool eps>
PictureBytes DrawPage(PictureSubject& subject, const PictureOptions& picture) {
  const int side = VectorSide(picture);
  const std::string file = FindSansFontFile();
  LabelFont font(LabelPoints(subject, picture), file);
  PdfPage page;
  page.width = side;
  page.height = picture.Rows(side);
  page.corner.y = picture.FirstRow(side);
  page.title = subject.title;
  page.eps = eps;
  PdfCanvas canvas(page, font, file);
  InteractiveRenderer renderer;
  if (!DrawLines(subject, picture, side, canvas, renderer)) return {};
  return canvas.Finish();
}

bool HasTexts(const RenderOptions& options) {
  const FigureChoices& figure = options.figure;
  return options.labels || options.showCell || options.marks || options.net || figure.legend || figure.scaleBar ||
         figure.tripod;
}

PictureBytes DrawPng(PictureSubject& subject, const PictureOptions& picture) {
  if (subject.look.mode == kLitRendition && !picture.blackWhite) {
    const auto image = DrawPixels(subject, picture);
    return image ? EncodePng(*image, {picture.resolution, false}) : PictureBytes();
  }
  RenderOptions options = PixelOptions(subject, picture);
  const ViewState view = FittedView(subject, picture.size);
  const StripDrawing drawing{picture.size, picture.FirstRow(picture.size), picture.Rows(picture.size),
                             picture.background == PictureBackground::Transparent,
                             HasTexts(options) ? LabelPoints(subject, picture) / PointsPerPixel(picture) : 0.0};
  InteractiveRenderer renderer;
  auto bytes = DrawPngInStrips(
      drawing, picture.resolution,
      [&](Canvas& canvas, bool clear) {
        options.clear = clear;
        return renderer.Render(subject.document, view, options, canvas, subject.goOn);
      },
      subject.messages);
  if (!bytes) SayPictureStopped(subject.messages);
  if (!bytes || !WriteLabelReport(subject, picture, renderer, picture.size, PointsPerPixel(picture))) return {};
  return bytes;
}

const char* MissingPdf() {
  return PdfCanvas::IsThere() ? nullptr : PdfCanvas::kMissing;
}
const char* MissingTiff() {
  return TiffIsThere() ? nullptr : kTiffMissing;
}

constexpr PictureFormat kFormats[] = {
    {"PNG", kPictureExtensions[0], kTurnExtension, true, DrawPng, nullptr,
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

const PictureFormat* PossibleFormat(UserMessages& messages, const PictureOptions& options, const std::string& format) {
  const PictureFormat* known = PictureFormatNamed(format);
  std::string wrong;
  if (options.openGl && (!known || !known->encode)) {
    wrong = "The OpenGL renderer makes " + PictureExtensions(true) + " files.";
  } else if (!known) {
    wrong = "Pictures can be written as " + PictureExtensions() + ", not as ." + format + ".";
  } else if (!options.openGl && (options.size < kSmallestPicture || options.size > kLargestPicture)) {
    wrong = PictureSizeRule();
  } else if (const char* why = known->missing ? known->missing() : nullptr) {
    wrong = why;
  }
  if (wrong.empty()) return known;
  RefusePicture(messages, wrong);
  return nullptr;
}

PictureBytes DrawPicture(PictureSubject& subject, const PictureOptions& options, const std::string& format) {
  const PictureFormat* known = PossibleFormat(subject.messages, options, format);
  if (!known) return {};
  PictureOptions possible = options;
  if (options.background == PictureBackground::Transparent && !known->transparent)
    possible.background = PictureBackground::White;
  try {
    if (subject.swingFrom || options.frames == PictureFrames::Turn || format == kTurnExtension) {
      if (known->extension != kPictureExtensions[0])
        return RefusePicture(subject.messages, (subject.swingFrom ? "A swing" : "A turn") +
                                                   (" is written as .png or .apng, not as ." + format + "."));
      possible.trim = false;
      possible.labelReport.clear();
      if (possible.background == PictureBackground::Transparent) possible.background = PictureBackground::White;
      return subject.swingFrom ? DrawSwing(subject, possible) : DrawTurn(subject, possible);
    }
    if (options.frames != PictureFrames::One) return DrawFrames(subject, possible, format);
    const bool lines = !options.openGl && !known->encode;
    if (options.trim) {
      InteractiveRenderer renderer;
      if (!FindContent(subject, lines, lines ? VectorSide(possible) : possible.size, possible, renderer)) return {};
    }
    if (!options.openGl && known->draw) return known->draw(subject, possible);
    auto image = DrawPixels(subject, possible);
    if (!image) return {};
    if (auto bytes = known->encode(*image, possible)) return bytes;
  } catch (const std::bad_alloc&) {
  }
  return RefusePicture(subject.messages, kNoMemoryForPicture);
}

}  // namespace marvik

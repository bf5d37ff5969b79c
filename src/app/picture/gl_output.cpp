#include "app/picture/gl_output.h"

#include <algorithm>

#include "draw/canvas/png_writer.h"
#include "gl/jpeg_writer.h"

namespace marvik {

GlPictureOptions GlOptionsOf(Workbench& bench, const PictureOptions& picture) {
  GlPictureOptions options;
  const RenderOptions screen = bench.ScreenOptions();
  options.mode = screen.mode;
  options.labels = screen.labels;
  options.hydrogenLabels = screen.hydrogenLabels;
  options.hybridLabelColoration = screen.hybridLabelColoration;
  options.showCell = screen.showCell;
  options.probability = screen.probability;
  options.settings = bench.GlSettings();
  options.colour = !picture.blackWhite;
  if (picture.layers) options.settings.layerCount = *picture.layers;
  options.transparent = picture.background == PictureBackground::Transparent;
  if (picture.background == PictureBackground::White || options.transparent)
    options.settings.background = {1.0, 1.0, 1.0};
  if (picture.background == PictureBackground::Black) options.settings.background = {0.0, 0.0, 0.0};
  options.labelPointSize = properPointSize(options.settings.fontPath, picture.size);
  return options;
}

GlPicture DrawWithProgress(Workbench& bench, const GlPictureOptions& options, int size) {
  const StageClock clock(bench.seconds.draw);
  bool going = true;
  int told = 0;
  // The box of the progress asks for little more than one percent at a time; telling of the end closes it.
  const auto tell = [&](int done, int total) {
    if (done >= total || done - told < std::max(1, total / 100)) return;
    told = done;
    going = going && bench.messages.ReportProgress(done, total);
  };
  const auto goOn = [&] { return going && (!bench.hooks.goOn || bench.hooks.goOn()); };
  GlPicture picture = RenderGlPicture(bench.document, bench.view, size, options, goOn, tell);
  bench.messages.ReportProgress(1, 1);
  return picture;
}

std::optional<Image> DrawGlImage(Workbench& bench, const PictureOptions& picture) {
  GlPicture result = DrawWithProgress(bench, GlOptionsOf(bench, picture), picture.size);
  if (!result.image) {
    bench.messages.Show({MessageIcon::Warning, result.caption, result.error});
    return {};
  }
  if (result.complete) return std::move(result.image);
  bench.messages.Show({MessageIcon::Information, "Picture", "The picture was stopped; nothing was written."});
  return {};
}

std::optional<std::string> DrawGlFile(Workbench& bench, const PictureOptions& picture, const std::string& format) {
  const auto refuse = [&](const char* text) {
    bench.messages.Show({MessageIcon::Warning, "Error: File I/O", text});
    return std::nullopt;
  };
  const bool jpeg = format == "jpg" || format == "jpeg";
  if (!jpeg && format != "png") return refuse("The OpenGL renderer makes .png and .jpg files.");
  PictureOptions opaque = picture;
  if (jpeg && picture.background == PictureBackground::Transparent) opaque.background = PictureBackground::White;
  const auto image = DrawGlImage(bench, opaque);
  if (!image) return {};
  const StageClock clock(bench.seconds.write);
  if (jpeg) {
    auto bytes = EncodeJpeg(*image);
    return bytes ? bytes : refuse("Unable to Create Bitmap File");
  }
  PngOptions options;
  options.dotsPerInch = picture.resolution;
  options.alpha = picture.background == PictureBackground::Transparent;
  auto bytes = EncodePng(*image, options);
  return bytes ? bytes : refuse("There is not enough memory for this picture.");
}

}  // namespace marvik

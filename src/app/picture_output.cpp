#include "app/picture_output.h"

#include "display/label_font.h"
#include "display/png_writer.h"
#include "display/scanline_canvas.h"
#include "display/svg_canvas.h"
#include "util/files.h"

namespace marvik {
namespace {

// Of a picture's side; 12 pixels at 600.
constexpr double kLabelPart = 0.02;

void Refuse(const Workbench& bench, const std::string& text) {
  bench.messages.Show({MessageIcon::Warning, "Error: File I/O", text});
}

void DrawOn(Workbench& bench, int size, const RenderOptions& options, Canvas& canvas) {
  const StageClock clock(bench.seconds.draw);
  ViewState view = bench.view;
  view.drawingSize = size;
  view.fitView(view.viewRadius, std::nullopt);
  bench.renderer.Render(bench.document, view, options, canvas, [] { return true; });
}

// On white, as figures are printed; `size` in points.
std::string DrawSvg(Workbench& bench, int size) {
  RenderOptions options = bench.ScreenOptions();
  options.exact = true;
  options.whiteBackground = true;
  LabelFont font(size * kLabelPart);
  SvgCanvas canvas(size, font);
  DrawOn(bench, size, options, canvas);
  return canvas.Finish();
}

}  // namespace

std::optional<std::string> DrawPicture(Workbench& bench, int size, const std::string& format) {
  if (format == "svg") return DrawSvg(bench, size);
  if (format != "png") {
    Refuse(bench, "Pictures can be written as .png and .svg; ." + format + " is not available yet.");
    return {};
  }
  Image image(size, size);
  const RenderOptions options = bench.ScreenOptions();
  std::optional<LabelFont> font;
  if (options.labels || options.showCell) font.emplace(size * kLabelPart);
  ScanlineCanvas canvas(image, font ? &*font : nullptr);
  DrawOn(bench, size, options, canvas);
  const StageClock clock(bench.seconds.write);
  auto bytes = EncodePng(image);
  if (!bytes) Refuse(bench, "The picture could not be made.");
  return bytes;
}

bool WritePicture(Workbench& bench, int size, const std::string& path, const std::string& format) {
  const auto bytes = DrawPicture(bench, size, format.empty() ? LowerExtensionOf(path) : format);
  if (!bytes) return false;
  const StageClock clock(bench.seconds.write);
  if (WriteFileAtomically(path, *bytes) == 0) return true;
  Refuse(bench, "Error opening file (" + path + ") for writing.");
  return false;
}

}  // namespace marvik

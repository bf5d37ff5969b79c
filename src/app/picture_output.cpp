#include "app/picture_output.h"

#include <fstream>

#include "display/label_font.h"
#include "display/png_writer.h"
#include "display/scanline_canvas.h"

namespace marvik {
namespace {

// Of a picture's side; 12 pixels at 600.
constexpr double kLabelPart = 0.02;

void Refuse(const Workbench& bench, const std::string& text) {
  bench.messages.Show({MessageIcon::Warning, "Error: File I/O", text});
}

}  // namespace

std::optional<std::string> DrawPicture(Workbench& bench, int size, const std::string& format) {
  if (format != "png") {
    Refuse(bench, "Pictures can be written as .png only; ." + format + " is not available yet.");
    return {};
  }
  Image image(size, size);
  {
    const StageClock clock(bench.seconds.draw);
    ViewState view = bench.view;
    view.drawingSize = size;
    view.fitView(view.viewRadius, std::nullopt);
    const RenderOptions options = bench.ScreenOptions();
    std::optional<LabelFont> font;
    if (options.labels || options.showCell) font.emplace(size * kLabelPart);
    ScanlineCanvas canvas(image, font ? &*font : nullptr);
    bench.renderer.Render(bench.document, view, options, canvas, [] { return true; });
  }
  const StageClock clock(bench.seconds.write);
  auto bytes = EncodePng(image);
  if (!bytes) Refuse(bench, "The picture could not be made.");
  return bytes;
}

bool WritePicture(Workbench& bench, int size, const std::string& path, const std::string& format) {
  const auto bytes = DrawPicture(bench, size, format.empty() ? LowerExtensionOf(path) : format);
  if (!bytes) return false;
  const StageClock clock(bench.seconds.write);
  std::ofstream out(path, std::ios::binary);
  if (out) {
    out.write(bytes->data(), static_cast<std::streamsize>(bytes->size()));
    out.close();
  }
  if (!out) Refuse(bench, "Error opening file (" + path + ") for writing.");
  return static_cast<bool>(out);
}

}  // namespace marvik

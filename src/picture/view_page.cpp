#include "picture/view_page.h"

#include <algorithm>
#include <cmath>

#include "draw/canvas/pdf_canvas.h"
#include "draw/labels/label_font.h"
#include "draw/surface/lit_picture.h"
#include "picture/gl_output.h"

namespace marvik {
namespace {

constexpr double kPointsPerPageUnit = 72.0 / 2540.0;
// Of the page, in page units: the middle of what ProjectSegmentForPrint draws, and the side of its square.
constexpr CanvasPoint kPageMiddle{9741.0, 13716.0};
constexpr double kPageSide = 2.0 * 10160.0;
constexpr double kA4Width = 21000.0;
constexpr double kA4Height = 29700.0;

}  // namespace

PagePlace PlaceOnPage(double width, double height) {
  PagePlace place;
  const double least = std::min(width, height);
  if (least > 0.0 && least < kPageSide) place.scale = least / kPageSide;
  place.corner = {kPageMiddle.x - width / 2.0 / place.scale, kPageMiddle.y - height / 2.0 / place.scale};
  return place;
}

bool DrawPage(PictureSubject& subject, Canvas& canvas) {
  // A step of the device origin is 36 page units.
  constexpr double kOriginStep = 36.0;
  ViewState view = subject.view;
  const double pixels = view.viewportWidth * 0.5 - 1.0;
  const double step = pixels > 0.0 ? kPageSide / 2.0 / pixels / kOriginStep : 0.0;
  view.deviceOriginX = static_cast<int32_t>(std::lround(view.panX * step));
  view.deviceOriginY = static_cast<int32_t>(std::lround(view.panY * step));
  RenderOptions options = subject.look;
  options.printing = true;
  options.mode = FlatRendition(subject.document, options.mode);
  return InteractiveRenderer().Render(subject.document, view, options, canvas, subject.goOn);
}

std::optional<std::string> DrawPdfPage(PictureSubject& subject) {
  if (!PdfCanvas::IsThere()) {
    subject.messages.Show({MessageIcon::Warning, "Error: File I/O", PdfCanvas::kMissing});
    return {};
  }
  const PagePlace place = PlaceOnPage(kA4Width, kA4Height);
  const std::string file = FindSansFontFile();
  LabelFont font(kPageLabelSize, file);
  PdfPage page;
  page.width = kA4Width * kPointsPerPageUnit;
  page.height = kA4Height * kPointsPerPageUnit;
  page.unit = place.scale * kPointsPerPageUnit;
  page.corner = place.corner;
  page.title = subject.title;
  PdfCanvas canvas(page, font, file);
  auto bytes = DrawPage(subject, canvas) ? canvas.Finish() : std::optional<std::string>();
  if (!bytes) SayPictureStopped(subject.messages);
  return bytes;
}

}  // namespace marvik

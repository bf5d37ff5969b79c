#include "picture/gl_output.h"

#include <algorithm>
#include <cmath>

#include "draw/surface/lit_picture.h"
#include "picture/picture_drawing.h"

namespace marvik {

namespace {
constexpr double kPointsPerGlPixel = 72.0 / 96.0;  // of its labels
}

GlPictureOptions GlOptionsOf(const PictureSubject& subject, const PictureOptions& picture) {
  GlPictureOptions options;
  options.mode = FlatRendition(subject.document, subject.look.mode);
  options.labels = subject.look.labels;
  options.hydrogenLabels = subject.look.hydrogenLabels;
  options.hybridLabelColoration = subject.look.hybridLabelColoration;
  options.showCell = subject.look.showCell;
  options.net = subject.look.net;
  options.contacts = subject.look.contacts;
  options.marks = subject.look.marks;
  options.figure = subject.look.figure;
  options.safeColours = subject.look.safeColours;
  options.probability = subject.look.probability;
  options.settings = subject.openGl();
  options.colour = !picture.blackWhite;
  if (picture.layers) options.settings.layerCount = *picture.layers;
  options.transparent = picture.background == PictureBackground::Transparent;
  if (picture.background == PictureBackground::White || options.transparent)
    options.settings.background = {1.0, 1.0, 1.0};
  if (picture.background == PictureBackground::Black) options.settings.background = {0.0, 0.0, 0.0};
  options.look = subject.look.look;
  options.labelForm = subject.look.labelForm;
  options.labelPointSize = ProperPointSize(options.settings.fontPath, picture.size);
  if (picture.resolution > 0.0) {
    // Where it is known how large it will be printed, type and lines are as large as in any other picture.
    const RenderOptions others = PixelOptions(subject, picture);
    options.thinLine = others.thinLine;
    const double pixels = LabelPoints(subject, picture) / PointsPerPixel(picture);
    options.labelPointSize = std::max(1, static_cast<int>(std::lround(pixels * kPointsPerGlPixel)));
  }
  return options;
}

GlPicture DrawWithProgress(PictureSubject& subject, const GlPictureOptions& options, int size) {
  bool going = true;
  int told = 0;
  // The box of the progress asks for little more than one percent at a time; telling of the end closes it.
  const auto tell = [&](int done, int total) {
    if (done >= total || done - told < std::max(1, total / 100)) return;
    told = done;
    going = going && subject.messages.ReportProgress(done, total);
  };
  const auto goOn = [&] { return going && (!subject.goOn || subject.goOn()); };
  GlPicture picture = RenderGlPicture(subject.document, subject.view, size, options, goOn, tell);
  subject.messages.ReportProgress(1, 1);
  return picture;
}

std::optional<Image> DrawGlImage(PictureSubject& subject, const PictureOptions& picture) {
  GlPicture result = DrawWithProgress(subject, GlOptionsOf(subject, picture), picture.size);
  if (!result.image) {
    subject.messages.Show({MessageIcon::Warning, result.caption, result.error});
    return {};
  }
  if (result.complete) return std::move(result.image);
  SayPictureStopped(subject.messages);
  return {};
}

void SayPictureStopped(UserMessages& messages) {
  messages.Show({MessageIcon::Information, "Picture", "The picture was stopped; nothing was written."});
}

}  // namespace marvik

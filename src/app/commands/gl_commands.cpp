#include "app/commands/gl_commands.h"

#include <algorithm>
#include <cerrno>
#include <cmath>

#include "app/commands/command_handlers.h"
#include "app/picture/picture_output.h"
#include "app/preferences/bitmap_preferences.h"
#include "base/atomic_write.h"
#include "base/numbers.h"
#include "draw/canvas/png_writer.h"
#include "draw/surface/lit_picture.h"
#include "picture/gl_output.h"
#include "picture/jpeg_writer.h"
#include "picture/picture_page.h"

namespace marvik {
namespace {

constexpr FieldRange kFileField[] = {WordField("file", "File", "PICTURE")};
constexpr int kPageResolution = 300;  // dots per inch of a page that no printer sets

class Busy {
 public:
  explicit Busy(Workbench& bench) : bench_(bench) { bench_.SetBusy(true); }
  ~Busy() { bench_.SetBusy(false); }
  Busy(const Busy&) = delete;
  Busy& operator=(const Busy&) = delete;

 private:
  Workbench& bench_;
};

Outcome RefuseArgument(Workbench& bench, const std::string& text) {
  return Refuse(bench, "Command Usage Error:", text);
}

void ShowFailure(Workbench& bench, const GlPicture& picture) {
  bench.messages.Show({MessageIcon::Warning, picture.caption, picture.error});
}

GlPictureOptions OptionsFor(Workbench& bench, bool colour, int size) {
  PictureOptions picture;
  picture.size = size;
  picture.blackWhite = !colour;
  return GlOptionsOf(SubjectOf(bench), picture);
}

struct Drawn {
  std::optional<Image> image;
  Outcome outcome = Outcome::Done;  // Failed after a message, Cancelled when the user stopped it
};

// For paper and files, with a progress window.
Drawn DrawForOutput(Workbench& bench, GlPictureOptions options, int size, bool antiAlias) {
  options.printing = true;
  options.antiAlias = antiAlias;
  const Busy busy(bench);
  const StageClock clock(bench.seconds.draw);
  PictureSubject subject = SubjectOf(bench);
  GlPicture picture = DrawWithProgress(subject, options, size);
  if (picture.image && picture.complete) return {std::move(picture.image), Outcome::Done};
  if (picture.image) return {std::nullopt, Outcome::Cancelled};
  ShowFailure(bench, picture);
  return {std::nullopt, Outcome::Failed};
}

// What the screen would show, into a file.
Outcome WriteScreenPicture(Workbench& bench, const Image& image, const std::string& path) {
  if (LowerExtensionOf(path) == "jpg") return WriteJpeg(path, image, bench.messages) ? Outcome::Done : Outcome::Failed;
  const auto bytes = EncodePng(image);
  const int error = bytes ? WriteDerivedFile(path, *bytes) : ENOMEM;
  if (error == 0) return Outcome::Done;
  return Refuse(bench, "Error: File I/O", WriteFault(path, error));
}

}  // namespace

std::span<const FieldRange> PictureFileField() {
  return kFileField;
}

bool IsOpenGlRendition(const Workbench& bench) {
  const int mode = FlatRendition(bench.document, bench.RenditionMode);
  return mode == kBallAndStick || mode == kThermalEllipsoid;
}

bool RefuseOtherRenditions(Workbench& bench) {
  if (IsOpenGlRendition(bench)) return false;
  Refuse(bench, kInvalidDisplayCaption, kInvalidDisplayText);
  return true;
}

GlPicture DrawScreenPicture(Workbench& bench, bool colour, const KeepGoing& keepGoing) {
  const StageClock clock(bench.seconds.draw);
  const int size = std::max(1, static_cast<int>(std::lround(bench.view.drawingSize)));
  return RenderGlPicture(bench.document, bench.view, size, OptionsFor(bench, colour, size), keepGoing, {});
}

Outcome GlScreenHandler(Workbench& bench, const CommandCall& call) {
  const EditArguments arguments = SplitEditArguments(call.argument);
  const EditFault fault = UnknownFieldFault(arguments, kFileField);
  if (fault || !arguments.atoms.empty()) return RefuseArgument(bench, "file=NAME is all that this command takes.");
  if (RefuseOtherRenditions(bench)) return Outcome::Failed;
  if (!bench.document.atoms.head) return Outcome::Done;
  const std::string* file = arguments.Find("file");
  if (!file && !bench.hooks.showPicture) {
    return RefuseArgument(bench, "There is no window to show the picture in; file=NAME.png keeps it.");
  }
  GlPicture picture;
  {
    const Busy busy(bench);
    picture = DrawScreenPicture(bench, call.id == kColourScreenCommand, bench.hooks.goOn);
  }
  if (!picture.image) {
    ShowFailure(bench, picture);
    return Outcome::Failed;
  }
  if (file) return WriteScreenPicture(bench, *picture.image, *file);
  const std::array<double, 3> paper{1.0, 1.0, 1.0};
  bench.hooks.showPicture(*picture.image, call.id == kColourScreenCommand ? bench.GlSettings().background : paper);
  return Outcome::Done;
}

Outcome GlJpegHandler(Workbench& bench, const CommandCall& call) {
  if (RefuseOtherRenditions(bench)) return Outcome::Failed;
  if (!bench.document.atoms.head) return Outcome::Done;
  BitmapPreferences preferences = UsualBitmapPreferences(bench);
  if (const PreferenceFault fault =
          ReadBitmapPreferences(SplitEditArguments(call.argument), bench, preferences, preferences)) {
    bench.messages.Show(fault.message);
    return Outcome::Failed;
  }
  if (bench.pictures.bitmapAntiAlias != preferences.antiAlias) {
    bench.pictures.bitmapAntiAlias = preferences.antiAlias;
    SavePictureSettings(bench.pictures);
  }
  GlPictureOptions options = OptionsFor(bench, call.id == kColourJpegCommand, preferences.size);
  options.labelPointSize = preferences.pointSize;
  const Drawn drawn = DrawForOutput(bench, options, preferences.size, preferences.antiAlias);
  if (!drawn.image) return drawn.outcome;
  const StageClock clock(bench.seconds.write);
  if (WriteJpeg(preferences.file, *drawn.image, bench.messages)) return Outcome::Done;
  return Refuse(bench, "Error: File I/O", "Unable to Create Bitmap File");
}

Outcome GlPrinterHandler(Workbench& bench, const CommandCall& call) {
  const EditArguments arguments = SplitEditArguments(call.argument);
  const EditFault fault = UnknownFieldFault(arguments, kFileField);
  if (fault || !arguments.atoms.empty()) return RefuseArgument(bench, "file=NAME.pdf is all that this command takes.");
  if (RefuseOtherRenditions(bench)) return Outcome::Failed;
  if (!bench.document.atoms.head) return Outcome::Done;
  std::unique_ptr<PicturePage> page;
  if (const std::string* file = arguments.Find("file")) {
    page = std::make_unique<PdfPicturePage>(*file, kPageResolution);
  } else if (bench.hooks.choosePrinter) {
    page = bench.hooks.choosePrinter();
    if (!page) return Outcome::Cancelled;
  } else {
    return RefuseArgument(bench, "There is no window to choose a printer in; file=NAME.pdf makes a page of a file.");
  }
  Outcome outcome = Outcome::Failed;
  const auto draw = [&](int side) {
    Drawn drawn = DrawForOutput(bench, OptionsFor(bench, call.id == kColourPrinterCommand, side), side,
                                bench.pictures.bitmapAntiAlias);
    outcome = drawn.outcome;
    return std::move(drawn.image);
  };
  return PrintOnPage(*page, draw, bench.messages) == PageOutcome::Failed ? Outcome::Failed : outcome;
}

}  // namespace marvik

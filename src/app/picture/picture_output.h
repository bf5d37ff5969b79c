#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "app/workbench.h"
#include "picture/picture_options.h"

namespace marvik {

// Draws what the screen shows of the workbench, with its view fitted into a square, and gives the bytes of a picture
// file of that format (an extension, lower case). Nothing after a message, which is also what it gives when the hook
// `goOn` or the progress box ends it. The atoms' screen positions are those of the picture then.
std::optional<std::string> DrawPicture(Workbench& bench, const PictureOptions& options, const std::string& format);

// The same into a file, by its extension unless a format is given. False after a message, with the file as it was.
bool WritePicture(Workbench& bench, const PictureOptions& options, const std::string& path, const std::string& format);

// The argument of the command that saves a picture: "size=1200 resolution=300 background=white renderer=opengl FILE".
// What is not given is as in `usual`. Nothing, with a sentence in `wrong`, for what makes no sense.
struct PictureRequest {
  PictureOptions options;
  std::string path;
};
std::optional<PictureRequest> ParsePictureRequest(std::string_view text, const PictureOptions& usual,
                                                  std::string& wrong);
std::string PictureArgument(const PictureRequest& request);
// The sentence about sizes that are not possible.
std::string PictureSizeRule();

// Where the square of the picture lies on paper, in hundredths of a millimetre.
struct PagePlace {
  double scale = 1.0;  // below 1 where the paper is smaller than the picture
  CanvasPoint corner;  // of the paper's upper left, in the units of what is drawn: (page unit - corner) · scale
};
PagePlace PlaceOnPage(double width, double height);
// Draws the view in page units, hundredths of a millimetre. The font's size is that of the labels, in page units too.
inline constexpr double kPageLabelSize = 406.0;
bool DrawPage(Workbench& bench, Canvas& canvas);
// One page of A4 as PDF. Nothing after a message, when it was stopped.
std::optional<std::string> DrawPdfPage(Workbench& bench);

}  // namespace marvik

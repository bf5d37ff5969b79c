#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "draw/canvas/image.h"
#include "picture/picture_options.h"
#include "picture/picture_subject.h"

namespace marvik {

// In the order of the table.
inline constexpr std::string_view kTurnExtension = "apng";
inline constexpr std::string_view kPictureExtensions[] = {"png", "jpg", "svg", "pdf", "tif", "eps"};

using PictureBytes = std::optional<std::string>;

// A kind of picture file. A new one needs its writer and a row of the table.
struct PictureFormat {
  std::string_view name;       // "PNG"
  std::string_view extension;  // lower case
  std::string_view alias;      // another extension, or ""
  bool transparent = false;    // has transparency; where it has none that is white
  // Draws by means of its own, lines as lines; without, the picture is drawn in pixels and encoded. Nothing after a
  // message.
  PictureBytes (*draw)(PictureSubject& subject, const PictureOptions& options) = nullptr;
  // Why such files cannot be made here, null where they can; without, they always can.
  const char* (*missing)() = nullptr;
  // The bytes of a finished picture; nothing when memory is gone. Formats without are made of lines.
  PictureBytes (*encode)(const Image& image, const PictureOptions& options) = nullptr;
};

std::span<const PictureFormat> PictureFormats();
// By an extension in lower case, null for one that there is not.
const PictureFormat* PictureFormatNamed(std::string_view extension);
// ".png, .jpg, .svg and .pdf"; or only those that can take a picture of pixels.
std::string PictureExtensions(bool ofPixels = false);

// The format, null after a message where such pictures cannot be made.
const PictureFormat* PossibleFormat(UserMessages& messages, const PictureOptions& options, const std::string& format);
inline constexpr char kNoMemoryForPicture[] = "There is not enough memory for this picture.";

// What the screen shows of the subject, with its view fitted into a square, as the bytes of a picture file of that
// format (an extension). Nothing after a message, which is also what it gives when it was stopped. The atoms' screen
// positions are those of the picture then.
PictureBytes DrawPicture(PictureSubject& subject, const PictureOptions& options, const std::string& format);

}  // namespace marvik

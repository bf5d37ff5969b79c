#pragma once

#include <optional>
#include <string>

#include "base/user_messages.h"
#include "draw/canvas/image.h"

namespace marvik {

// The bytes of a JPEG file of the picture, its alpha left out: quality 100 with baseline tables, the resolution where
// it is positive, everything else as the library has it. Nothing when a side is 0 or above 65500 pixels, or memory is
// gone.
std::optional<std::string> EncodeJpeg(const Image& image, double dotsPerInch = 0.0);

// The same into a file, which is whole or not there; an older one stays when writing fails. False after a message.
bool WriteJpeg(const std::string& path, const Image& image, UserMessages& messages);

}  // namespace marvik

#pragma once

#include <optional>
#include <string>

#include "draw/canvas/image.h"

namespace marvik {

inline constexpr char kTiffMissing[] = "TIFF files need the library libtiff.so.6, which is not installed.";

// Whether the system has the library that writes such files, which is not loaded before. To be asked first.
bool TiffIsThere();

// 8-bit RGB, LZW with horizontal differences, as journals take it; alpha is dropped. Nothing when memory is gone.
std::optional<std::string> EncodeTiff(const Image& image, double dotsPerInch);

}  // namespace marvik

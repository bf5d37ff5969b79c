#pragma once

#include <optional>
#include <string>

#include "display/image.h"

namespace marvik {

struct PngOptions {
  double dotsPerInch = 0.0;  // written into the file when positive
  bool alpha = false;        // keep the top byte of the pixels as transparency
};

// The bytes of a PNG file: eight bits a channel, packed for speed rather than size. Nothing for an empty picture, one
// whose pixels are fewer than its sides say, or when memory is gone.
std::optional<std::string> EncodePng(const Image& image, const PngOptions& options = {});

// Gives 0, or the system's error number with nothing changed at `path`.
int WritePng(const Image& image, const std::string& path, const PngOptions& options = {});

}  // namespace marvik

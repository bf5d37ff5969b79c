#pragma once

#include <memory>
#include <optional>
#include <string>

#include "draw/canvas/image.h"

namespace marvik {

struct PngOptions {
  double dotsPerInch = 0.0;  // written into the file when positive
  bool alpha = false;        // keep the top byte of the pixels as transparency
};

// The bytes of a PNG file: eight bits a channel, packed for speed rather than size. Nothing for an empty picture, one
// whose pixels are fewer than its sides say, or when memory is gone.
std::optional<std::string> EncodePng(const Image& image, const PngOptions& options = {});

// The same row by row, for pictures that are not held whole in memory.
class PngEncoder {
 public:
  PngEncoder(int width, int height, const PngOptions& options);
  ~PngEncoder();
  // The next rows, each `width` pixels. False, then and ever after, when memory is gone.
  bool Rows(const uint32_t* pixels, int count);
  // Nothing when something failed or rows are missing.
  std::optional<std::string> Finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// Gives 0, or the system's error number with nothing changed at `path`.
int WritePng(const Image& image, const std::string& path, const PngOptions& options = {});

}  // namespace marvik

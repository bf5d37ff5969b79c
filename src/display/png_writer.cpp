#include "display/png_writer.h"

#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <png.h>
#include <vector>
#include <zlib.h>

#include "util/files.h"

namespace marvik {

namespace {

struct Output {
  std::string bytes;
  std::vector<uint8_t> row;
};

// libpng leaves through longjmp, so nothing that it calls may throw or own memory at that point.
void AppendBytes(png_structp png, png_bytep data, size_t length) {
  bool failed = false;
  try {
    static_cast<Output*>(png_get_io_ptr(png))->bytes.append(reinterpret_cast<const char*>(data), length);
  } catch (const std::bad_alloc&) {
    failed = true;
  }
  if (failed) png_error(png, "no memory");
}

void Leave(png_structp png, png_const_charp) {
  png_longjmp(png, 1);
}

void Ignore(png_structp, png_const_charp) {}

void PackRow(const uint32_t* pixels, int width, bool alpha, uint8_t* out) {
  for (int x = 0; x < width; ++x) {
    const uint32_t p = pixels[x];
    *out++ = static_cast<uint8_t>(p >> 16);
    *out++ = static_cast<uint8_t>(p >> 8);
    *out++ = static_cast<uint8_t>(p);
    if (alpha) *out++ = static_cast<uint8_t>(p >> 24);
  }
}

// Only plain values live across the jump; whatever needs destroying belongs to the caller.
bool Encode(png_structp png, png_infop info, const Image& image, const PngOptions& options, Output& output) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_write_fn(png, &output, AppendBytes, nullptr);
  png_set_compression_level(png, 1);
  png_set_compression_strategy(png, Z_RLE);
  png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
  const auto width = static_cast<png_uint_32>(image.width);
  const auto height = static_cast<png_uint_32>(image.height);
  png_set_IHDR(png, info, width, height, 8, options.alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (options.dotsPerInch > 0.0 && options.dotsPerInch < 1e6) {
    const auto perMetre = static_cast<png_uint_32>(std::lround(options.dotsPerInch / 0.0254));
    png_set_pHYs(png, info, perMetre, perMetre, PNG_RESOLUTION_METER);
  }
  png_write_info(png, info);
  for (int y = 0; y < image.height; ++y) {
    PackRow(image.pixels.data() + static_cast<size_t>(y) * width, image.width, options.alpha, output.row.data());
    png_write_row(png, output.row.data());
  }
  png_write_end(png, nullptr);
  return true;
}

}  // namespace

std::optional<std::string> EncodePng(const Image& image, const PngOptions& options) {
  const auto pixels = static_cast<size_t>(image.width) * static_cast<size_t>(image.height);
  if (image.width <= 0 || image.height <= 0 || image.pixels.size() < pixels) return std::nullopt;
  Output output;
  try {
    output.row.resize(static_cast<size_t>(image.width) * 4);
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, Leave, Ignore);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  const bool done = info && Encode(png, info, image, options, output);
  png_destroy_write_struct(&png, &info);
  if (!done) return std::nullopt;
  return std::move(output.bytes);
}

int WritePng(const Image& image, const std::string& path, const PngOptions& options) {
  const auto bytes = EncodePng(image, options);
  return bytes ? WriteFileAtomically(path, *bytes) : ENOMEM;
}

}  // namespace marvik

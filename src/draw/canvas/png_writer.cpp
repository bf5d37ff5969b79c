#include "draw/canvas/png_writer.h"

#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <png.h>
#include <vector>
#include <zlib.h>

#include "base/atomic_write.h"

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

}  // namespace

// Only plain values live across the jumps; whatever needs destroying is a member.
struct PngEncoder::State {
  png_structp png = nullptr;
  png_infop info = nullptr;
  Output output;
  PngOptions options;
  int width = 0;
  int height = 0;
  int done = 0;
  bool well = false;

  ~State() { png_destroy_write_struct(&png, &info); }
  bool Start();
  bool Write(const uint32_t* pixels, int count);
  bool End();
};

bool PngEncoder::State::Start() {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_write_fn(png, &output, AppendBytes, nullptr);
  png_set_compression_level(png, 1);
  png_set_compression_strategy(png, Z_RLE);
  png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
  png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
               options.alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (options.dotsPerInch > 0.0 && options.dotsPerInch < 1e6) {
    const auto perMetre = static_cast<png_uint_32>(std::lround(options.dotsPerInch / 0.0254));
    png_set_pHYs(png, info, perMetre, perMetre, PNG_RESOLUTION_METER);
  }
  png_write_info(png, info);
  return true;
}

bool PngEncoder::State::Write(const uint32_t* pixels, int count) {
  if (setjmp(png_jmpbuf(png))) return false;
  for (int y = 0; y < count; ++y) {
    PackRow(pixels + static_cast<ptrdiff_t>(y) * width, width, options.alpha, output.row.data());
    png_write_row(png, output.row.data());
  }
  return true;
}

bool PngEncoder::State::End() {
  if (setjmp(png_jmpbuf(png))) return false;
  png_write_end(png, nullptr);
  return true;
}

PngEncoder::PngEncoder(int width, int height, const PngOptions& options) : state_(std::make_unique<State>()) {
  State& s = *state_;
  s.options = options;
  s.width = width;
  s.height = height;
  if (width <= 0 || height <= 0) return;
  try {
    s.output.row.resize(static_cast<size_t>(width) * 4);
  } catch (const std::bad_alloc&) {
    return;
  }
  s.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, Leave, Ignore);
  s.info = s.png ? png_create_info_struct(s.png) : nullptr;
  s.well = s.info && s.Start();
}

PngEncoder::~PngEncoder() = default;

bool PngEncoder::Rows(const uint32_t* pixels, int count) {
  State& s = *state_;
  s.well = s.well && count <= s.height - s.done && s.Write(pixels, count);
  s.done += count;
  return s.well;
}

std::optional<std::string> PngEncoder::Finish() {
  State& s = *state_;
  s.well = s.well && s.done == s.height && s.End();
  if (!s.well) return std::nullopt;
  s.well = false;
  return std::move(s.output.bytes);
}

std::optional<std::string> EncodePng(const Image& image, const PngOptions& options) {
  const auto pixels = static_cast<size_t>(image.width) * static_cast<size_t>(image.height);
  if (image.pixels.size() < pixels) return std::nullopt;
  PngEncoder encoder(image.width, image.height, options);
  if (!encoder.Rows(image.pixels.data(), image.height)) return std::nullopt;
  return encoder.Finish();
}

int WritePng(const Image& image, const std::string& path, const PngOptions& options) {
  const auto bytes = EncodePng(image, options);
  return bytes ? WriteDerivedFile(path, *bytes) : ENOMEM;
}

}  // namespace marvik

#pragma once

#include <png.h>
#include <string>
#include <vector>

namespace marvik::test {

struct DecodedPng {
  int width = 0;
  int height = 0;
  bool hasAlpha = false;
  std::vector<uint8_t> pixels;  // red, green, blue, alpha; empty when the bytes cannot be read
};

inline DecodedPng DecodePng(const std::string& bytes) {
  png_image reader{};
  reader.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_memory(&reader, bytes.data(), bytes.size())) return {};
  const bool hasAlpha = (reader.format & PNG_FORMAT_FLAG_ALPHA) != 0;
  reader.format = PNG_FORMAT_RGBA;
  std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(reader));
  if (!png_image_finish_read(&reader, nullptr, pixels.data(), 0, nullptr)) return {};
  return {static_cast<int>(reader.width), static_cast<int>(reader.height), hasAlpha, std::move(pixels)};
}

}  // namespace marvik::test

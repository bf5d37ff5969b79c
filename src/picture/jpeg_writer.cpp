#include "picture/jpeg_writer.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <cstdlib>
#include <jpeglib.h>
#include <new>
#include <vector>

#include "base/atomic_write.h"

namespace marvik {
namespace {

constexpr int kQuality = 100;

// The library's own way with an error is to end the process.
struct ErrorManager {
  jpeg_error_mgr base{};
  std::jmp_buf giveUp{};
};

void GiveUp(j_common_ptr info) {
  std::longjmp(reinterpret_cast<ErrorManager*>(info->err)->giveUp, 1);
}

void SayNothing(j_common_ptr) {}

struct Compressor {
  jpeg_compress_struct info{};
  ErrorManager errors;
  unsigned char* bytes = nullptr;  // the library's, to be freed
  unsigned long size = 0;
  ~Compressor() {
    jpeg_destroy_compress(&info);
    std::free(bytes);
  }
};

// Between setjmp and the last call that may jump back here nothing is made that would have to be destroyed.
bool Compress(const Image& image, double dotsPerInch, std::vector<JSAMPLE>& row, Compressor& compressor) {
  jpeg_compress_struct& info = compressor.info;
  info.err = jpeg_std_error(&compressor.errors.base);
  compressor.errors.base.error_exit = GiveUp;
  compressor.errors.base.output_message = SayNothing;
  if (setjmp(compressor.errors.giveUp)) return false;
  jpeg_create_compress(&info);
  jpeg_mem_dest(&info, &compressor.bytes, &compressor.size);
  info.image_width = static_cast<JDIMENSION>(image.width);
  info.image_height = static_cast<JDIMENSION>(image.height);
  info.input_components = 3;
  info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, kQuality, TRUE);
  if (dotsPerInch > 0.0) {
    info.density_unit = 1;  // dots per inch
    info.X_density = info.Y_density = static_cast<UINT16>(std::lround(std::clamp(dotsPerInch, 1.0, 65535.0)));
  }
  jpeg_start_compress(&info, TRUE);
  JSAMPROW samples = row.data();
  while (info.next_scanline < info.image_height) {
    const uint32_t* pixel = image.pixels.data() + size_t{info.next_scanline} * info.image_width;
    for (size_t at = 0; at < row.size(); at += 3, ++pixel) {
      row[at] = static_cast<JSAMPLE>(*pixel >> 16 & 255);
      row[at + 1] = static_cast<JSAMPLE>(*pixel >> 8 & 255);
      row[at + 2] = static_cast<JSAMPLE>(*pixel & 255);
    }
    jpeg_write_scanlines(&info, &samples, 1);
  }
  jpeg_finish_compress(&info);
  return true;
}

}  // namespace

std::optional<std::string> EncodeJpeg(const Image& image, double dotsPerInch) {
  try {
    std::vector<JSAMPLE> row(static_cast<size_t>(image.width) * 3);
    Compressor compressor;
    if (!Compress(image, dotsPerInch, row, compressor)) return std::nullopt;
    return std::string(reinterpret_cast<const char*>(compressor.bytes), compressor.size);
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

bool WriteJpeg(const std::string& path, const Image& image, UserMessages& messages) {
  const auto bytes = EncodeJpeg(image);
  const int error = bytes ? WriteDerivedFile(path, *bytes) : ENOMEM;
  if (error == 0) return true;
  const bool full = error == ENOSPC || error == EFBIG || error == EIO || error == ENOMEM;
  const std::string reason = full ? ": " + SystemErrorMessage("", error).text : "";
  messages.Show({MessageIcon::Warning, "File Error:", (full ? "Can't write " : "Can't open ") + path + reason});
  return false;
}

}  // namespace marvik

// Files: PNG through libpng, JPEG through libjpeg-turbo, raw frames and YUV4MPEG2. Every writer
// goes through WriteAtomically, so a failed run leaves no partial picture behind.
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>
// jpeglib.h needs FILE and size_t first.
#include <jpeglib.h>

#include "tool.h"

namespace nyxtool {

namespace {

using FilePtr = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

FilePtr Open(const fs::path& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    throw Failure(kExitInput, path.string() + ": cannot open: " + std::strerror(errno));
  }
  return FilePtr(file, std::fclose);
}

Failure Unsupported(const fs::path& path, const std::string& why) {
  return Failure(kExitInput, path.string() + ": " + why);
}

// ---- PNG ----

struct PngError {
  std::string message;
};

[[noreturn]] void PngFail(png_structp png, png_const_charp message) {
  auto* error = static_cast<PngError*>(png_get_error_ptr(png));
  error->message = message;
  png_longjmp(png, 1);
}
void PngWarn(png_structp, png_const_charp) {}

Image ReadPng(const fs::path& path, std::FILE* file) {
  PngError error;
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &error, PngFail, PngWarn);
  png_infop info = png_create_info_struct(png);
  Image image;
  std::vector<png_bytep> rows;
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_read_struct(&png, &info, nullptr);
    throw Unsupported(path, "not a readable PNG: " + error.message);
  }
  png_init_io(png, file);
  png_read_info(png, info);
  const int colour = png_get_color_type(png, info);
  int depth = png_get_bit_depth(png, info);
  if (colour == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
  if (colour == PNG_COLOR_TYPE_GRAY && depth < 8) png_set_expand_gray_1_2_4_to_8(png);
  if (png_get_valid(png, info, PNG_INFO_tRNS)) png_set_tRNS_to_alpha(png);
  if (colour == PNG_COLOR_TYPE_GRAY_ALPHA) png_set_gray_to_rgb(png);
  if (depth == 16) png_set_swap(png);  // host order
  png_set_interlace_handling(png);
  png_read_update_info(png, info);
  depth = png_get_bit_depth(png, info);
  const int channels = png_get_channels(png, info);
  image.allocate(static_cast<int32_t>(png_get_image_width(png, info)),
                 static_cast<int32_t>(png_get_image_height(png, info)), channels, depth);
  rows.resize(image.height);
  for (int32_t y = 0; y < image.height; ++y) rows[y] = image.row(y);
  png_read_image(png, rows.data());
  png_read_end(png, nullptr);
  png_destroy_read_struct(&png, &info, nullptr);
  return image;
}

void WritePng(std::FILE* file, const Image& image) {
  PngError error;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &error, PngFail, PngWarn);
  png_infop info = png_create_info_struct(png);
  std::vector<png_bytep> rows(image.height);
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    throw Failure(kExitOutput, "PNG writer: " + error.message);
  }
  static const int kColour[5] = {0, PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA,
                                 PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGB_ALPHA};
  png_init_io(png, file);
  png_set_IHDR(png, info, image.width, image.height, image.depth, kColour[image.channels],
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_compression_level(png, 3);
  png_write_info(png, info);
  if (image.depth == 16) png_set_swap(png);
  for (int32_t y = 0; y < image.height; ++y) {
    rows[y] = const_cast<uint8_t*>(image.data.data()) + static_cast<size_t>(y) * image.step();
  }
  png_write_image(png, rows.data());
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
}

// ---- JPEG ----

struct JpegError {
  jpeg_error_mgr manager;
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
};

void JpegFail(j_common_ptr info) {
  auto* error = reinterpret_cast<JpegError*>(info->err);
  info->err->format_message(info, error->message);
  std::longjmp(error->jump, 1);
}

Image ReadJpeg(const fs::path& path, std::FILE* file) {
  jpeg_decompress_struct info;
  JpegError error;
  info.err = jpeg_std_error(&error.manager);
  error.manager.error_exit = JpegFail;
  Image image;
  if (setjmp(error.jump)) {
    jpeg_destroy_decompress(&info);
    throw Unsupported(path, std::string("not a readable JPEG: ") + error.message);
  }
  jpeg_create_decompress(&info);
  jpeg_stdio_src(&info, file);
  jpeg_read_header(&info, TRUE);
  info.out_color_space = info.num_components == 1 ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_start_decompress(&info);
  image.allocate(static_cast<int32_t>(info.output_width), static_cast<int32_t>(info.output_height),
                 info.output_components, 8);
  while (info.output_scanline < info.output_height) {
    JSAMPROW row = image.row(static_cast<int32_t>(info.output_scanline));
    jpeg_read_scanlines(&info, &row, 1);
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  return image;
}

void WriteJpeg(std::FILE* file, const Image& image) {
  if (image.depth != 8 || (image.channels != 1 && image.channels != 3)) {
    throw Failure(kExitOutput, "JPEG holds 8-bit grey or RGB only; write a .png instead");
  }
  jpeg_compress_struct info;
  JpegError error;
  info.err = jpeg_std_error(&error.manager);
  error.manager.error_exit = JpegFail;
  if (setjmp(error.jump)) {
    jpeg_destroy_compress(&info);
    throw Failure(kExitOutput, std::string("JPEG writer: ") + error.message);
  }
  jpeg_create_compress(&info);
  jpeg_stdio_dest(&info, file);
  info.image_width = static_cast<JDIMENSION>(image.width);
  info.image_height = static_cast<JDIMENSION>(image.height);
  info.input_components = image.channels;
  info.in_color_space = image.channels == 1 ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, 92, TRUE);
  jpeg_start_compress(&info, TRUE);
  while (info.next_scanline < info.image_height) {
    JSAMPROW row = const_cast<uint8_t*>(image.data.data()) +
                   static_cast<size_t>(info.next_scanline) * image.step();
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
}

bool IsJpeg(const std::string& ext) {
  return ext == "jpg" || ext == "jpeg";
}

}  // namespace

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string Extension(const fs::path& path) {
  std::string ext = Lower(path.extension().string());
  return ext.empty() ? ext : ext.substr(1);
}

ImageSize ParseSize(const std::string& text) {
  int width = 0, height = 0;
  char x = 0, rest = 0;
  if (std::sscanf(text.c_str(), "%d%c%d%c", &width, &x, &height, &rest) != 3 || x != 'x' ||
      width < 1 || height < 1) {
    throw Failure(kExitUsage, "size '" + text + "' is not WIDTHxHEIGHT with both at least 1");
  }
  return {width, height};
}

void WriteAtomically(const fs::path& path, const std::function<void(std::FILE*)>& write) {
  fs::path dir = path.parent_path();
  if (dir.empty()) dir = ".";
  std::string name = ".";
  name += path.filename().string();
  name += ".XXXXXX";
  std::string pattern = (dir / name).string();
  const int fd = mkstemp(pattern.data());
  if (fd < 0) {
    throw Failure(kExitOutput, path.string() + ": cannot write: " + std::strerror(errno));
  }
  std::FILE* file = fdopen(fd, "wb");
  try {
    write(file);
    if (std::fflush(file) != 0 || std::ferror(file)) {
      throw Failure(kExitOutput, path.string() + ": write failed: " + std::strerror(errno));
    }
  } catch (const Failure& failure) {
    std::fclose(file);
    std::remove(pattern.c_str());
    if (failure.code == kExitOutput && std::string(failure.what()).rfind(path.string(), 0) != 0) {
      throw Failure(kExitOutput, path.string() + ": " + failure.what());
    }
    throw;
  }
  std::fclose(file);
  // mkstemp makes the file private; give it the permissions a plain fopen would.
  const mode_t mask = umask(0);
  umask(mask);
  fs::permissions(pattern, static_cast<fs::perms>(0666 & ~mask));
  if (std::rename(pattern.c_str(), path.c_str()) != 0) {
    const std::string why = std::strerror(errno);
    std::remove(pattern.c_str());
    throw Failure(kExitOutput, path.string() + ": cannot write: " + why);
  }
}

Image ReadImage(const fs::path& path) {
  const std::string ext = Extension(path);
  if (ext != "png" && !IsJpeg(ext)) {
    throw Unsupported(path, "unsupported picture kind '." + ext + "' (use .png, .jpg)");
  }
  FilePtr file = Open(path);
  return ext == "png" ? ReadPng(path, file.get()) : ReadJpeg(path, file.get());
}

void WriteImage(const fs::path& path, const Image& image) {
  const std::string ext = Extension(path);
  if (ext != "png" && !IsJpeg(ext)) {
    throw Failure(kExitUsage,
                  path.string() + ": unsupported output kind '." + ext + "' (use .png, .jpg)");
  }
  WriteAtomically(path, [&](std::FILE* file) {
    if (ext == "png") {
      WritePng(file, image);
    } else {
      WriteJpeg(file, image);
    }
  });
}

std::vector<uint8_t> ReadRaw(const fs::path& path, size_t expected) {
  FilePtr file = Open(path);
  std::vector<uint8_t> bytes(expected);
  const size_t got = std::fread(bytes.data(), 1, expected, file.get());
  const bool longer = std::fgetc(file.get()) != EOF;
  if (got != expected || longer) {
    std::error_code error;
    const auto length = fs::file_size(path, error);
    throw Failure(kExitSize, path.string() + ": holds " +
                                 (error ? std::string("no readable") : std::to_string(length)) +
                                 " bytes, the size given needs " + std::to_string(expected));
  }
  return bytes;
}

void WriteRaw(const fs::path& path, const std::vector<uint8_t>& bytes) {
  WriteAtomically(path, [&](std::FILE* file) { std::fwrite(bytes.data(), 1, bytes.size(), file); });
}

Frame420 ReadY4m(const fs::path& path) {
  FilePtr file = Open(path);
  char header[256] = {};
  if (std::fgets(header, sizeof header, file.get()) == nullptr ||
      std::strncmp(header, "YUV4MPEG2 ", 10) != 0) {
    throw Unsupported(path, "not a YUV4MPEG2 file");
  }
  Frame420 frame;
  std::string colour = "420";
  for (char* token = std::strtok(header + 10, " \n"); token; token = std::strtok(nullptr, " \n")) {
    if (token[0] == 'W') frame.width = std::atoi(token + 1);
    if (token[0] == 'H') frame.height = std::atoi(token + 1);
    if (token[0] == 'C') colour = token + 1;
  }
  if (colour.rfind("420", 0) != 0 || colour == "420p10" || colour == "420p12") {
    throw Unsupported(path, "YUV4MPEG2 colour space C" + colour + " (only 8-bit 4:2:0)");
  }
  if (frame.width < 2 || frame.height < 2 || frame.width % 2 || frame.height % 2) {
    throw Failure(kExitSize, path.string() + ": 4:2:0 needs an even size of at least 2x2");
  }
  char line[256] = {};
  if (std::fgets(line, sizeof line, file.get()) == nullptr || std::strncmp(line, "FRAME", 5)) {
    throw Unsupported(path, "YUV4MPEG2 file without a frame");
  }
  const size_t luma = static_cast<size_t>(frame.width) * frame.height;
  frame.y.resize(luma);
  frame.cb.resize(luma / 4);
  frame.cr.resize(luma / 4);
  if (std::fread(frame.y.data(), 1, luma, file.get()) != luma ||
      std::fread(frame.cb.data(), 1, luma / 4, file.get()) != luma / 4 ||
      std::fread(frame.cr.data(), 1, luma / 4, file.get()) != luma / 4) {
    throw Failure(kExitSize, path.string() + ": frame shorter than its header says");
  }
  return frame;
}

void WriteY4m(const fs::path& path, const Frame420& frame) {
  WriteAtomically(path, [&](std::FILE* file) {
    std::fprintf(file, "YUV4MPEG2 W%d H%d F25:1 Ip A1:1 C420jpeg\nFRAME\n", frame.width,
                 frame.height);
    std::fwrite(frame.y.data(), 1, frame.y.size(), file);
    std::fwrite(frame.cb.data(), 1, frame.cb.size(), file);
    std::fwrite(frame.cr.data(), 1, frame.cr.size(), file);
  });
}

}  // namespace nyxtool

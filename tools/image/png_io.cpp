// PNG through libpng. libpng reports errors by longjmp, so the functions that call it hold nothing
// with a destructor; their callers own everything.
#include <png.h>

#include <csetjmp>
#include <cstring>

#include "tools/image/image_io.h"

namespace qrx::tool {
namespace {

struct Source {
  std::span<const std::uint8_t> data;
  std::size_t position = 0;
};

struct Message {
  char text[128] = "";
};

void onError(png_structp png, png_const_charp text) {
  auto* message = static_cast<Message*>(png_get_error_ptr(png));
  std::strncpy(message->text, text, sizeof message->text - 1);
  png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp) {}

void onRead(png_structp png, png_bytep target, size_t count) {
  auto* source = static_cast<Source*>(png_get_io_ptr(png));
  if (count > source->data.size() - source->position) png_error(png, "the file ends early");
  std::memcpy(target, source->data.data() + source->position, count);
  source->position += count;
}

void onWrite(png_structp png, png_bytep data, size_t count) {
  auto* target = static_cast<std::vector<std::uint8_t>*>(png_get_io_ptr(png));
  try {
    target->insert(target->end(), data, data + count);
    return;
  } catch (const std::bad_alloc&) {
  }
  png_error(png, "out of memory");
}

void onFlush(png_structp) {}

struct Reader {
  explicit Reader(Source& source)
      : png(png_create_read_struct(PNG_LIBPNG_VER_STRING, &message, onError, onWarning)) {
    if (png == nullptr || (info = png_create_info_struct(png)) == nullptr) throw std::bad_alloc();
    png_set_read_fn(png, &source, onRead);
  }
  ~Reader() { png_destroy_read_struct(&png, &info, nullptr); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  Message message;
  png_structp png;
  png_infop info = nullptr;
};

// Reads the header and asks for 8-bit BGRA.
bool readHeader(png_structp png, png_infop info) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_info(png, info);
  png_set_expand(png);
  png_set_scale_16(png);
  png_set_gray_to_rgb(png);
  png_set_add_alpha(png, 0xFF, PNG_FILLER_AFTER);
  png_set_bgr(png);
  png_set_interlace_handling(png);
  png_read_update_info(png, info);
  return true;
}

bool readRows(png_structp png, png_bytepp rows) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_image(png, rows);
  png_read_end(png, nullptr);
  return true;
}

struct Writer {
  explicit Writer(std::vector<std::uint8_t>& target)
      : png(png_create_write_struct(PNG_LIBPNG_VER_STRING, &message, onError, onWarning)) {
    if (png == nullptr || (info = png_create_info_struct(png)) == nullptr) throw std::bad_alloc();
    png_set_write_fn(png, &target, onWrite, onFlush);
  }
  ~Writer() { png_destroy_write_struct(&png, &info); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  Message message;
  png_structp png;
  png_infop info = nullptr;
};

bool writeRows(png_structp png, png_infop info, png_uint_32 width, png_uint_32 height, bool alpha,
               png_bytepp rows) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_IHDR(png, info, width, height, 8, alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_compression_level(png, 3);  // frames are many and short-lived: speed before size
  png_write_info(png, info);
  png_set_bgr(png);
  if (!alpha) png_set_filler(png, 0, PNG_FILLER_AFTER);
  png_write_image(png, rows);
  png_write_end(png, info);
  return true;
}

std::vector<png_bytep> rowPointers(Image& image) {
  std::vector<png_bytep> rows;
  for (int y = 0; y < image.size.height; ++y) rows.push_back(image.row(y));
  return rows;
}

bool isOpaque(const Image& image) {
  for (std::size_t i = 3; i < image.pixels.size(); i += Image::kBytesPerPixel) {
    if (image.pixels[i] != 0xFF) return false;
  }
  return true;
}

}  // namespace

Image decodePng(std::span<const std::uint8_t> data) {
  Source source{data};
  Reader reader(source);
  if (!readHeader(reader.png, reader.info)) throw Error(reader.message.text);
  Image image({static_cast<int>(png_get_image_width(reader.png, reader.info)),
               static_cast<int>(png_get_image_height(reader.png, reader.info))});
  if (png_get_rowbytes(reader.png, reader.info) != image.stride()) {
    throw Error("a pixel layout that is not supported");
  }
  std::vector<png_bytep> rows = rowPointers(image);
  if (!readRows(reader.png, rows.data())) throw Error(reader.message.text);
  return image;
}

std::vector<std::uint8_t> encodePng(const Image& image) {
  std::vector<std::uint8_t> data;
  Writer writer(data);
  // libpng takes rows to write by pointers to non-const, but does not change them.
  std::vector<png_bytep> rows = rowPointers(const_cast<Image&>(image));
  if (!writeRows(writer.png, writer.info, static_cast<png_uint_32>(image.size.width),
                 static_cast<png_uint_32>(image.size.height), !isOpaque(image), rows.data())) {
    throw Error(writer.message.text);
  }
  return data;
}

}  // namespace qrx::tool

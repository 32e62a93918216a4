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
  char profile[128] = "";  // what libpng finds wrong with the colour profile
};

void onError(png_structp png, png_const_charp text) {
  auto* message = static_cast<Message*>(png_get_error_ptr(png));
  std::strncpy(message->text, text, sizeof message->text - 1);
  png_longjmp(png, 1);
}

// Of a profile it begins with the chunk's name when reading, and with a word when writing.
void onWarning(png_structp png, png_const_charp text) {
  constexpr char kChunk[] = "iCCP: ", kProfile[] = "profile '";
  auto* message = static_cast<Message*>(png_get_error_ptr(png));
  const bool chunk = std::strncmp(text, kChunk, sizeof kChunk - 1) == 0;
  if (chunk) text += sizeof kChunk - 1;
  if (!chunk && std::strncmp(text, kProfile, sizeof kProfile - 1) != 0) return;
  if (message->profile[0] == '\0') {
    std::strncpy(message->profile, text, sizeof message->profile - 1);
  }
}

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

bool readRows(png_structp png, png_infop info, png_bytepp rows) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_image(png, rows);
  png_read_end(png, info);
  return true;
}

// Behind the rows, since Exif data may follow them.
Metadata takeMetadata(png_structp png, png_infop info) {
  Metadata metadata;
  png_charp name = nullptr;
  png_bytep bytes = nullptr;
  png_uint_32 size = 0;
  int compression = 0;
  if (png_get_iCCP(png, info, &name, &compression, &bytes, &size) != 0) {
    metadata.icc.assign(bytes, bytes + size);
  } else {
    metadata.iccFault = static_cast<const Message*>(png_get_error_ptr(png))->profile;
  }
  if (png_get_eXIf_1(png, info, &size, &bytes) != 0) metadata.exif.assign(bytes, bytes + size);
  return metadata;
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

// What a PNG is to be: the rows hold BGRA, or one byte a pixel for gray.
struct Layout {
  png_uint_32 width, height;
  int colourType;
};

bool writeRows(png_structp png, png_infop info, const Layout& layout, const Metadata& metadata,
               png_bytepp rows) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_benign_errors(png, 1);  // a profile that libpng finds wrong is left out
  png_set_IHDR(png, info, layout.width, layout.height, 8, layout.colourType, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_compression_level(png, 3);  // frames are many and short-lived: speed before size
  if (!metadata.icc.empty()) {
    png_set_iCCP(png, info, "ICC", PNG_COMPRESSION_TYPE_BASE, metadata.icc.data(),
                 static_cast<png_uint_32>(metadata.icc.size()));
  }
  if (!metadata.exif.empty()) {
    png_set_eXIf_1(png, info, static_cast<png_uint_32>(metadata.exif.size()),
                   const_cast<png_bytep>(metadata.exif.data()));
  }
  png_write_info(png, info);
  if (layout.colourType != PNG_COLOR_TYPE_GRAY) png_set_bgr(png);
  if (layout.colourType == PNG_COLOR_TYPE_RGB) png_set_filler(png, 0, PNG_FILLER_AFTER);
  png_write_image(png, rows);
  png_write_end(png, nullptr);  // with the info it would write the Exif data a second time
  return true;
}

std::vector<png_bytep> rowPointers(std::vector<std::uint8_t>& pixels, int height) {
  std::vector<png_bytep> rows;
  rows.reserve(static_cast<std::size_t>(height));
  const std::size_t stride = pixels.size() / static_cast<std::size_t>(height);
  for (int y = 0; y < height; ++y) {
    rows.push_back(pixels.data() + static_cast<std::size_t>(y) * stride);
  }
  return rows;
}

std::vector<std::uint8_t> grayPixels(const Image& image) {
  std::vector<std::uint8_t> gray;
  gray.reserve(image.pixels.size() / Image::kBytesPerPixel);
  for (std::size_t i = 0; i < image.pixels.size(); i += Image::kBytesPerPixel) {
    gray.push_back(image.pixels[i]);
  }
  return gray;
}

bool isOpaque(const Image& image) {
  for (std::size_t i = 3; i < image.pixels.size(); i += Image::kBytesPerPixel) {
    if (image.pixels[i] != 0xFF) return false;
  }
  return true;
}

}  // namespace

Image decodePng(std::span<const std::uint8_t> data, Metadata* metadata, const Limits& limits) {
  Source source{data};
  Reader reader(source);
  if (!readHeader(reader.png, reader.info)) throw Error(reader.message.text);
  limits.checkSize(png_get_image_width(reader.png, reader.info),
                   png_get_image_height(reader.png, reader.info));
  limits.checkMemory(std::uint64_t{png_get_rowbytes(reader.png, reader.info)} *
                     png_get_image_height(reader.png, reader.info));
  Image image({static_cast<int>(png_get_image_width(reader.png, reader.info)),
               static_cast<int>(png_get_image_height(reader.png, reader.info))});
  if (png_get_rowbytes(reader.png, reader.info) != image.stride()) {
    throw Error("a pixel layout that is not supported");
  }
  constexpr std::size_t kColourTypeAt = 25;  // of IHDR, which is read and comes first
  image.gray = (data[kColourTypeAt] & PNG_COLOR_MASK_COLOR) == 0;
  std::vector<png_bytep> rows = rowPointers(image.pixels, image.size.height);
  if (!readRows(reader.png, reader.info, rows.data())) throw Error(reader.message.text);
  if (metadata != nullptr) *metadata = takeMetadata(reader.png, reader.info);
  return image;
}

std::vector<std::uint8_t> encodePng(const Image& image, const Metadata& metadata,
                                    std::string* iccFault) {
  std::vector<std::uint8_t> data;
  Writer writer(data);
  const bool opaque = isOpaque(image);
  std::vector<std::uint8_t> gray;
  if (image.gray && opaque) gray = grayPixels(image);
  // libpng takes rows to write by pointers to non-const, but does not change them.
  std::vector<png_bytep> rows =
      rowPointers(gray.empty() ? const_cast<Image&>(image).pixels : gray, image.size.height);
  const Layout layout{static_cast<png_uint_32>(image.size.width),
                      static_cast<png_uint_32>(image.size.height),
                      !gray.empty() ? PNG_COLOR_TYPE_GRAY
                      : opaque      ? PNG_COLOR_TYPE_RGB
                                    : PNG_COLOR_TYPE_RGB_ALPHA};
  if (!writeRows(writer.png, writer.info, layout, metadata, rows.data())) {
    throw Error(writer.message.text);
  }
  const bool carried = png_get_valid(writer.png, writer.info, PNG_INFO_iCCP) != 0;
  if (iccFault != nullptr && !carried) *iccFault = writer.message.profile;
  return data;
}

}  // namespace qrx::tool

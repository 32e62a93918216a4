// What the front end has to say of a call goes to the standard error stream, through here. (The
// decoder class has lines of its own, where it reads quantisation tables.)
#ifndef QRX_CODECS_JPEG_DIAGNOSTICS_H_
#define QRX_CODECS_JPEG_DIAGNOSTICS_H_

#include <cstdio>

namespace qrx::codec {

inline void printError(const char* text) { std::fputs(text, stderr); }

inline constexpr char kNoCoders[] = "QRX JPEG: no coders for this thread\n";
inline constexpr char kInvalidArgument[] = "QRX JPEG: invalid argument\n";
inline constexpr char kInvalidSize[] = "QRX JPEG: invalid image size\n";
inline constexpr char kInvalidFormat[] = "QRX JPEG: invalid pixel format\n";
inline constexpr char kInvalidChannels[] = "QRX JPEG: invalid num channels\n";

// "QRX JPEG: <operation>() failed\n", for an operation of a coder.
inline void printFailed(const char* operation) {
  std::fprintf(stderr, "QRX JPEG: %s() failed\n", operation);
}

}  // namespace qrx::codec

#endif  // QRX_CODECS_JPEG_DIAGNOSTICS_H_

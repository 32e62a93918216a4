// Bounds of what can be coded.
#ifndef QRX_CODECS_JPEG_LIBRARY_IMAGE_LIMITS_H_
#define QRX_CODECS_JPEG_LIBRARY_IMAGE_LIMITS_H_

inline constexpr int kMaxImageSide = 65535;  // the frame header has 16 bits for each

#endif  // QRX_CODECS_JPEG_LIBRARY_IMAGE_LIMITS_H_

// Marker codes (T.81 table B.1) that the coders write and read.
#ifndef QRX_CODECS_JPEG_LIBRARY_MARKERS_H_
#define QRX_CODECS_JPEG_LIBRARY_MARKERS_H_

inline constexpr int kMarkerSOF0 = 0xFFC0;  // baseline
inline constexpr int kMarkerSOF1 = 0xFFC1;  // extended sequential
inline constexpr int kMarkerSOF2 = 0xFFC2;  // progressive
inline constexpr int kMarkerSOF3 = 0xFFC3;  // lossless
inline constexpr int kMarkerDHT = 0xFFC4;
inline constexpr int kMarkerRST0 = 0xFFD0;  // to RST7
inline constexpr int kMarkerSOI = 0xFFD8;
inline constexpr int kMarkerEOI = 0xFFD9;
inline constexpr int kMarkerSOS = 0xFFDA;
inline constexpr int kMarkerDQT = 0xFFDB;
inline constexpr int kMarkerDRI = 0xFFDD;
inline constexpr int kMarkerPDK = 0xFFDE;  // packet segment, in the place of DHP
inline constexpr int kMarkerAPP0 = 0xFFE0;
inline constexpr int kMarkerAPP14 = 0xFFEE;
inline constexpr int kMarkerCOM = 0xFFFE;

#endif  // QRX_CODECS_JPEG_LIBRARY_MARKERS_H_

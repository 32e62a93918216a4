// Marks what the library shows to its host; everything else is built hidden.
#ifndef QRX_EXPORT_H_
#define QRX_EXPORT_H_

#define QRX_API __attribute__((visibility("default")))

#endif  // QRX_EXPORT_H_

// What both elements know: pixel formats, keys, when statistics are due.
#ifndef QRX_INTEGRATIONS_GSTREAMER_VIDEO_FORMAT_H_
#define QRX_INTEGRATIONS_GSTREAMER_VIDEO_FORMAT_H_

#include <gst/video/video.h>

#include "qrx/qrx.h"
#include "tools/live/envelope.h"

namespace qrx::gst {

// Of those in QRX_VIDEO_CAPS.
inline qrxc_format formatOf(const GstVideoInfo& info) {
  return GST_VIDEO_INFO_FORMAT(&info) == GST_VIDEO_FORMAT_RGB ? QRXC_RGB : QRXC_BGRX;
}

// The session key in a file, or the one that everybody knows. Throws tool::Error.
inline tool::Key keyIn(const gchar* path) {
  return path == nullptr ? tool::publicKey() : tool::readKey(path);
}

// Whether a second of the clock that nobody sets has passed since *last, which then is now.
inline bool isDue(gint64* last) {
  const gint64 now = g_get_monotonic_time();
  if (now - *last < G_USEC_PER_SEC) return false;
  *last = now;
  return true;
}

}  // namespace qrx::gst

#endif  // QRX_INTEGRATIONS_GSTREAMER_VIDEO_FORMAT_H_

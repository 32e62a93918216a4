// The plugin's two elements.
#ifndef QRX_INTEGRATIONS_GSTREAMER_ELEMENTS_H_
#define QRX_INTEGRATIONS_GSTREAMER_ELEMENTS_H_

#include <gst/gst.h>

G_BEGIN_DECLS

// Raw video to packets, one a buffer.
GST_ELEMENT_REGISTER_DECLARE(qrxpay)
// Packets, one a buffer, to raw video.
GST_ELEMENT_REGISTER_DECLARE(qrxdepay)

G_END_DECLS

#define QRX_PACKET_CAPS "application/x-qrx-packet"
#define QRX_VIDEO_CAPS GST_VIDEO_CAPS_MAKE("{ BGRx, BGRA, RGB }")

#endif  // QRX_INTEGRATIONS_GSTREAMER_ELEMENTS_H_

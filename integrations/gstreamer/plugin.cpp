#include "integrations/gstreamer/elements.h"

static gboolean start(GstPlugin* plugin) {
  return GST_ELEMENT_REGISTER(qrxpay, plugin) && GST_ELEMENT_REGISTER(qrxdepay, plugin);
}

#define PACKAGE "libqrx_jpeg"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, qrx,
                  "Video as packets that each decode alone", start, QRX_VERSION, "Proprietary",
                  "libqrx_jpeg", "libqrx_jpeg")

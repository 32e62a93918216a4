// qrxpay: raw video to packets. The sending is FrameSender's; here stands what GStreamer asks.
#include <gst/video/video.h>

#include <memory>

#include "integrations/gstreamer/elements.h"
#include "integrations/gstreamer/frame_sender.h"
#include "integrations/gstreamer/video_format.h"

GST_DEBUG_CATEGORY_STATIC(qrx_pay_debug);
#define GST_CAT_DEFAULT qrx_pay_debug

namespace {

using qrx::gst::FrameSender;
using qrx::gst::SenderSettings;

struct QrxPay {
  GstElement element;
  GstPad* sink;
  GstPad* source;
  // Guarded by the object's lock.
  SenderSettings settings;
  gchar* key;  // path, or null
  // Of the streaming thread.
  GstVideoInfo info;
  std::unique_ptr<FrameSender> sender;
  gint64 told;  // when statistics were posted last
};

struct QrxPayClass {
  GstElementClass parent;
};

enum Property { kQuality = 1, kSampling, kKeyframeInterval, kRepairInterval, kEnvelope, kKey };

GstStaticPadTemplate sinkTemplate =
    GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(QRX_VIDEO_CAPS));
GstStaticPadTemplate sourceTemplate =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS(QRX_PACKET_CAPS));

GType samplingType() {
  static const GEnumValue values[] = {{QRXC_444, "Chroma for each pixel", "444"},
                                      {QRXC_422, "Chroma for each pair of pixels", "422"},
                                      {QRXC_420, "Chroma for each square of four pixels", "420"},
                                      {0, nullptr, nullptr}};
  static const GType type = g_enum_register_static("QrxSampling", values);
  return type;
}

SenderSettings settingsOf(QrxPay* self) {
  GST_OBJECT_LOCK(self);
  const SenderSettings settings = self->settings;
  GST_OBJECT_UNLOCK(self);
  return settings;
}

void append(GstBufferList* list, qrx::host::Bytes datagram, GstClockTime time) {
  GstBuffer* buffer = gst_buffer_new_memdup(datagram.data, datagram.size);
  GST_BUFFER_PTS(buffer) = time;
  gst_buffer_list_add(list, buffer);
}

void postStatistics(QrxPay* self) {
  const auto& s = self->sender->statistics();
  GstStructure* structure =
      gst_structure_new("qrxpay-statistics", "frames", G_TYPE_UINT64, s.frames, "packets",
                        G_TYPE_UINT64, s.packets, "bytes", G_TYPE_UINT64, s.bytes, "encode-time",
                        G_TYPE_UINT64, s.encodeMicroseconds * GST_USECOND, nullptr);
  gst_element_post_message(GST_ELEMENT(self), gst_message_new_element(GST_OBJECT(self), structure));
}

GstFlowReturn chain(GstPad*, GstObject* parent, GstBuffer* buffer) {
  auto* const self = reinterpret_cast<QrxPay*>(parent);
  GstVideoFrame frame;
  if (self->sender == nullptr || !gst_video_frame_map(&frame, &self->info, buffer, GST_MAP_READ)) {
    gst_buffer_unref(buffer);
    GST_ELEMENT_ERROR(self, CORE, NEGOTIATION, (nullptr), ("no frame of the format agreed on"));
    return GST_FLOW_NOT_NEGOTIATED;
  }
  GstBufferList* const list = gst_buffer_list_new();
  const GstClockTime time = GST_BUFFER_PTS(buffer);
  GstFlowReturn result = GST_FLOW_OK;
  try {
    self->sender->send(static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0)),
                       GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0), settingsOf(self),
                       [&](qrx::host::Bytes datagram) { append(list, datagram, time); });
  } catch (const std::exception& error) {
    GST_ELEMENT_ERROR(self, STREAM, ENCODE, (nullptr), ("%s", error.what()));
    result = GST_FLOW_ERROR;
  }
  gst_video_frame_unmap(&frame);
  gst_buffer_unref(buffer);
  if (result != GST_FLOW_OK || gst_buffer_list_length(list) == 0) {
    gst_buffer_list_unref(list);
    return result;
  }
  result = gst_pad_push_list(self->source, list);
  if (qrx::gst::isDue(&self->told)) postStatistics(self);
  return result;
}

gboolean setCaps(QrxPay* self, GstCaps* caps) {
  GstVideoInfo info;
  if (!gst_video_info_from_caps(&info, caps)) return FALSE;
  try {
    if (self->sender == nullptr) {
      self->sender = std::make_unique<FrameSender>(qrx::gst::keyIn(self->key));
    }
    self->sender->start(static_cast<std::uint32_t>(info.width),
                        static_cast<std::uint32_t>(info.height), qrx::gst::formatOf(info));
  } catch (const std::exception& error) {
    GST_ELEMENT_ERROR(self, STREAM, FORMAT, (nullptr), ("%s", error.what()));
    return FALSE;
  }
  self->info = info;
  GstCaps* const out = gst_caps_new_simple(QRX_PACKET_CAPS, "envelope", G_TYPE_BOOLEAN,
                                           settingsOf(self).envelope, nullptr);
  const gboolean done = gst_pad_push_event(self->source, gst_event_new_caps(out));
  gst_caps_unref(out);
  return done;
}

void sayGoodbye(QrxPay* self) {
  if (self->sender == nullptr) return;
  GstBufferList* const list = gst_buffer_list_new();
  self->sender->close(settingsOf(self), [&](qrx::host::Bytes datagram) {
    append(list, datagram, GST_CLOCK_TIME_NONE);
  });
  if (gst_buffer_list_length(list) == 0) {
    gst_buffer_list_unref(list);
  } else {
    gst_pad_push_list(self->source, list);
  }
  postStatistics(self);
}

gboolean takeEvent(GstPad* pad, GstObject* parent, GstEvent* event) {
  auto* const self = reinterpret_cast<QrxPay*>(parent);
  if (GST_EVENT_TYPE(event) == GST_EVENT_CAPS) {
    GstCaps* caps = nullptr;
    gst_event_parse_caps(event, &caps);
    const gboolean done = setCaps(self, caps);
    gst_event_unref(event);
    return done;
  }
  if (GST_EVENT_TYPE(event) == GST_EVENT_EOS) sayGoodbye(self);
  return gst_pad_event_default(pad, parent, event);
}

G_DEFINE_TYPE(QrxPay, qrx_pay, GST_TYPE_ELEMENT)

void setProperty(GObject* object, guint id, const GValue* value, GParamSpec* spec) {
  auto* const self = reinterpret_cast<QrxPay*>(object);
  GST_OBJECT_LOCK(self);
  SenderSettings& s = self->settings;
  switch (id) {
    case kQuality: s.quality = g_value_get_int(value); break;
    case kSampling: s.sampling = static_cast<qrxc_sampling>(g_value_get_enum(value)); break;
    case kKeyframeInterval: s.keyframeInterval = g_value_get_uint(value); break;
    case kRepairInterval: s.repairInterval = g_value_get_uint(value); break;
    case kEnvelope: s.envelope = g_value_get_boolean(value) != FALSE; break;
    case kKey:
      g_free(self->key);
      self->key = g_value_dup_string(value);
      break;
    default: G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
  GST_OBJECT_UNLOCK(self);
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec* spec) {
  auto* const self = reinterpret_cast<QrxPay*>(object);
  const SenderSettings s = settingsOf(self);
  switch (id) {
    case kQuality: g_value_set_int(value, s.quality); break;
    case kSampling: g_value_set_enum(value, s.sampling); break;
    case kKeyframeInterval: g_value_set_uint(value, s.keyframeInterval); break;
    case kRepairInterval: g_value_set_uint(value, s.repairInterval); break;
    case kEnvelope: g_value_set_boolean(value, s.envelope); break;
    case kKey: g_value_set_string(value, self->key); break;
    default: G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

GstStateChangeReturn changeState(GstElement* element, GstStateChange change) {
  const GstStateChangeReturn result =
      GST_ELEMENT_CLASS(qrx_pay_parent_class)->change_state(element, change);
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) {
    reinterpret_cast<QrxPay*>(element)->sender.reset();
  }
  return result;
}

void finalise(GObject* object) {
  auto* const self = reinterpret_cast<QrxPay*>(object);
  self->sender.~unique_ptr();
  g_free(self->key);
  G_OBJECT_CLASS(qrx_pay_parent_class)->finalize(object);
}

void qrx_pay_class_init(QrxPayClass* type) {
  GObjectClass* const object = G_OBJECT_CLASS(type);
  object->set_property = setProperty;
  object->get_property = getProperty;
  object->finalize = finalise;
  const auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                              GST_PARAM_MUTABLE_PLAYING);
  const auto fixed = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                              GST_PARAM_MUTABLE_READY);
  const SenderSettings s;
  g_object_class_install_property(
      object, kQuality,
      g_param_spec_int("quality", "Quality", "Of the pictures, as in JPEG", 1, 100, s.quality,
                       flags));
  g_object_class_install_property(
      object, kSampling,
      g_param_spec_enum("sampling", "Sampling", "Of chroma", samplingType(), s.sampling, flags));
  g_object_class_install_property(
      object, kKeyframeInterval,
      g_param_spec_uint("keyframe-interval", "Keyframe interval",
                        "Frames until everything is sent again, changed or not (0: never)", 0,
                        G_MAXUINT, s.keyframeInterval, flags));
  g_object_class_install_property(
      object, kRepairInterval,
      g_param_spec_uint("repair-interval", "Repair interval",
                        "Frames over which each part is sent once more, changed or not, a few in "
                        "each (0: never)",
                        0, G_MAXUINT, s.repairInterval, flags));
  g_object_class_install_property(
      object, kEnvelope,
      g_param_spec_boolean("envelope", "Envelope",
                           "Wrap packets as qrx-jpeg view --listen takes them; without, packets "
                           "are bare and every frame whole",
                           s.envelope, fixed));
  g_object_class_install_property(
      object, kKey,
      g_param_spec_string("key", "Key",
                          "A secret file that both ends have, as qrx-jpeg takes with --key",
                          nullptr, fixed));
  GstElementClass* const element = GST_ELEMENT_CLASS(type);
  element->change_state = changeState;
  gst_element_class_add_static_pad_template(element, &sinkTemplate);
  gst_element_class_add_static_pad_template(element, &sourceTemplate);
  gst_element_class_set_static_metadata(
      element, "Packets of pictures", "Codec/Encoder/Video",
      "Codes raw video into packets of about 1250 bytes, each of which decodes alone",
      "libqrx_jpeg");
  GST_DEBUG_CATEGORY_INIT(qrx_pay_debug, "qrxpay", 0, "Packets of pictures");
}

void qrx_pay_init(QrxPay* self) {
  new (&self->settings) SenderSettings();
  new (&self->sender) std::unique_ptr<FrameSender>();
  self->sink = gst_pad_new_from_static_template(&sinkTemplate, "sink");
  gst_pad_set_chain_function(self->sink, chain);
  gst_pad_set_event_function(self->sink, takeEvent);
  gst_element_add_pad(GST_ELEMENT(self), self->sink);
  self->source = gst_pad_new_from_static_template(&sourceTemplate, "src");
  gst_element_add_pad(GST_ELEMENT(self), self->source);
}

}  // namespace

GST_ELEMENT_REGISTER_DEFINE(qrxpay, "qrxpay", GST_RANK_NONE, qrx_pay_get_type())

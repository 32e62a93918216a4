// qrxdepay: packets to raw video. The receiving is FrameReceiver's; here stands what GStreamer
// asks.
#include <gst/video/video.h>

#include <algorithm>
#include <memory>

#include "integrations/gstreamer/elements.h"
#include "integrations/gstreamer/frame_receiver.h"
#include "integrations/gstreamer/video_format.h"

GST_DEBUG_CATEGORY_STATIC(qrx_depay_debug);
#define GST_CAT_DEFAULT qrx_depay_debug

namespace {

using qrx::gst::FrameReceiver;

struct QrxDepay {
  GstElement element;
  GstPad* sink;
  GstPad* source;
  // Guarded by the object's lock.
  FrameReceiver::Settings settings;
  gchar* key;  // path, or null
  // Of the streaming thread.
  std::unique_ptr<FrameReceiver> receiver;
  GstVideoInfo info;  // of what goes out; width 0 before that is agreed on
  GstEvent* segment;  // waits until then
  gint64 told;        // when statistics were posted last
};

struct QrxDepayClass {
  GstElementClass parent;
};

enum Property { kEnvelope = 1, kMaxPixels, kKey };

GstStaticPadTemplate sinkTemplate =
    GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(QRX_PACKET_CAPS));
GstStaticPadTemplate sourceTemplate =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS(QRX_VIDEO_CAPS));

FrameReceiver::Settings settingsOf(QrxDepay* self) {
  GST_OBJECT_LOCK(self);
  const FrameReceiver::Settings settings = self->settings;
  GST_OBJECT_UNLOCK(self);
  return settings;
}

void postStatistics(QrxDepay* self) {
  if (self->receiver == nullptr) return;
  const auto s = self->receiver->statistics();
  GstStructure* structure =
      gst_structure_new("qrxdepay-statistics", "frames", G_TYPE_UINT64, s.frames, "bytes",
                        G_TYPE_UINT64, s.bytes, "lost", G_TYPE_UINT64, s.lost, nullptr);
  for (std::size_t i = 0; i < qrx::gst::kFateCount; ++i) {
    gst_structure_set(structure, qrx::gst::fateName(static_cast<qrx::gst::Fate>(i)), G_TYPE_UINT64,
                      s.fates[i], nullptr);
  }
  gst_element_post_message(GST_ELEMENT(self), gst_message_new_element(GST_OBJECT(self), structure));
}

// The pixel format that the element behind likes best.
bool chooseFormat(QrxDepay* self) {
  GstCaps* allowed = gst_pad_get_allowed_caps(self->source);
  if (allowed == nullptr) allowed = gst_static_pad_template_get_caps(&sourceTemplate);
  bool found = false;
  if (!gst_caps_is_empty(allowed)) {
    allowed = gst_caps_truncate(gst_caps_make_writable(allowed));
    GstStructure* const structure = gst_caps_get_structure(allowed, 0);
    gst_structure_fixate_field_string(structure, "format", "BGRx");
    const gchar* const format = gst_structure_get_string(structure, "format");
    found = format != nullptr &&
            gst_video_info_set_format(&self->info, gst_video_format_from_string(format), 1, 1);
  }
  gst_caps_unref(allowed);
  if (!found) return false;
  self->info.width = self->info.height = 0;
  try {
    self->receiver =
        std::make_unique<FrameReceiver>(qrx::gst::formatOf(self->info), qrx::gst::keyIn(self->key));
  } catch (const std::exception& error) {
    GST_ELEMENT_ERROR(self, RESOURCE, OPEN_READ, (nullptr), ("%s", error.what()));
    return false;
  }
  return true;
}

bool agreeOnSize(QrxDepay* self) {
  const FrameReceiver& r = *self->receiver;
  if (self->info.width == static_cast<int>(r.width()) &&
      self->info.height == static_cast<int>(r.height())) {
    return true;
  }
  if (!gst_video_info_set_format(&self->info, GST_VIDEO_INFO_FORMAT(&self->info), r.width(),
                                 r.height())) {
    return false;
  }
  GST_VIDEO_INFO_FPS_N(&self->info) = 0;  // frames come as they come
  GST_VIDEO_INFO_FPS_D(&self->info) = 1;
  GstCaps* const caps = gst_video_info_to_caps(&self->info);
  const gboolean done = gst_pad_push_event(self->source, gst_event_new_caps(caps));
  gst_caps_unref(caps);
  if (self->segment != nullptr) {
    gst_pad_push_event(self->source, self->segment);
    self->segment = nullptr;
  }
  return done;
}

GstFlowReturn pushFrame(QrxDepay* self, GstClockTime time) {
  if (!agreeOnSize(self)) return GST_FLOW_NOT_NEGOTIATED;
  GstBuffer* const buffer = gst_buffer_new_allocate(nullptr, self->info.size, nullptr);
  GstVideoFrame frame;
  if (buffer == nullptr || !gst_video_frame_map(&frame, &self->info, buffer, GST_MAP_WRITE)) {
    if (buffer != nullptr) gst_buffer_unref(buffer);
    GST_ELEMENT_ERROR(self, RESOURCE, NO_SPACE_LEFT, (nullptr), ("no memory for a frame"));
    return GST_FLOW_ERROR;
  }
  const auto picture = self->receiver->picture();
  const std::size_t step = picture.size() / self->receiver->height();
  for (std::size_t y = 0; y < self->receiver->height(); ++y) {
    std::copy_n(picture.data() + y * step, step,
                static_cast<std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0)) +
                    y * static_cast<std::size_t>(GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0)));
  }
  gst_video_frame_unmap(&frame);
  GST_BUFFER_PTS(buffer) = time;
  return gst_pad_push(self->source, buffer);
}

GstFlowReturn chain(GstPad*, GstObject* parent, GstBuffer* buffer) {
  auto* const self = reinterpret_cast<QrxDepay*>(parent);
  GstMapInfo map;
  if (self->receiver == nullptr && !chooseFormat(self)) {
    gst_buffer_unref(buffer);
    return GST_FLOW_NOT_NEGOTIATED;
  }
  if (!gst_buffer_map(buffer, &map, GST_MAP_READ)) {
    gst_buffer_unref(buffer);
    return GST_FLOW_ERROR;
  }
  GstFlowReturn result = GST_FLOW_OK;
  try {
    const bool isOver = self->receiver->take({map.data, map.size}, settingsOf(self));
    const auto fate = self->receiver->fate();
    if (fate != qrx::gst::Fate::kTaken) {
      GST_WARNING_OBJECT(self, "a datagram was refused: %s", qrx::gst::fateName(fate));
    }
    if (isOver) result = pushFrame(self, GST_BUFFER_PTS(buffer));
  } catch (const std::exception& error) {
    GST_ELEMENT_ERROR(self, STREAM, DECODE, (nullptr), ("%s", error.what()));
    result = GST_FLOW_ERROR;
  }
  gst_buffer_unmap(buffer, &map);
  gst_buffer_unref(buffer);
  if (qrx::gst::isDue(&self->told)) postStatistics(self);
  return result;
}

gboolean takeEvent(GstPad* pad, GstObject* parent, GstEvent* event) {
  auto* const self = reinterpret_cast<QrxDepay*>(parent);
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_CAPS: {
      GstCaps* caps = nullptr;
      gst_event_parse_caps(event, &caps);
      gboolean envelope = TRUE;
      if (gst_structure_get_boolean(gst_caps_get_structure(caps, 0), "envelope", &envelope)) {
        GST_OBJECT_LOCK(self);
        self->settings.envelope = envelope != FALSE;
        GST_OBJECT_UNLOCK(self);
      }
      gst_event_unref(event);
      return TRUE;
    }
    case GST_EVENT_SEGMENT:
      if (self->receiver != nullptr && self->info.width != 0) break;
      gst_event_replace(&self->segment, event);
      gst_event_unref(event);
      return TRUE;
    case GST_EVENT_EOS: postStatistics(self); break;
    default: break;
  }
  return gst_pad_event_default(pad, parent, event);
}

G_DEFINE_TYPE(QrxDepay, qrx_depay, GST_TYPE_ELEMENT)

void setProperty(GObject* object, guint id, const GValue* value, GParamSpec* spec) {
  auto* const self = reinterpret_cast<QrxDepay*>(object);
  GST_OBJECT_LOCK(self);
  switch (id) {
    case kEnvelope: self->settings.envelope = g_value_get_boolean(value) != FALSE; break;
    case kMaxPixels: self->settings.mostPixels = g_value_get_uint64(value); break;
    case kKey:
      g_free(self->key);
      self->key = g_value_dup_string(value);
      break;
    default: G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
  GST_OBJECT_UNLOCK(self);
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec* spec) {
  auto* const self = reinterpret_cast<QrxDepay*>(object);
  const auto settings = settingsOf(self);
  switch (id) {
    case kEnvelope: g_value_set_boolean(value, settings.envelope); break;
    case kMaxPixels: g_value_set_uint64(value, settings.mostPixels); break;
    case kKey: g_value_set_string(value, self->key); break;
    default: G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

void forget(QrxDepay* self) {
  self->receiver.reset();
  self->info.width = self->info.height = 0;
  gst_event_replace(&self->segment, nullptr);
}

GstStateChangeReturn changeState(GstElement* element, GstStateChange change) {
  const GstStateChangeReturn result =
      GST_ELEMENT_CLASS(qrx_depay_parent_class)->change_state(element, change);
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) forget(reinterpret_cast<QrxDepay*>(element));
  return result;
}

void finalise(GObject* object) {
  auto* const self = reinterpret_cast<QrxDepay*>(object);
  forget(self);
  self->receiver.~unique_ptr();
  g_free(self->key);
  G_OBJECT_CLASS(qrx_depay_parent_class)->finalize(object);
}

void qrx_depay_class_init(QrxDepayClass* type) {
  GObjectClass* const object = G_OBJECT_CLASS(type);
  object->set_property = setProperty;
  object->get_property = getProperty;
  object->finalize = finalise;
  const auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS);
  const FrameReceiver::Settings s;
  g_object_class_install_property(
      object, kEnvelope,
      g_param_spec_boolean("envelope", "Envelope",
                           "Whether packets come wrapped; a qrxpay in the same pipeline tells",
                           s.envelope, flags));
  g_object_class_install_property(
      object, kMaxPixels,
      g_param_spec_uint64("max-pixels", "Largest frame",
                          "Pixels of the largest frame that memory is taken for", 1, G_MAXUINT32,
                          s.mostPixels, flags));
  g_object_class_install_property(
      object, kKey,
      g_param_spec_string("key", "Key",
                          "A secret file that both ends have, as qrx-jpeg takes with --key",
                          nullptr, flags));
  GstElementClass* const element = GST_ELEMENT_CLASS(type);
  element->change_state = changeState;
  gst_element_class_add_static_pad_template(element, &sinkTemplate);
  gst_element_class_add_static_pad_template(element, &sourceTemplate);
  gst_element_class_set_static_metadata(
      element, "Pictures of packets", "Codec/Decoder/Video",
      "Decodes packets, each by itself, into raw video: a lost one costs its own pixels",
      "libqrx_jpeg");
  GST_DEBUG_CATEGORY_INIT(qrx_depay_debug, "qrxdepay", 0, "Pictures of packets");
}

void qrx_depay_init(QrxDepay* self) {
  new (&self->settings) FrameReceiver::Settings();
  new (&self->receiver) std::unique_ptr<FrameReceiver>();
  gst_video_info_init(&self->info);
  self->sink = gst_pad_new_from_static_template(&sinkTemplate, "sink");
  gst_pad_set_chain_function(self->sink, chain);
  gst_pad_set_event_function(self->sink, takeEvent);
  gst_element_add_pad(GST_ELEMENT(self), self->sink);
  self->source = gst_pad_new_from_static_template(&sourceTemplate, "src");
  gst_pad_use_fixed_caps(self->source);
  gst_element_add_pad(GST_ELEMENT(self), self->source);
}

}  // namespace

GST_ELEMENT_REGISTER_DEFINE(qrxdepay, "qrxdepay", GST_RANK_NONE, qrx_depay_get_type())

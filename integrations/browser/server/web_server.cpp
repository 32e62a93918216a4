// The library of sockets calls back for every event of every connection.
#include "integrations/browser/server/web_server.h"

#include <libwebsockets.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <set>
#include <utility>

#include "integrations/browser/server/gate.h"
#include "integrations/browser/server/pages.h"
#include "integrations/browser/server/session.h"
#include "tools/host/frame.h"

namespace qrx::web {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kTryAgainLater = 1013;           // the library has no name for it
constexpr std::size_t kLongestMessage = 4096;  // of a viewer; a request for repair has 1100 bytes
constexpr char kSocketName[] = "socket";
constexpr char kFrameName[] = "frame.jpg";
constexpr std::size_t kChunk = 64 << 10;

// What no page of another origin may do with ours; the last lets the page compile its decoder.
constexpr std::pair<const char*, const char*> kHeaders[] = {
    {"cache-control:", "no-store"},
    {"x-content-type-options:", "nosniff"},
    {"referrer-policy:", "no-referrer"},
    {"x-frame-options:", "DENY"},
    {"cross-origin-resource-policy:", "same-origin"},
    {"cross-origin-opener-policy:", "same-origin"},
    {"content-security-policy:",
     "default-src 'self'; script-src 'self' 'wasm-unsafe-eval'; style-src 'self' 'unsafe-inline'; "
     "img-src 'self' data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
};

struct Reply {
  std::span<const std::uint8_t> bytes;  // that are left
  std::vector<std::uint8_t> own;        // what they lie in, unless it is there for good
};

// Of one connection; made when it is first used.
struct Connection {
  std::unique_ptr<Reply> reply;
  std::unique_ptr<Session> session;
  std::vector<std::uint8_t> incoming;  // of a message in pieces
  std::string greeting;                // that is still to be said
};

// What the library keeps for us: zeroed bytes.
struct Slot {
  Connection* connection;
};

std::string header(lws* wsi, lws_token_indexes token) {
  std::string text(static_cast<std::size_t>(std::max(0, lws_hdr_total_length(wsi, token))) + 1, 0);
  const int length = lws_hdr_copy(wsi, text.data(), static_cast<int>(text.size()), token);
  text.resize(static_cast<std::size_t>(std::max(0, length)));
  return text;
}

std::string customHeader(lws* wsi, std::string_view name) {
  std::array<char, 64> text{};
  const int length = lws_hdr_custom_copy(wsi, text.data(), static_cast<int>(text.size()),
                                         name.data(), static_cast<int>(name.size()));
  if (length >= 0) return text.data();
  // One that is too long to be any of those that are let pass.
  return lws_hdr_custom_length(wsi, name.data(), static_cast<int>(name.size())) > 0 ? "?" : "";
}

RequestHeaders headersOf(lws* wsi) {
  return {header(wsi, WSI_TOKEN_GET_URI), header(wsi, WSI_TOKEN_HOST),
          header(wsi, WSI_TOKEN_ORIGIN), customHeader(wsi, "sec-fetch-site:"),
          customHeader(wsi, "sec-fetch-dest:")};
}

bool writeHead(lws* wsi, unsigned status, const char* type, std::size_t size) {
  std::array<std::uint8_t, LWS_PRE + 2048> room{};
  std::uint8_t* const start = room.data() + LWS_PRE;
  std::uint8_t* at = start;
  std::uint8_t* const end = room.data() + room.size() - 1;
  if (lws_add_http_common_headers(wsi, status, type, size, &at, end) != 0) return false;
  for (const auto& [name, value] : kHeaders) {
    if (lws_add_http_header_by_name(wsi, reinterpret_cast<const std::uint8_t*>(name),
                                    reinterpret_cast<const std::uint8_t*>(value),
                                    static_cast<int>(std::strlen(value)), &at, end) != 0) {
      return false;
    }
  }
  return lws_finalize_write_http_header(wsi, start, &at, end) == 0;
}

}  // namespace

struct WebServer::Parts {
  Parts(tool::Session& session, FrameSource frames, const WebServerOptions& given)
      : codec(session),
        source(std::move(frames)),
        options(given),
        gate(token, given.listen.isLoopback()),
        period(std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(1 / given.framesPerSecond))) {}

  void open();
  int answer(lws* wsi, lws_callback_reasons reason, Connection& connection, const char* in,
             std::size_t size);
  int answerRequest(lws* wsi, Connection& connection);
  int writeReply(lws* wsi, Connection& connection) const;
  bool isAdmitted(lws* wsi) const { return gate.admitSocket(headersOf(wsi)) == kSocketName; }
  int admitUpgrade(lws* wsi, std::string_view what) const;
  int begin(lws* wsi, Connection& connection);
  int hear(lws* wsi, Connection& connection, std::span<const std::uint8_t> piece);
  static int writeDatagrams(lws* wsi, Connection& connection);
  int turnAway(lws* wsi, int status, std::string_view why);
  void tick();
  const tool::Image& frame();
  bool isLast() const { return options.frames > 0 && number >= options.frames - 1; }

  tool::Session& codec;
  FrameSource source;
  WebServerOptions options;
  const std::string token = randomToken();
  Gate gate;
  lws_context* context = nullptr;
  lws_vhost* host = nullptr;
  std::set<std::pair<lws*, Connection*>> viewers;

  Clock::duration period;
  Clock::time_point due = Clock::now();  // of the frame after this one
  std::uint64_t turnedAway = 0;
  Clock::time_point mayTell = {};  // of the next one
  int number = 0;                  // of the frame
  int rendered = -1;
  const tool::Image* image = nullptr;
  int coded = -1;  // number of the frame in `jpeg`
  std::vector<std::uint8_t> jpeg;
};

namespace {

int onEvent(lws* wsi, lws_callback_reasons reason, void* user, void* in, std::size_t size) {
  auto* const slot = static_cast<Slot*>(user);
  auto* const parts = static_cast<WebServer::Parts*>(lws_context_user(lws_get_context(wsi)));
  try {
    switch (reason) {
      // There is no slot yet.
      case LWS_CALLBACK_HTTP_CONFIRM_UPGRADE:
        return parts->admitUpgrade(wsi, static_cast<const char*>(in));
      case LWS_CALLBACK_FILTER_PROTOCOL_CONNECTION: return parts->isAdmitted(wsi) ? 0 : -1;
      case LWS_CALLBACK_HTTP:
      case LWS_CALLBACK_ESTABLISHED:
        if (slot->connection == nullptr) slot->connection = new Connection;
        break;
      case LWS_CALLBACK_CLOSED:
      case LWS_CALLBACK_CLOSED_HTTP:
      case LWS_CALLBACK_HTTP_DROP_PROTOCOL:
      case LWS_CALLBACK_WS_SERVER_DROP_PROTOCOL:
        if (slot == nullptr || slot->connection == nullptr) return 0;
        parts->viewers.erase({wsi, slot->connection});
        delete std::exchange(slot->connection, nullptr);
        return 0;
      case LWS_CALLBACK_HTTP_WRITEABLE:
      case LWS_CALLBACK_RECEIVE:
      case LWS_CALLBACK_SERVER_WRITEABLE:
        if (slot->connection == nullptr) return -1;
        break;
      default: return 0;  // `user` may be anything
    }
    Connection& connection = *slot->connection;
    return parts->answer(wsi, reason, connection, static_cast<const char*>(in), size);
  } catch (const std::exception& error) {
    lwsl_err("%s\n", error.what());
    return -1;
  }
}

const lws_protocols kProtocols[] = {
    {"http", onEvent, sizeof(Slot), 4096, 0, nullptr, 0},
    {"qrx", onEvent, sizeof(Slot), kLongestMessage, 0, nullptr, 0},
    {nullptr, nullptr, 0, 0, 0, nullptr, 0},
};

}  // namespace

void WebServer::Parts::open() {
  std::string address = options.listen.text();
  address.resize(address.rfind(':'));
  if (address.starts_with('[')) address = address.substr(1, address.size() - 2);
  lws_set_log_level(LLL_ERR, nullptr);
  lws_context_creation_info info = {};
  info.port = options.listen.port;
  info.iface = address.c_str();
  info.protocols = kProtocols;
  info.user = this;
  info.timeout_secs = 10;
  info.keepalive_timeout = 30;
  info.vhost_name = "default";
  info.options = LWS_SERVER_OPTION_EXPLICIT_VHOSTS |
                 (options.listen.isV6 ? 0 : LWS_SERVER_OPTION_DISABLE_IPV6) |
                 LWS_SERVER_OPTION_FAIL_UPON_UNABLE_TO_BIND;
  context = lws_create_context(&info);
  if (context != nullptr) host = lws_create_vhost(context, &info);
  if (host == nullptr) throw tool::Error(options.listen.text() + ": can't listen there");
}

int WebServer::Parts::answer(lws* wsi, lws_callback_reasons reason, Connection& connection,
                             const char* in, std::size_t size) {
  switch (reason) {
    case LWS_CALLBACK_HTTP: return answerRequest(wsi, connection);
    case LWS_CALLBACK_HTTP_WRITEABLE: return writeReply(wsi, connection);
    case LWS_CALLBACK_ESTABLISHED: return begin(wsi, connection);
    case LWS_CALLBACK_RECEIVE:
      return hear(wsi, connection, {reinterpret_cast<const std::uint8_t*>(in), size});
    case LWS_CALLBACK_SERVER_WRITEABLE: return writeDatagrams(wsi, connection);
    default: return 0;
  }
}

int WebServer::Parts::answerRequest(lws* wsi, Connection& connection) {
  const auto refuse = [wsi](unsigned status) {
    lws_return_http_status(wsi, status, nullptr);
    return lws_http_transaction_completed(wsi) != 0 ? -1 : 0;
  };
  if (lws_hdr_total_length(wsi, WSI_TOKEN_GET_URI) <= 0) {
    return refuse(HTTP_STATUS_METHOD_NOT_ALLOWED);
  }
  const auto name = gate.admit(headersOf(wsi));
  if (!name) return refuse(HTTP_STATUS_FORBIDDEN);
  auto reply = std::make_unique<Reply>();
  const char* type = "image/jpeg";
  if (*name == kFrameName) {
    const tool::Image& now = frame();
    if (std::exchange(coded, rendered) != rendered) {
      jpeg = tool::compressFrame(codec.compressor(), now, options.sender.quality);
    }
    reply->own = jpeg;
    reply->bytes = reply->own;
  } else if (const PageFile* const file = findPageFile(*name)) {
    reply->bytes = file->bytes;
    type = file->type;
  } else {
    return refuse(HTTP_STATUS_NOT_FOUND);
  }
  if (!writeHead(wsi, HTTP_STATUS_OK, type, reply->bytes.size())) return -1;
  connection.reply = std::move(reply);
  lws_callback_on_writable(wsi);
  return 0;
}

int WebServer::Parts::writeReply(lws* wsi, Connection& connection) const {
  if (!connection.reply) return 0;
  auto& bytes = connection.reply->bytes;
  const std::size_t size = std::min(bytes.size(), kChunk);
  std::vector<std::uint8_t> room(LWS_PRE + size);
  std::copy_n(bytes.begin(), size, room.begin() + LWS_PRE);
  bytes = bytes.subspan(size);
  const bool last = bytes.empty();
  if (lws_write(wsi, room.data() + LWS_PRE, size, last ? LWS_WRITE_HTTP_FINAL : LWS_WRITE_HTTP) <
      0) {
    return -1;
  }
  if (!last) {
    lws_callback_on_writable(wsi);
    return 0;
  }
  connection.reply.reset();
  return lws_http_transaction_completed(wsi) != 0 ? -1 : 0;
}

int WebServer::Parts::admitUpgrade(lws* wsi, std::string_view what) const {
  if (what == "websocket" && isAdmitted(wsi)) return 0;
  return lws_return_http_status(wsi, HTTP_STATUS_FORBIDDEN, nullptr) != 0 ? -1 : 1;
}

int WebServer::Parts::begin(lws* wsi, Connection& connection) {
  if (std::string_view(lws_get_protocol(wsi)->name) != kProtocols[1].name) return -1;
  if (viewers.size() >= static_cast<std::size_t>(options.mostViewers)) {
    return turnAway(wsi, kTryAgainLater, "as many viewers as there may be");
  }
  connection.session =
      std::make_unique<Session>(codec.compressor(), options.size, options.sender, options.network);
  // The page's slider begins there.
  connection.greeting = "loss " + std::to_string(options.network.loss);
  viewers.insert({wsi, &connection});
  lws_callback_on_writable(wsi);
  return 0;
}

int WebServer::Parts::hear(lws* wsi, Connection& connection, std::span<const std::uint8_t> piece) {
  std::vector<std::uint8_t>& message = connection.incoming;
  if (!connection.session) return -1;
  if (message.size() + piece.size() > kLongestMessage) {
    return turnAway(wsi, LWS_CLOSE_STATUS_MESSAGE_TOO_LARGE, "a message longer than any of a page");
  }
  message.insert(message.end(), piece.begin(), piece.end());
  if (lws_is_final_fragment(wsi) == 0 || lws_remaining_packet_payload(wsi) > 0) return 0;
  const bool binary = lws_frame_is_binary(wsi) != 0;
  const bool known = binary ? connection.session->hear(message)
                            : connection.session->hearText(
                                  {reinterpret_cast<const char*>(message.data()), message.size()});
  message.clear();
  if (!known) {
    return turnAway(wsi, LWS_CLOSE_STATUS_POLICY_VIOLATION,
                    binary ? "a message that is none of a page" : "a text that is none of a page");
  }
  if (connection.session->hasMore()) lws_callback_on_writable(wsi);
  return 0;
}

// Ends a viewer's connection and says why, to both ends; here once a second at most.
int WebServer::Parts::turnAway(lws* wsi, int status, std::string_view why) {
  std::string text(why);
  lws_close_reason(wsi, static_cast<lws_close_status>(status),
                   reinterpret_cast<unsigned char*>(text.data()), text.size());
  ++turnedAway;
  if (const auto now = Clock::now(); now >= mayTell) {
    std::fprintf(stderr, "qrx-jpeg-web: a viewer was turned away, the %llu. one: %s\n",
                 static_cast<unsigned long long>(turnedAway), text.c_str());
    mayTell = now + std::chrono::seconds(1);
  }
  return -1;
}

int WebServer::Parts::writeDatagrams(lws* wsi, Connection& connection) {
  if (!connection.session) return 0;
  std::vector<std::uint8_t> room(LWS_PRE);
  if (!connection.greeting.empty()) {
    const std::string text = std::exchange(connection.greeting, {});
    room.insert(room.end(), text.begin(), text.end());
    if (lws_write(wsi, room.data() + LWS_PRE, text.size(), LWS_WRITE_TEXT) < 0) return -1;
  }
  while (lws_send_pipe_choked(wsi) == 0) {
    const auto datagram = connection.session->take();
    if (!datagram) return 0;
    room.resize(LWS_PRE);
    room.insert(room.end(), datagram->begin(), datagram->end());
    if (lws_write(wsi, room.data() + LWS_PRE, datagram->size(), LWS_WRITE_BINARY) < 0) return -1;
  }
  if (connection.session->hasMore()) lws_callback_on_writable(wsi);
  return 0;
}

const tool::Image& WebServer::Parts::frame() {
  if (rendered != number) {
    image = &source(number);
    rendered = number;
  }
  return *image;
}

// A frame whose time is over before its turn comes is left out.
void WebServer::Parts::tick() {
  const std::int64_t passed = (Clock::now() - due) / period + 1;
  due += passed * period;
  std::int64_t next = number + passed;
  if (options.frames > 0) next = std::min<std::int64_t>(next, options.frames - 1);
  number = static_cast<int>(next % INT32_MAX);
  if (viewers.empty()) return;
  const tool::Image& now = frame();
  const Clock::time_point ready = Clock::now();
  for (const auto& [wsi, connection] : viewers) {
    connection->session->send(now, isLast(), ready);
    lws_callback_on_writable(wsi);
  }
}

WebServer::WebServer(tool::Session& codec, FrameSource source, const WebServerOptions& options)
    : parts_(std::make_unique<Parts>(codec, std::move(source), options)) {
  parts_->open();
}

WebServer::~WebServer() {
  if (parts_->context != nullptr) lws_context_destroy(parts_->context);
}

std::string WebServer::url() const {
  tool::Endpoint at = parts_->options.listen;
  at.port = static_cast<std::uint16_t>(lws_get_vhost_listen_port(parts_->host));
  return "http://" + at.text() + "/" + parts_->token + "/";
}

void WebServer::run(const std::atomic<bool>& stop) {
  // A timer wakes the library: a time that is given to lws_service is not heeded.
  lws_sorted_usec_list_t timer = {};
  while (!stop) {
    if (Clock::now() >= parts_->due) parts_->tick();
    const auto left = std::max<std::int64_t>(
        500,
        std::chrono::duration_cast<std::chrono::microseconds>(parts_->due - Clock::now()).count());
    lws_sul_schedule(
        parts_->context, 0, &timer, [](lws_sorted_usec_list_t*) {},
        std::min<std::int64_t>(left, 100000));
    if (lws_service(parts_->context, 0) < 0) break;
  }
  lws_sul_schedule(parts_->context, 0, &timer, nullptr, LWS_SET_TIMER_USEC_CANCEL);
}

}  // namespace qrx::web

// Who gets anything: only a page of this server's own, under the URL that the program printed.
#ifndef QRX_INTEGRATIONS_BROWSER_SERVER_GATE_H_
#define QRX_INTEGRATIONS_BROWSER_SERVER_GATE_H_

#include <optional>
#include <string>
#include <string_view>

namespace qrx::web {

// What a request says of itself; empty where it has no such header.
struct RequestHeaders {
  std::string path, host, origin;
  std::string site, destination;  // Sec-Fetch-Site and Sec-Fetch-Dest, which browsers send
};

class Gate {
 public:
  // `loopback`: the server is not to be reached from elsewhere, so that no name but those of this
  // machine leads here, whatever a foreign name server says.
  Gate(std::string token, bool loopback) : token_(std::move(token)), loopback_(loopback) {}

  // What is asked for, behind the token: "" for the page. None for who gets nothing.
  std::optional<std::string> admit(const RequestHeaders& request) const;
  // The same for a WebSocket, which has to say where it comes from.
  std::optional<std::string> admitSocket(const RequestHeaders& request) const;

 private:
  bool isHere(std::string_view host) const;

  std::string token_;
  bool loopback_;
};

// A new one: 128 bits as text.
std::string randomToken();

}  // namespace qrx::web

#endif  // QRX_INTEGRATIONS_BROWSER_SERVER_GATE_H_

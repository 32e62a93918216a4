// qrx-jpeg relay: a bad network between viewer and server.
#include "tools/live/relay.h"

#include <cstdio>

#include "tools/commands/commands.h"
#include "tools/commands/interrupt.h"
#include "tools/commands/network_options.h"
#include "tools/commands/options.h"
#include "tools/support/json.h"

namespace qrx::tool {
namespace {

struct RelayCommandOptions {
  std::string listen = "127.0.0.1:5601";
  std::string server = "127.0.0.1:5600";
  BadNetworkOptions network;
  int delayMs = 0;
  double rate = 0;
  bool json = false;
};

// "20ms" or "20".
bool parseMilliseconds(const std::string& text, int& ms) {
  char* end = nullptr;
  const long number = std::strtol(text.c_str(), &end, 10);
  const std::string unit = end;
  ms = static_cast<int>(number);
  return end != text.c_str() && (unit.empty() || unit == "ms") && number >= 0 && number <= 10000;
}

void printCounts(const char* direction, const BadNetworkCounts& counts, JsonWriter* json) {
  if (json != nullptr) {
    json->key(direction)
        .beginObject()
        .field("taken", counts.taken)
        .field("lost", counts.lost)
        .field("reordered", counts.reordered)
        .field("duplicated", counts.duplicated)
        .field("corrupted", counts.corrupted)
        .endObject();
    return;
  }
  const auto number = [](std::uint64_t n) { return static_cast<unsigned long long>(n); };
  std::printf("%s: %llu taken, %llu lost, %llu reordered, %llu duplicated, %llu corrupted\n",
              direction, number(counts.taken), number(counts.lost), number(counts.reordered),
              number(counts.duplicated), number(counts.corrupted));
}

int runRelay(const RelayCommandOptions& options) {
  RelayOptions relay;
  relay.listen = Endpoint::parse(options.listen);
  relay.server = Endpoint::parse(options.server);
  relay.network = options.network;
  relay.delay = std::chrono::milliseconds(options.delayMs);
  relay.megabitsPerSecond = options.rate;
  Relay running(relay);
  std::fprintf(stderr, "listening on %s\n", running.local().text().c_str());
  const std::atomic<bool>& stop = interruptFlag();
  while (!stop) running.step(10);
  JsonWriter json;
  if (options.json) json.beginObject();
  printCounts("to_viewer", running.toViewer(), options.json ? &json : nullptr);
  printCounts("to_server", running.toServer(), options.json ? &json : nullptr);
  if (options.json) json.endObject().print();
  return kDone;
}

void define(CLI::App& command, RelayCommandOptions& options) {
  command.add_option("--listen", options.listen, "Where the viewer connects to")
      ->capture_default_str()
      ->type_name("HOST:PORT");
  command.add_option("--to", options.server, "The server")
      ->capture_default_str()
      ->type_name("HOST:PORT");
  addNetworkOptions(command, options.network);
  addShareOption(command, "--duplicate", options.network.duplicate, "Share that arrives twice");
  addShareOption(command, "--corrupt", options.network.corrupt,
                 "Share that arrives with wrong bytes");
  command
      .add_option_function<std::string>(
          "--delay",
          [&options](const std::string& value) {
            if (!parseMilliseconds(value, options.delayMs)) {
              throw CLI::ValidationError("--delay", "give milliseconds, as in 20ms");
            }
          },
          "Time that every datagram takes, as in 20ms")
      ->type_name("TIME");
  command
      .add_option("--rate", options.rate,
                  "Mbit/s that each direction takes, with a queue of 200 ms; 0: no limit")
      ->check(CLI::Range(0.0, 100000.0))
      ->capture_default_str()
      ->type_name("MBIT");
  addJsonOption(command, options.json);
}

}  // namespace

void addRelay(CLI::App& app, Action& action) {
  addCommand<RelayCommandOptions>(
      app, action, "relay", "Stand between viewer and server as a bad network",
      "Each direction has the given properties. What happens to a datagram depends on the seed "
      "and\n"
      "on the datagrams before it, not on time. Runs until it is interrupted, then prints counts.",
      define, runRelay);
}

}  // namespace qrx::tool

// qrx-jpeg view: shows a served window, on the screen or in files.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

#include "tools/commands/commands.h"
#include "tools/commands/interrupt.h"
#include "tools/commands/options.h"
#include "tools/live/rate_meter.h"
#include "tools/live/viewer.h"
#include "tools/live/viewer_window.h"
#include "tools/support/files.h"
#include "tools/support/json.h"

namespace qrx::tool {
namespace {

using Clock = std::chrono::steady_clock;

struct ViewOptions {
  std::string server = "127.0.0.1:5600";
  std::string listen;
  std::string key;
  int threads = 2;
  std::string snapshot, repaired;
  std::uint32_t after = 10;
  double wait = 1.5, timeout = 60;
  Limits limits;
  bool headless = false, tint = false, json = false;
  HostOptions host;

  bool onScreen() const { return !headless && snapshot.empty() && repaired.empty(); }
};

void say(const std::string& text) { std::fprintf(stderr, "qrx-jpeg: %s\n", text.c_str()); }

Clock::time_point after(double seconds) {
  return Clock::now() +
         std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

// Throws Error where there is no server, or none that is free.
void waitForServer(const Viewer& viewer, const ViewOptions& options) {
  const std::atomic<bool>& stop = interruptFlag();
  const Clock::time_point deadline = after(std::min(options.wait, options.timeout));
  while (!stop) {
    const ViewerState state = viewer.link().state;
    if (state == ViewerState::kBusy) throw Error(viewer.lastNotice() + ": try again later");
    if (state != ViewerState::kAsking) return;
    if (Clock::now() >= deadline) {
      if (!options.listen.empty()) {
        throw Error("nothing came to " + options.listen +
                    ": does anything send there, and has it the same --key?");
      }
      throw Error("no answer from " + options.server +
                  ": is a server running there, and has it the same --key?");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

// Waits until `done` holds of the statistics; false when time is up or nothing more can come.
template <typename Done>
bool waitFor(const Viewer& viewer, Clock::time_point deadline, Done done) {
  const std::atomic<bool>& stop = interruptFlag();
  while (!stop && Clock::now() < deadline) {
    const ViewerState state = viewer.link().state;
    const bool ended = state == ViewerState::kEnded || state == ViewerState::kRefused;
    if (done(viewer.assembler().statistics())) return true;
    if (ended) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return false;
}

// Saves the picture as it stands; false where that is incomplete, which is told.
bool savePicture(const Viewer& viewer, const std::string& path, bool tint) {
  Image picture;
  const double coverage = viewer.assembler().statistics().coverage;
  if (!viewer.assembler().copyPicture(picture, tint)) {
    say(path + ": not written: no picture has come");
    return false;
  }
  writeImage(path, picture, outputFormat(path, {}));
  if (coverage >= 100) return true;
  char text[64];
  std::snprintf(text, sizeof text, ": incomplete: %.2f%% of it is up to date", coverage);
  say(path + text);
  return false;
}

// The pictures that were asked for; false where one could not be had as asked.
bool takePictures(const Viewer& viewer, const ViewOptions& options) {
  const Clock::time_point deadline = after(options.timeout);
  if (options.snapshot.empty() && options.repaired.empty()) {
    waitFor(viewer, deadline, [](const AssemblerStatistics&) { return false; });
    return viewer.assembler().statistics().coverage >= 100;
  }
  bool whole = true;
  if (!options.snapshot.empty()) {
    const bool there = waitFor(viewer, deadline, [&options](const AssemblerStatistics& s) {
      return s.passed >= options.after;
    });
    if (!there) say("the picture was not there after " + std::to_string(options.after) + " frames");
    whole = savePicture(viewer, options.snapshot, options.tint) && there;
  }
  if (!options.repaired.empty()) {
    const bool repaired = waitFor(viewer, deadline, [](const AssemblerStatistics& s) {
      return s.latest && s.latest->finished != 0 && s.complete;
    });
    if (!repaired) say("the last frame was not repaired");
    whole = savePicture(viewer, options.repaired, options.tint) && repaired && whole;
  }
  return whole;
}

void printReport(const ViewerStatistics& statistics, const Rates& rates, bool json) {
  if (!json) {
    for (const std::string& line : plainWords(statistics, rates)) std::printf("%s\n", line.c_str());
    return;
  }
  const AssemblerStatistics& s = statistics.window;
  const LinkStatistics& link = statistics.link;
  JsonWriter out;
  out.beginObject()
      .field("frames", s.frames)
      .field("frames_per_second", rates.framesPerSecond)
      .field("megabits_per_second", rates.megabitsPerSecond)
      .field("encode_ms_per_frame", rates.encodeMs)
      .field("decode_ms_per_frame", rates.decodeMs)
      .field("latency_ms", link.latencyMs)
      .field("latency_ms_99", link.latencyMs99)
      .field("latency_ms_worst", link.worstLatencyMs)
      .field("megabits_per_second_least", link.leastRate / 1e6)
      .field("megabits_per_second_most", link.mostRate / 1e6)
      .field("round_trip_ms", link.roundTripMs)
      .field("sessions", link.sessions)
      .field("packets", s.arrived())
      .field("packets_lost", link.lost)
      .field("packets_dropped", link.dropped);
  for (std::size_t i = 1; i < kArrivalCount; ++i) {
    const auto arrival = static_cast<Arrival>(i);
    out.field(std::string("packets_") + arrivalName(arrival), link.arrivals[arrival]);
  }
  for (std::size_t i = 0; i < kVerdictCount; ++i) {
    out.field(std::string("packets_") + verdictName(static_cast<Verdict>(i)), s.verdicts[i]);
  }
  out.field("coverage", s.coverage).field("complete", s.complete).endObject().print();
}

int runView(const ViewOptions& options) {
  // Names that tell no format are found out before the work, and so is a missing display.
  for (const std::string& path : {options.snapshot, options.repaired}) {
    if (isStream(path)) throw Error("figures go to standard output: name a file", kUsage);
    if (!path.empty()) outputFormat(path, {});
  }
  if (options.onScreen()) requireDisplay();
  ViewerOptions viewing;
  viewing.listens = !options.listen.empty();
  viewing.server = Endpoint::parse(viewing.listens ? options.listen : options.server);
  if (viewing.listens && options.key.empty() && !viewing.server.isLoopback()) {
    throw Error(options.listen +
                    ": anyone could send there, and nothing tells who it is: give --key FILE, or "
                    "listen on 127.0.0.1 or [::1]",
                kUsage);
  }
  if (!options.key.empty()) viewing.key = readKey(options.key);
  viewing.decoders = options.threads;
  viewing.limits = options.limits;
  viewing.notice = say;
  Session session(options.host);
  codec::Decompressor& decompressor = session.decompressor();
  const std::atomic<bool>& stop = interruptFlag();
  const Clock::time_point start = Clock::now();
  Viewer viewer(decompressor, viewing);
  waitForServer(viewer, options);
  bool whole = true;
  if (options.onScreen()) {
    showWindow(
        viewer.assembler(),
        {options.tint, ".", [&] { return viewer.link(); }, [&] { return viewer.lastNotice(); }},
        stop);
  } else {
    whole = takePictures(viewer, options);
  }
  const ViewerState state = viewer.link().state;
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  viewer.leave();
  const ViewerStatistics statistics{viewer.assembler().statistics(), viewer.link()};
  printReport(statistics, ratesBetween({}, statistics, seconds), options.json);
  if (state == ViewerState::kRefused || (state == ViewerState::kSilent && !whole)) {
    return kFailed;  // which has been told
  }
  return whole ? kDone : kDamaged;
}

void define(CLI::App& command, ViewOptions& options) {
  command.add_option("--connect", options.server, "The server, or a relay before it")
      ->capture_default_str()
      ->type_name("HOST:PORT");
  command
      .add_option("--listen", options.listen,
                  "Nobody is asked: show what is sent to this address, as qrxpay of GStreamer does")
      ->excludes("--connect")
      ->type_name("HOST:PORT");
  addKeyOption(command, options.key);
  command.add_option("--threads", options.threads, "Threads that decode")
      ->check(CLI::Range(1, 64))
      ->capture_default_str()
      ->type_name("N");
  command
      .add_option("--snapshot", options.snapshot,
                  "Without a window: save the picture as it stands after --after frames, holes "
                  "and all, and end")
      ->type_name("FILE");
  command
      .add_option(
          "--after", options.after,
          "Frames before --snapshot, from the first that the viewer is sent on, those left out too")
      ->check(CLI::Range(1, 1000000))
      ->capture_default_str()
      ->type_name("N");
  command
      .add_option("--repaired", options.repaired,
                  "Without a window: wait for the server's last frame to be whole, save it, and "
                  "end")
      ->type_name("FILE");
  command.add_flag("--headless", options.headless, "No window: receive until --timeout");
  command.add_option("--timeout", options.timeout, "Seconds after which a headless viewer ends")
      ->check(CLI::Range(0.1, 86400.0))
      ->capture_default_str()
      ->type_name("S");
  command.add_option("--wait", options.wait, "Seconds to wait for the server's first answer")
      ->check(CLI::Range(0.1, 86400.0))
      ->capture_default_str()
      ->type_name("S");
  command.add_flag("--tint", options.tint,
                   "Colour what is out of date, the stronger the longer it has been");
  addWindowLimitOptions(command, options.limits);
  addJsonOption(command, options.json);
  addHostOptions(command, options.host);
}

}  // namespace

void addView(CLI::App& app, Action& action) {
  const std::string details =
      std::string(kWindowKeys) +
      "\nWithout a window the exit code is 2 where a picture is incomplete, "
      "and 1 where the server\nfell silent. Messages tell of a server that "
      "is busy, ends, or was started again.";
  addCommand<ViewOptions>(app, action, "view", "Show a served window, on the screen or in files",
                          details, define, runView);
}

}  // namespace qrx::tool

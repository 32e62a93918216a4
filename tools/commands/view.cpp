// qrx-jpeg view: shows a served window, on the screen or in files.
#include <chrono>
#include <cstdio>
#include <thread>

#include "tools/commands/commands.h"
#include "tools/commands/interrupt.h"
#include "tools/commands/options.h"
#include "tools/live/rate_meter.h"
#include "tools/live/viewer.h"
#include "tools/live/viewer_window.h"
#include "tools/support/json.h"

namespace qrx::tool {
namespace {

using Clock = std::chrono::steady_clock;

struct ViewOptions {
  std::string server = "127.0.0.1:5600";
  int threads = 2;
  std::string snapshot, repaired;
  std::uint32_t after = 10;
  double timeout = 60;
  bool headless = false, tint = false, json = false;
  HostOptions host;

  bool onScreen() const { return !headless && snapshot.empty() && repaired.empty(); }
};

void savePicture(const FrameAssembler& assembler, const std::string& path, ImageFormat format,
                 bool tint) {
  Image picture;
  if (assembler.copyPicture(picture, tint)) writeImage(path, picture, format);
}

// Waits until `done` holds of the statistics; false when time is up.
template <typename Done>
bool waitFor(const FrameAssembler& assembler, Clock::time_point deadline, Done done) {
  const std::atomic<bool>& stop = interruptFlag();
  while (!stop && Clock::now() < deadline) {
    if (done(assembler.statistics())) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return false;
}

// The pictures that were asked for; false where one could not be had as asked.
bool takePictures(const FrameAssembler& assembler, const ViewOptions& options) {
  const auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                           std::chrono::duration<double>(options.timeout));
  bool whole = true;
  if (!options.snapshot.empty()) {
    whole = waitFor(assembler, deadline, [&options](const AssemblerStatistics& s) {
      return s.latest && s.latest->frame + 1 >= options.after;
    });
    savePicture(assembler, options.snapshot, outputFormat(options.snapshot, {}), options.tint);
  }
  if (!options.repaired.empty()) {
    const bool repaired = waitFor(assembler, deadline, [](const AssemblerStatistics& s) {
      return s.latest && s.latest->finished != 0 && s.complete;
    });
    savePicture(assembler, options.repaired, outputFormat(options.repaired, {}), options.tint);
    whole = whole && repaired;
  } else if (options.snapshot.empty()) {
    waitFor(assembler, deadline, [](const AssemblerStatistics&) { return false; });
  }
  return whole;
}

void printReport(const AssemblerStatistics& s, const Rates& rates, bool json) {
  if (!json) {
    for (const std::string& line : overlayLines(s, rates)) std::printf("%s\n", line.c_str());
    return;
  }
  JsonWriter out;
  out.beginObject()
      .field("frames", s.frames)
      .field("frames_per_second", rates.framesPerSecond)
      .field("kilobytes_per_frame", rates.kilobytesPerFrame)
      .field("encode_ms_per_frame", rates.encodeMs)
      .field("decode_ms_per_frame", rates.decodeMs)
      .field("packets", s.arrived())
      .field("packets_lost", s.packetsLost);
  for (std::size_t i = 0; i < kVerdictCount; ++i) {
    out.field(std::string("packets_") + verdictName(static_cast<Verdict>(i)), s.verdicts[i]);
  }
  out.field("coverage", s.coverage).field("complete", s.complete).endObject().print();
}

int runView(const ViewOptions& options) {
  // Names that tell no format are found out before the work.
  if (!options.snapshot.empty()) outputFormat(options.snapshot, {});
  if (!options.repaired.empty()) outputFormat(options.repaired, {});
  const Endpoint server = Endpoint::parse(options.server);
  Session session(options.host);
  codec::Decompressor& decompressor = session.decompressor();
  const std::atomic<bool>& stop = interruptFlag();
  Viewer viewer(decompressor, server, options.threads);
  const Clock::time_point start = Clock::now();
  bool whole = true;
  if (options.onScreen()) {
    showWindow(viewer.assembler(), {options.tint, "."}, stop);
  } else {
    whole = takePictures(viewer.assembler(), options);
  }
  const AssemblerStatistics statistics = viewer.assembler().statistics();
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  printReport(statistics, ratesBetween({}, statistics, seconds), options.json);
  if (!statistics.latest) throw Error("no word from the server at " + server.text());
  const bool covered = options.onScreen() || statistics.coverage >= 100;
  return whole && covered ? kDone : kDamaged;
}

void define(CLI::App& command, ViewOptions& options) {
  command.add_option("--connect", options.server, "The server, or a relay before it")
      ->capture_default_str()
      ->type_name("ADDRESS:PORT");
  command.add_option("--threads", options.threads, "Threads that decode")
      ->check(CLI::Range(1, 64))
      ->capture_default_str()
      ->type_name("N");
  command
      .add_option("--snapshot", options.snapshot,
                  "Without a window: save the picture as it stands after --after frames, holes "
                  "and all, and end")
      ->type_name("FILE");
  command.add_option("--after", options.after, "Frames before --snapshot")
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
  command.add_flag("--tint", options.tint, "Colour the pixels that never arrived");
  addJsonOption(command, options.json);
  addHostOptions(command, options.host);
}

}  // namespace

void addView(CLI::App& app, Action& action) {
  const std::string details = std::string(kWindowKeys) +
                              "\nThe exit code is 2 where a headless viewer ends with an "
                              "incomplete picture.";
  addCommand<ViewOptions>(app, action, "view", "Show a served window, on the screen or in files",
                          details, define, runView);
}

}  // namespace qrx::tool

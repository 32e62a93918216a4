// The library beside libjpeg-turbo, road by road, in one go.
//
// A compressor's sampling is fixed by the settings when the process makes its first one, so each
// sampling is measured in a child process, which sends its records through a pipe.
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>

#include "bench/comparison.h"
#include "bench/comparison_report.h"
#include "tools/support/error.h"

namespace {

using namespace qrx;
using bench::Records;

constexpr tool::Sampling kSamplings[] = {tool::Sampling::k444, tool::Sampling::k422,
                                         tool::Sampling::k420};
constexpr int kRounds = 7;
constexpr int kQuickRounds = 3;

struct Options {
  bench::Plan plan;
  std::string json;
};

void sendRecord(const bench::Record& record, void* context) {
  if (write(*static_cast<int*>(context), &record, sizeof record) != sizeof record) {
    throw tool::Error("the pipe to the parent broke");
  }
}

int runChild(const bench::Plan& plan, const std::vector<bench::NamedPicture>& pictures,
             tool::Sampling sampling, int target) {
  try {
    bench::Comparison(plan, pictures, sampling, sendRecord, &target).run();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "compare: %s\n", error.what());
    return 1;
  }
}

// Appends what a child measured of a sampling; false if it failed.
bool measureSampling(const bench::Plan& plan, const std::vector<bench::NamedPicture>& pictures,
                     tool::Sampling sampling, Records& records) {
  int ends[2];
  if (pipe(ends) != 0) return false;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) return false;
  if (child == 0) {
    close(ends[0]);
    std::exit(runChild(plan, pictures, sampling, ends[1]));
  }
  close(ends[1]);
  // A pipe may give a record in parts.
  std::FILE* source = fdopen(ends[0], "r");
  for (bench::Record record; std::fread(&record, sizeof record, 1, source) == 1;) {
    records.push_back(record);
    if (isatty(STDERR_FILENO) != 0) std::fputc('.', stderr);
  }
  std::fclose(source);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) std::fprintf(stderr, "compare: signal %d\n", WTERMSIG(status));
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void defineOptions(CLI::App& app, Options& options) {
  bench::Plan& plan = options.plan;
  plan.library = QRX_LIBRARY_PATH;
  app.add_option("--library", plan.library, "The build to measure")->capture_default_str();
  app.add_option("--baseline", plan.baseline, "A second build, measured in the same rounds");
  app.add_flag("--quick", plan.quick, "1920x1080 at quality 85 alone, three rounds");
  app.add_option("--rounds", plan.rounds, "Rounds of a cell (7, quick 3)")
      ->check(CLI::Range(1, 99));
  std::vector<std::string> groups;
  std::string text = "Which roads, by commas; all without it:";
  for (const bench::Group& group : bench::kGroups) {
    groups.emplace_back(group.name);
    text += std::string("\n") + group.name + ": " + group.what;
  }
  app.add_option("--roads", plan.roads, text)->delimiter(',')->check(CLI::IsMember(groups));
  app.add_option("--json", options.json, "Where every figure goes as JSON");
}

int run(int argc, char** argv) {
  CLI::App app("Measures libqrx_jpeg beside libjpeg-turbo.", "compare");
  Options options;
  defineOptions(app, options);
  CLI11_PARSE(app, argc, argv);
  if (options.plan.rounds == 0) options.plan.rounds = options.plan.quick ? kQuickRounds : kRounds;
  // No setting of this machine may reach the library.
  setenv("QRX_ROOT", QRX_EMPTY_FOLDER, 1);
  setenv("QRX_USER_CONFIG_DIR", QRX_EMPTY_FOLDER, 1);
  const std::vector<bench::NamedPicture> pictures = bench::makePictures(options.plan);
  Records records;
  for (const tool::Sampling sampling : kSamplings) {
    if (!measureSampling(options.plan, pictures, sampling, records)) return 1;
  }
  bench::printReport(records);
  if (!options.json.empty()) {
    std::ofstream file(options.json);
    file << bench::reportAsJson(options.plan, records) << '\n';
    if (!file.flush()) {
      std::fprintf(stderr, "compare: cannot write %s\n", options.json.c_str());
      return 1;
    }
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "compare: %s\n", error.what());
  } catch (...) {
    std::fputs("compare: failed\n", stderr);
  }
  return 1;
}

// Ratios over cells, and their forms.
#include "bench/comparison_report.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <optional>

#include "tools/support/json.h"

namespace qrx::bench {
namespace {

using tool::JsonWriter;

// Of the cells' ratios of best times, as disturbances only ever add; the medians tell how far that
// carries.
struct Outcome {
  Ratio ratio;
  int cells = 0;
  double mean = 0, meanOfMedians = 0;  // geometric
  double worst = 0;
  Cell worstCell{};
};

bool sameCell(const Cell& a, const Cell& b) {
  return std::strcmp(a.road, b.road) == 0 && std::strcmp(a.picture, b.picture) == 0 &&
         a.size == b.size && a.quality == b.quality && a.sampling == b.sampling;
}

std::string describe(const Cell& cell) {
  char text[80];
  std::snprintf(text, sizeof text, "%s %dx%d q%d %s", cell.picture, cell.size.width,
                cell.size.height, cell.quality, tool::samplingName(cell.sampling));
  return text;
}

const Figure* findFigure(const Records& records, const Cell& cell, Side side) {
  for (const Record& record : records) {
    const auto* figure = std::get_if<Figure>(&record);
    if (figure != nullptr && figure->side == side && sameCell(figure->cell, cell)) return figure;
  }
  return nullptr;
}

std::optional<Outcome> evaluate(const Records& records, const Ratio& ratio) {
  Outcome outcome{ratio};
  double logs = 0, logsOfMedians = 0;
  for (const Record& record : records) {
    const auto* side = std::get_if<Figure>(&record);
    if (side == nullptr || side->side != ratio.side ||
        std::strcmp(side->cell.road, ratio.road) != 0) {
      continue;
    }
    const Figure* against = findFigure(records, side->cell, ratio.against);
    if (against == nullptr) continue;
    const double value = against->cpu.best / side->cpu.best;
    logs += std::log(value);
    logsOfMedians += std::log(against->cpu.median / side->cpu.median);
    if (outcome.cells++ == 0 || value < outcome.worst) {
      outcome.worst = value;
      outcome.worstCell = side->cell;
    }
  }
  if (outcome.cells == 0) return std::nullopt;
  outcome.mean = std::exp(logs / outcome.cells);
  outcome.meanOfMedians = std::exp(logsOfMedians / outcome.cells);
  return outcome;
}

// The stated ratios, then every road against the build before where one was given.
std::vector<Outcome> evaluateAll(const Records& records, bool againstBaseline) {
  std::vector<Outcome> outcomes;
  const auto add = [&](const Ratio& ratio) {
    if (const auto outcome = evaluate(records, ratio)) outcomes.push_back(*outcome);
  };
  if (!againstBaseline) {
    for (const Ratio& ratio : kRatios) add(ratio);
    return outcomes;
  }
  std::vector<const char*> roads;
  for (const Record& record : records) {
    const auto* figure = std::get_if<Figure>(&record);
    if (figure == nullptr || figure->side != Side::kBaseline) continue;
    const char* road = figure->cell.road;
    bool known = false;
    for (const char* other : roads) known = known || std::strcmp(other, road) == 0;
    if (!known) roads.push_back(road);
  }
  for (const char* road : roads) add({road, road, Side::kBaseline, Side::kOurs, 1, 0});
  return outcomes;
}

// "1.70", or nothing where no goal is set.
std::string goalText(double goal) {
  char text[16];
  std::snprintf(text, sizeof text, "%.2f", goal);
  return goal > 0 ? text : "";
}

void printOutcomes(const char* title, const std::vector<Outcome>& outcomes) {
  if (outcomes.empty()) return;
  std::printf("\n%-26s %5s %6s %7s %6s  %6s %6s  %s\n", title, "cells", "mean", "(medi.)", "goal",
              "worst", "goal", "worst cell");
  for (const Outcome& o : outcomes) {
    std::printf("%-26s %5d %6.2f %7.2f %6s  %6.2f %6s  %s\n", o.ratio.name, o.cells, o.mean,
                o.meanOfMedians, goalText(o.ratio.goal).c_str(), o.worst,
                goalText(o.ratio.floor).c_str(), describe(o.worstCell).c_str());
  }
}

// Calls `visit` on the records of a kind; `title` comes before the first.
template <typename T, typename Visit>
void printEach(const Records& records, const char* title, Visit visit) {
  bool first = true;
  for (const Record& record : records) {
    const T* item = std::get_if<T>(&record);
    if (item == nullptr) continue;
    if (first) std::printf("\n%s\n", title);
    first = false;
    visit(*item);
  }
}

std::string processorName() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    const auto colon = line.find(": ");
    if (line.starts_with("model name") && colon != std::string::npos) return line.substr(colon + 2);
  }
  return "unknown";
}

std::string today() {
  char text[16];
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  std::strftime(text, sizeof text, "%Y-%m-%d", &parts);
  return text;
}

void writeCell(JsonWriter& json, const Cell& cell) {
  json.field("road", cell.road)
      .field("picture", cell.picture)
      .field("width", cell.size.width)
      .field("height", cell.size.height)
      .field("quality", cell.quality)
      .field("sampling", tool::samplingName(cell.sampling));
}

void writeOutcomes(JsonWriter& json, const char* name, const std::vector<Outcome>& outcomes) {
  json.key(name).beginArray();
  for (const Outcome& o : outcomes) {
    json.beginObject()
        .field("name", o.ratio.name)
        .field("cells", o.cells)
        .field("mean", o.mean)
        .field("mean_of_medians", o.meanOfMedians)
        .field("goal", o.ratio.goal)
        .field("worst", o.worst)
        .field("floor", o.ratio.floor)
        .field("worst_cell", describe(o.worstCell))
        .endObject();
  }
  json.endArray();
}

void writeRecord(JsonWriter& json, const Figure& figure) {
  json.field("side", kSideNames[static_cast<int>(figure.side)])
      .field("cpu_ms_best", figure.cpu.best, 4)
      .field("cpu_ms", figure.cpu.median, 4)
      .field("cpu_ms_spread", figure.cpu.spread, 4)
      .field("wall_ms_best", figure.wall.best, 4)
      .field("wall_ms", figure.wall.median, 4)
      .field("bytes", figure.bytes, 0);
}

void writeRecord(JsonWriter& json, const Gain& gain) {
  json.field("ours", gain.ours).field("peer", gain.peer).field("ratio", gain.ratio);
}

void writeRecord(JsonWriter& json, const Upkeep& upkeep) {
  json.field("heap_growth", upkeep.heapGrowth, 0)
      .field("faults_per_frame", upkeep.faults)
      .field("bytes", upkeep.bytes, 0);
}

template <typename T>
void writeRecords(JsonWriter& json, const char* name, const Records& records) {
  json.key(name).beginArray();
  for (const Record& record : records) {
    const T* item = std::get_if<T>(&record);
    if (item == nullptr) continue;
    json.beginObject();
    writeCell(json, item->cell);
    writeRecord(json, *item);
    json.endObject();
  }
  json.endArray();
}

}  // namespace

void printReport(const Records& records) {
  printOutcomes("peer's time / ours", evaluateAll(records, false));
  printOutcomes("time before / now", evaluateAll(records, true));
  printEach<Gain>(records, "gain of two threads     ours   peer  ratio (goal 0.97)",
                  [](const Gain& gain) {
                    std::printf("%-22s %5.2f  %5.2f  %5.2f  %s\n", gain.cell.road, gain.ours,
                                gain.peer, gain.ratio, describe(gain.cell).c_str());
                  });
  printEach<Upkeep>(records,
                    "from the second frame on   heap growth  faults/frame  pages of the result",
                    [](const Upkeep& u) {
                      constexpr double kPage = 4096;
                      std::printf("%-26s %12.0f %13.2f %20.0f  %s\n", u.cell.road, u.heapGrowth,
                                  u.faults, std::ceil(u.bytes / kPage), describe(u.cell).c_str());
                    });
}

std::string reportAsJson(const Plan& plan, const Records& records) {
  JsonWriter json;
  json.beginObject()
      .field("date", today())
      .field("processor", processorName())
      .field("rounds", plan.rounds)
      .field("quick", plan.quick);
  writeOutcomes(json, "ratios", evaluateAll(records, false));
  writeOutcomes(json, "against_baseline", evaluateAll(records, true));
  writeRecords<Gain>(json, "gains", records);
  writeRecords<Upkeep>(json, "upkeep", records);
  writeRecords<Figure>(json, "figures", records);
  json.endObject();
  return json.text();
}

}  // namespace qrx::bench

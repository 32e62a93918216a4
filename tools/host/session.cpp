// Start-up of the codec in the order that the library asks for.
#include "tools/host/session.h"

#include <cstdlib>

#include "tools/host/cpu_slots.h"
#include "tools/support/error.h"

namespace qrx::tool {
namespace {

void forceSlot(std::int32_t* word, int slot) {
  if (slot < 0 || slot >= kSlotCount) throw Error("there is no such slot", kUsage);
  if (!processorRunsSlot(slot)) {
    throw Error("slot " + std::to_string(slot) + " needs a processor with " + slotNeeds(slot));
  }
  *word = slot;
}

}  // namespace

const char* samplingName(Sampling sampling) {
  constexpr const char* kNames[] = {"4:4:4", "4:2:2", "4:2:0"};
  return kNames[static_cast<int>(sampling)];
}

void requestSampling(Sampling sampling) {
  constexpr const char* kSettingValues[] = {"4", "2", "1"};
  setenv("ZMT_SUBSAMPLING", kSettingValues[static_cast<int>(sampling)], 1);
}

Session::Session(const HostOptions& options)
    : library_(options.library.empty() ? Library::defaultPath() : options.library),
      slot_(static_cast<std::int32_t*>(library_.symbol("ippJumpIndexForMergedLibs"))) {
  if (library_.initCodec()() != 1) throw Error("the library did not start");
  if (options.slot) forceSlot(slot_, *options.slot);
  codec_.reset(library_.createCodec()());
  if (!codec_) throw Error("the library gave no codec");
}

}  // namespace qrx::tool

// One build of our library, loaded and started, with everything a measurement takes from it.
#ifndef QRX_BENCH_OUR_LIBRARY_H_
#define QRX_BENCH_OUR_LIBRARY_H_

#include <cstdint>
#include <string>

#include "bench/coder_entries.h"
#include "tools/host/session.h"

namespace qrx::bench {

class OurLibrary {
 public:
  explicit OurLibrary(const std::string& path)
      : library_(path),
        session_({path, {}}),
        entries_(library_),
        word_(static_cast<std::int32_t*>(library_.symbol("ippJumpIndexForMergedLibs"))),
        best_(*word_) {}

  tool::Session& session() { return session_; }
  const CoderEntries& entries() const { return entries_; }
  // The slot that the library chose for this processor.
  int bestSlot() const { return best_; }
  // Calls from now on run a slot's forms; no coder keeps what it ran before.
  void useSlot(int slot) { *word_ = slot; }

 private:
  tool::Library library_;
  tool::Session session_;
  CoderEntries entries_;
  std::int32_t* word_;
  std::int32_t best_;
};

}  // namespace qrx::bench

#endif  // QRX_BENCH_OUR_LIBRARY_H_

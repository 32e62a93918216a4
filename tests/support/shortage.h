// Memory that runs out where a test says so. For programs that link the library's objects with
// qrx_wrap_allocations (tests/support/CMakeLists.txt): every allocation of theirs comes by here.
#ifndef QRX_TESTS_SUPPORT_SHORTAGE_H_
#define QRX_TESTS_SUPPORT_SHORTAGE_H_

namespace qrx::test {

enum class Lack { kOnce, kFromThereOn };

// While it lives, this thread's allocation number `index`, from 0, fails; all after it too, or
// none. Files that are opened, locales and slots of thread keys count as allocations.
class Shortage {
 public:
  Shortage(Lack lack, int index);
  ~Shortage();
  Shortage(const Shortage&) = delete;
  Shortage& operator=(const Shortage&) = delete;

  // Whether an allocation has failed.
  static bool met();
};

// Blocks, files and locales that are out.
int liveBlocks();

}  // namespace qrx::test

#endif  // QRX_TESTS_SUPPORT_SHORTAGE_H_

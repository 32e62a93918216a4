// Child processes, threads and the standard error stream, for tests of process-wide state.
#ifndef QRX_TESTS_SUPPORT_PROCESS_H_
#define QRX_TESTS_SUPPORT_PROCESS_H_

#include <functional>
#include <string>

namespace qrx::test {

// Runs the body in a child process, whose settings and log are untouched so far, and returns what
// it wrote to the standard error stream. Failed expectations of the body fail the test.
std::string runInChild(const std::function<void()>& body);

// Runs the body on this many threads, all let go at the same moment.
void runOnThreads(int count, const std::function<void(int)>& body);

// What the body writes to the standard error stream.
std::string errorsOf(const std::function<void()>& body);

// Whether the program runs under a sanitizer, whose allocator and address space are its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

// Bytes that malloc has handed out; 0 under a sanitizer.
std::size_t heapBytes();

}  // namespace qrx::test

#endif  // QRX_TESTS_SUPPORT_PROCESS_H_

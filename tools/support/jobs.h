// Pieces of work in processes of their own, several at a time.
#ifndef QRX_TOOLS_SUPPORT_JOBS_H_
#define QRX_TOOLS_SUPPORT_JOBS_H_

#include <cstddef>
#include <functional>
#include <string>

namespace qrx::tool {

struct JobResult {
  int code = 0;          // what the work returned, or kFailed where its process died
  std::string out, err;  // all that it wrote to standard output and standard error
};

// Does work(0) to work(count - 1), at most `jobs` at a time. `ended` is called here as each ends;
// `next` with each result in order. To be called while the process has one thread.
void runJobs(std::size_t count, int jobs, const std::function<int(std::size_t)>& work,
             const std::function<void(std::size_t ended)>& ended,
             const std::function<void(const JobResult&)>& next);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_SUPPORT_JOBS_H_

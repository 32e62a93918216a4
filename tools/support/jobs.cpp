// fork, with anonymous files as standard output and standard error.
#include "tools/support/jobs.h"

#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <utility>

#include "tools/support/error.h"

namespace qrx::tool {
namespace {

// Closed at the end; what was written to it can be read back.
class AnonymousFile {
 public:
  AnonymousFile() : fd_(memfd_create("job", MFD_CLOEXEC)) {
    if (fd_ < 0) throw Error(std::string("cannot start a job: ") + std::strerror(errno));
  }
  ~AnonymousFile() { close(fd_); }
  AnonymousFile(const AnonymousFile&) = delete;
  AnonymousFile& operator=(const AnonymousFile&) = delete;

  int get() const { return fd_; }
  std::string text() const {
    std::string result;
    char chunk[4096];
    for (ssize_t n; (n = pread(fd_, chunk, sizeof chunk, static_cast<off_t>(result.size()))) > 0;) {
      result.append(chunk, static_cast<std::size_t>(n));
    }
    return result;
  }

 private:
  int fd_;
};

struct Job {
  explicit Job(std::size_t number) : index(number) {}

  std::size_t index;
  AnonymousFile out, err;
};

[[noreturn]] void workInChild(const Job& job, const std::function<int(std::size_t)>& work) {
  int code = kFailed;
  if (dup2(job.out.get(), STDOUT_FILENO) >= 0 && dup2(job.err.get(), STDERR_FILENO) >= 0) {
    code = work(job.index);
    std::fflush(stdout);
    std::fflush(stderr);
  }
  _exit(code);
}

class Jobs {
 public:
  explicit Jobs(const std::function<int(std::size_t)>& work) : work_(work) {}
  ~Jobs() {
    for (const auto& [pid, job] : running_) waitpid(pid, nullptr, 0);
  }
  Jobs(const Jobs&) = delete;
  Jobs& operator=(const Jobs&) = delete;

  std::size_t running() const { return running_.size(); }

  void start(std::size_t index) {
    auto job = std::make_unique<Job>(index);
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid < 0) throw Error(std::string("cannot start a job: ") + std::strerror(errno));
    if (pid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGTERM);  // whoever ends the parent means all of it
      if (getppid() != parent) raise(SIGTERM);
      workInChild(*job, work_);
    }
    running_.emplace(pid, std::move(job));
  }

  std::pair<std::size_t, JobResult> wait() {
    for (;;) {
      int status = 0;
      const pid_t pid = waitpid(-1, &status, 0);
      if (pid < 0 && errno == EINTR) continue;
      if (pid < 0) throw Error(std::string("cannot wait for a job: ") + std::strerror(errno));
      const auto found = running_.find(pid);
      if (found == running_.end()) continue;
      const Job& job = *found->second;
      JobResult result{WIFEXITED(status) ? WEXITSTATUS(status) : kFailed, job.out.text(),
                       job.err.text()};
      if (WIFSIGNALED(status)) {
        result.err += "qrx-jpeg: a job ended by signal " + std::to_string(WTERMSIG(status)) + "\n";
      }
      const std::size_t index = job.index;
      running_.erase(found);
      return {index, std::move(result)};
    }
  }

 private:
  const std::function<int(std::size_t)>& work_;
  std::map<pid_t, std::unique_ptr<Job>> running_;
};

}  // namespace

void runJobs(std::size_t count, int jobs, const std::function<int(std::size_t)>& work,
             const std::function<void(std::size_t)>& ended,
             const std::function<void(const JobResult&)>& next) {
  Jobs running(work);
  std::map<std::size_t, JobResult> waiting;
  std::size_t started = 0;
  for (std::size_t told = 0; told < count;) {
    while (started < count && running.running() < static_cast<std::size_t>(jobs)) {
      running.start(started++);
    }
    waiting.insert(running.wait());
    ended(told + waiting.size());
    for (auto first = waiting.find(told); first != waiting.end(); first = waiting.find(++told)) {
      next(first->second);
      waiting.erase(first);
    }
  }
}

}  // namespace qrx::tool

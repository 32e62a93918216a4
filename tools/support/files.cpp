// Reading and writing of whole files over POSIX descriptors.
#include "tools/support/files.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "tools/support/error.h"

namespace qrx::tool {
namespace {

namespace fs = std::filesystem;

const char* advice(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR: return ": check the path";
    case EACCES:
    case EPERM:
    case EROFS: return ": check the permissions";
    case ENOSPC:
    case EDQUOT:
    case EFBIG: return ": make room";
    case EISDIR: return ": name a file in it";
    case EPIPE: return ": the reader has gone";
    default: return "";
  }
}

[[noreturn]] void fail(const std::string& path, int error) {
  throw Error(displayName(path) + ": " + std::strerror(error) + advice(error));
}

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ > STDERR_FILENO) close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

void writeAll(const std::string& path, int fd, std::span<const std::uint8_t> data) {
  while (!data.empty()) {
    const ssize_t count = write(fd, data.data(), data.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail(path, errno);
    data = data.subspan(static_cast<std::size_t>(count));
  }
}

// mkstemp makes private files; give this one the mode that an ordinary new file gets.
void setDefaultMode(int fd) {
  const mode_t mask = umask(0);
  umask(mask);
  (void)fchmod(fd, 0666 & ~mask);
}

// An interruption comes when the temporary file has gone. Other threads are to take no signals.
class SignalsLater {
 public:
  SignalsLater() {
    sigset_t interruptions;
    sigemptyset(&interruptions);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&interruptions, signal);
    pthread_sigmask(SIG_BLOCK, &interruptions, &before_);
  }
  ~SignalsLater() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsLater(const SignalsLater&) = delete;
  SignalsLater& operator=(const SignalsLater&) = delete;

 private:
  sigset_t before_;
};

// Removes a temporary file unless it was renamed.
struct TemporaryFile {
  std::string path;
  bool keep = false;
  ~TemporaryFile() {
    if (!keep) unlink(path.c_str());
  }
};

[[noreturn]] void failToKeep(const std::string& path) {
  throw Error(path + ": is there already: leave out --no-clobber to replace it");
}

// A link does not replace what is there; not every file system has it.
bool moveToNewName(const std::string& from, const std::string& to) {
  if (link(from.c_str(), to.c_str()) == 0) return true;
  if (errno == EEXIST) failToKeep(to);
  return renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0;
}

void replaceFile(const std::string& path, std::span<const std::uint8_t> data, bool keep) {
  std::error_code ignored;
  const fs::path target =
      fs::is_symlink(path, ignored) ? fs::weakly_canonical(path) : fs::path(path);
  std::string name = target.string() + ".XXXXXX";
  const SignalsLater later;
  const Descriptor file(mkstemp(name.data()));
  if (file.get() < 0) fail(path, errno);
  TemporaryFile temporary{name};
  setDefaultMode(file.get());
  writeAll(path, file.get(), data);
  if (keep) {
    if (!moveToNewName(name, target.string())) fail(path, errno);
    return;  // the temporary name goes; where it was renamed there is nothing to remove
  }
  if (rename(name.c_str(), target.c_str()) != 0) fail(path, errno);
  temporary.keep = true;
}

// Of a regular file. Those without a size are the system's own, and made as they are read.
void checkUnchanged(const std::string& path, int fd, const struct stat& before) {
  struct stat now;
  if (!S_ISREG(before.st_mode) || before.st_size == 0 || fstat(fd, &now) != 0) return;
  if (now.st_size != before.st_size || now.st_mtim.tv_sec != before.st_mtim.tv_sec ||
      now.st_mtim.tv_nsec != before.st_mtim.tv_nsec) {
    throw Error(displayName(path) + ": changed while it was read: try again when it is written");
  }
}

}  // namespace

std::string displayName(const std::string& path) {
  return isStream(path) ? "standard stream" : path;
}

std::vector<std::uint8_t> readFile(const std::string& path) {
  const Descriptor file(isStream(path) ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat before;
  if (file.get() < 0 || fstat(file.get(), &before) != 0) fail(path, errno);
  std::vector<std::uint8_t> data;
  constexpr std::size_t kFirstChunk = 1 << 16;
  for (std::size_t used = 0;;) {
    if (used == data.size()) data.resize(std::max(kFirstChunk, data.size() * 2));
    const ssize_t count = read(file.get(), data.data() + used, data.size() - used);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail(path, errno);
    used += static_cast<std::size_t>(count);
    if (count == 0 || used > kFirstChunk) checkUnchanged(path, file.get(), before);
    if (count == 0) {
      data.resize(used);
      return data;
    }
  }
}

void writeFile(const std::string& path, std::span<const std::uint8_t> data, bool keep) {
  if (isStream(path)) {
    if (std::fflush(stdout) != 0) fail(path, errno);
    writeAll(path, STDOUT_FILENO, data);
    return;
  }
  struct stat existing;
  const bool there = stat(path.c_str(), &existing) == 0;
  if (keep && there) failToKeep(path);
  if (there && !S_ISREG(existing.st_mode)) {
    const Descriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
    if (file.get() < 0) fail(path, errno);
    writeAll(path, file.get(), data);
    return;
  }
  replaceFile(path, data, keep);
}

void makeFolder(const std::string& path) {
  std::error_code error;
  fs::create_directories(path, error);
  if (error) throw Error(path + ": " + error.message());
}

}  // namespace qrx::tool

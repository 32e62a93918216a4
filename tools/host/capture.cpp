// Redirection of standard error into an anonymous file, which unlike a pipe can't fill up.
#include "tools/host/capture.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>

#include "tools/support/error.h"

namespace qrx::tool {

StderrCapture::StderrCapture() {
  std::fflush(stderr);
  file_ = memfd_create("stderr", MFD_CLOEXEC);
  saved_ = dup(STDERR_FILENO);
  if (file_ < 0 || saved_ < 0 || dup2(file_, STDERR_FILENO) < 0) {
    if (file_ >= 0) close(file_);
    if (saved_ >= 0) close(saved_);
    throw Error("cannot redirect standard error");
  }
}

StderrCapture::~StderrCapture() { restore(); }

std::string StderrCapture::finish() {
  std::fflush(stderr);
  std::string text;
  char chunk[512];
  off_t position = 0;
  for (ssize_t n; (n = pread(file_, chunk, sizeof chunk, position)) > 0; position += n) {
    text.append(chunk, static_cast<std::size_t>(n));
  }
  restore();
  return text;
}

void StderrCapture::restore() {
  if (saved_ < 0) return;
  std::fflush(stderr);
  dup2(saved_, STDERR_FILENO);
  close(saved_);
  close(file_);
  saved_ = -1;
}

}  // namespace qrx::tool

// What is written to the standard error stream during a call: the library reports damage there
// and nowhere else.
#ifndef QRX_TOOLS_HOST_CAPTURE_H_
#define QRX_TOOLS_HOST_CAPTURE_H_

#include <string>

namespace qrx::tool {

// Redirects descriptor 2 of the whole process from construction to finish or destruction.
class StderrCapture {
 public:
  StderrCapture();  // throws Error
  ~StderrCapture();
  StderrCapture(const StderrCapture&) = delete;
  StderrCapture& operator=(const StderrCapture&) = delete;

  // Ends the redirection and gives what was written, which the real stream does not get.
  std::string finish();

 private:
  void restore();

  int saved_ = -1;
  int file_ = -1;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_HOST_CAPTURE_H_

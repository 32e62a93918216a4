// Exit codes of the tool, and the exception that ends a command with one.
#ifndef QRX_TOOLS_SUPPORT_ERROR_H_
#define QRX_TOOLS_SUPPORT_ERROR_H_

#include <stdexcept>
#include <string>

namespace qrx::tool {

enum ExitCode : int {
  kDone = 0,
  kFailed = 1,
  kDamaged = 2,  // damaged input, or a partial result
  kUsage = 64,
};

class Error : public std::runtime_error {
 public:
  explicit Error(const std::string& message, ExitCode code = kFailed)
      : std::runtime_error(message), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

}  // namespace qrx::tool

#endif  // QRX_TOOLS_SUPPORT_ERROR_H_

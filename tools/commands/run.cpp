// Exceptions as messages.
#include "tools/commands/run.h"

#include <cstdio>
#include <exception>
#include <new>

#include "tools/support/error.h"
#include "tools/support/json.h"

namespace qrx::tool {

int tellError(const std::string& text, int code, bool json) {
  std::fprintf(stderr, "qrx-jpeg: %s\n", text.c_str());
  if (json) {
    JsonWriter writer;
    writer.beginObject().field("error", text).field("exit_code", code).endObject().print();
    std::fflush(stdout);  // where that fails nobody can be told
  }
  return code;
}

int runGuarded(const std::function<int()>& work, bool json, bool strict) {
  try {
    int code = work();
    if (strict && code == kDamaged) code = kFailed;
    if (std::fflush(stdout) != 0) {
      return tellError("cannot write to standard output", kFailed, false);
    }
    return code;
  } catch (const Error& error) {
    return tellError(error.what(), error.code(), json);
  } catch (const std::bad_alloc&) {
    return tellError("out of memory", kFailed, json);
  } catch (const std::exception& error) {
    return tellError(error.what(), kFailed, json);
  }
}

}  // namespace qrx::tool

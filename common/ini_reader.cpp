// Line by line reader of configuration files.
#include <cstdlib>
#include <cstring>

#include "common/ini_error.h"
#include "common/text.h"
#include "qrx/ini_file.h"
#include "qrx/utilities.h"

namespace qrx {
namespace {

constexpr int kLineCapacity = 200;

// The first `wanted` in the text, or where the text ends: at its terminator, or at the ';' of a
// comment, which follows white space.
char* scanFor(char wanted, char* text) {
  bool afterSpace = false;
  while (*text != '\0' && *text != wanted && !(afterSpace && *text == ';')) {
    afterSpace = isSpace(*text);
    ++text;
  }
  return text;
}

const char* messageOf(IniError code) {
  switch (code) {
    case kIniParserError: return "Parser error.";
    case kIniHandlerError: return "User function error.";
    case kIniNoHandler: return "No user function available.";
    case kIniInvalidArgument: return "Invalid argument";
    case kIniOutOfMemory: return "Out of memory.";
    case kIniNoSuchFile: return "No such file or directory.";
  }
  return "";
}

}  // namespace

ErrorState makeErrorState(IniError code, int line) {
  ErrorState state{code, line, ""};
  qrxSprintf(state.message, sizeof state.message, "%s", messageOf(code));
  return state;
}

IniReader::IniReader(const char* name) : failed(false), file(nullptr), filename(nullptr), state{} {
  if (name == nullptr) {
    fail(makeErrorState(kIniInvalidArgument, 0));
    return;
  }
  filename = strdup(name);
  if (filename == nullptr) fail(makeErrorState(kIniOutOfMemory, 0));
  file = std::fopen(name, "r");
  if (file == nullptr) fail(makeErrorState(kIniNoSuchFile, 0));
}

IniReader::~IniReader() {
  std::free(filename);
  if (file != nullptr) std::fclose(file);
}

const ErrorState* IniReader::getParserState() const { return failed ? &state : nullptr; }

bool IniReader::parseIniFile(Handler handler, void* user) {
  if (handler == nullptr) return fail(makeErrorState(kIniNoHandler, 0));
  if (file == nullptr) return false;
  char section[50] = "";
  char text[kLineCapacity];
  for (int line = 1; std::fgets(text, sizeof text, file) != nullptr; ++line) {
    stripEnd(text);
    if (!parseLine(skipSpace(text), section, handler, user, line)) return false;
  }
  return true;
}

bool IniReader::parseLine(char* text, char (&section)[50], Handler handler, void* user, int line) {
  if (*text == '\0' || *text == ';' || *text == '#') return true;
  if (*text == '[') {
    char* end = scanFor(']', text + 1);
    if (*end != ']') return fail(makeErrorState(kIniParserError, line));
    *end = '\0';
    qrxSprintf(section, sizeof section, "%s", text + 1);
    return true;
  }

  char* separator = scanFor('=', text);
  if (*separator != '=') separator = scanFor(':', text);
  if (*separator != '=' && *separator != ':') return fail(makeErrorState(kIniParserError, line));
  *separator = '\0';
  stripEnd(text);
  char* value = skipSpace(separator + 1);
  *scanFor('\0', value) = '\0';
  stripEnd(value);
  return handler(user, section, text, value) != 0 || fail(makeErrorState(kIniHandlerError, line));
}

// Always false, as the result of the operation that fails.
bool IniReader::fail(const ErrorState& error) {
  failed = true;
  state = error;
  return false;
}

}  // namespace qrx

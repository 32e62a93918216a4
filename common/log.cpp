// The process-wide log: one record, opened on first use.
#include "qrx/log.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "common/text.h"
#include "qrx/product_settings.h"

namespace {

struct LogRecord {
  int level;          // highest level that reaches the log
  char* path;         // full name of the file, or null
  std::FILE* stream;  // the file or the standard error stream
};

enum Level { kError = 1, kWarning, kInfo, kDebug };

// Guards the record. Its holder never calls qrx_printlog.
pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
LogRecord* g_log = nullptr;

struct Lock {
  Lock() { pthread_mutex_lock(&g_mutex); }
  ~Lock() { pthread_mutex_unlock(&g_mutex); }
};

int levelOf(const qrx::conf::Settings& settings) {
  if (settings.verbose) return kDebug;
  static constexpr struct {
    const char* name;
    Level level;
  } kLevels[] = {{"error", kError}, {"warning", kWarning}, {"info", kInfo}, {"debug", kDebug}};
  for (const auto& row : kLevels) {
    if (settings.log_level != nullptr && qrx::equalsIgnoringCase(settings.log_level, row.name)) {
      return row.level;
    }
  }
  return kWarning;
}

// The stem with the process identifier, so that each process has a file of its own. Null without a
// stem.
char* makePath(const char* stem) {
  if (stem == nullptr || *stem == '\0') return nullptr;
  const size_t capacity = std::strlen(stem) + 24;
  auto* path = static_cast<char*>(std::calloc(capacity, 1));
  if (path != nullptr) std::snprintf(path, capacity, "%s.%d", stem, static_cast<int>(getpid()));
  return path;
}

std::FILE* openStream(const char* path) {
  std::FILE* stream = path == nullptr ? nullptr : std::fopen(path, "a");
  if (stream == nullptr) return stderr;
  std::setbuf(stream, nullptr);  // a line is in the file when the call returns
  return stream;
}

// False if the log is open already, and without memory. The mutex is held.
bool openLocked() {
  if (g_log != nullptr) return false;
  auto* record = static_cast<LogRecord*>(std::calloc(1, sizeof(LogRecord)));
  if (record == nullptr) return false;
  try {
    qrx::conf::Settings::init();
  } catch (const std::bad_alloc&) {
    std::free(record);
    return false;
  }
  const qrx::conf::Settings& settings = *qrx::Singleton<qrx::conf::Settings>::s_instance;
  record->level = levelOf(settings);
  record->path = makePath(settings.log_file);
  record->stream = openStream(record->path);
  g_log = record;
  return true;
}

// Where lines go and up to which level, opening the log if need be. False without memory. A copy,
// since the record may be closed while its reader writes.
bool currentLog(LogRecord* copy) {
  const Lock lock;
  if (g_log == nullptr) openLocked();
  if (g_log == nullptr) return false;
  *copy = *g_log;
  return true;
}

const char* orEmpty(const char* text) { return text == nullptr ? "" : text; }

// Month, day and local time with microseconds.
void formatTime(char* text, size_t capacity) {
  timeval now{};
  gettimeofday(&now, nullptr);
  char date[64] = "";
  const bool known = ctime_r(&now.tv_sec, date) != nullptr && std::strlen(date) > 4;
  std::snprintf(text, capacity, "%.15s:%06d", known ? date + 4 : "", static_cast<int>(now.tv_usec));
}

struct FormattedText {
  qrx::OwnedText text;  // null without memory
  size_t length;
};

__attribute__((format(printf, 1, 0))) FormattedText formatText(const char* format,
                                                               va_list arguments) {
  char* text = nullptr;
  const int length = vasprintf(&text, format, arguments);
  if (length < 0) return {};
  return {qrx::OwnedText(text), static_cast<size_t>(length)};
}

// Writes a text in one piece, so that it stays whole among those of other threads.
__attribute__((format(printf, 2, 3))) void writeWhole(std::FILE* stream, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const FormattedText whole = formatText(format, arguments);
  va_end(arguments);
  if (whole.text != nullptr) std::fwrite(whole.text.get(), 1, whole.length, stream);
}

void writeLine(std::FILE* stream, const char* tag, const char* level_name, const char* where,
               const char* message) {
  char time[64];
  formatTime(time, sizeof time);
  const char letter = *level_name == '\0' ? '?' : *level_name;
  writeWhole(stream, "%c %s %d:%d %s (%s): %s\n", letter, time, static_cast<int>(getpid()),
             static_cast<int>(syscall(SYS_gettid)), tag, where, message);
}

}  // namespace

extern "C" {

bool qrx_open_log() {
  const Lock lock;
  return openLocked();
}

void qrx_printlog(const char* tag, int level, const char* level_name, const char* where, bool echo,
                  const char* format, ...) {
  if (format == nullptr) return;
  LogRecord log{};
  if (!currentLog(&log) || (!echo && level > log.level)) return;

  va_list arguments;
  va_start(arguments, format);
  const qrx::OwnedText message = formatText(format, arguments).text;
  va_end(arguments);
  if (message == nullptr) return;

  level_name = orEmpty(level_name);
  if (echo) writeWhole(stderr, "%s: %s\n", level_name, message.get());
  if (level <= log.level) {
    writeLine(log.stream, orEmpty(tag), level_name, orEmpty(where), message.get());
  }
}

bool qrx_close_log() {
  const Lock lock;
  if (g_log == nullptr) return false;
  std::free(g_log->path);
  std::free(g_log);
  g_log = nullptr;
  return true;
}

}  // extern "C"

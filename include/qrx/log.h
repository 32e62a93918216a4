// The process-wide log.
//
// Messages up to a level go as lines to a file, or to the standard error stream:
//
//   W Nov 19 01:55:47:004211 4321:4322 QRX (bool load()): Could not read the table
//
// that is the first letter of the level's name, local time with microseconds, process and thread
// identifier, tag, origin and message. Levels are 1 error, 2 warning, 3 info, 4 debug.
//
// The settings of section "Logging" (qrx/product_settings.h) say what is logged, and where:
// "log_level" is a level's name in any case ("warning" by default, and for any other text),
// "verbose" puts the level at 4, and "log_file" is the stem of the file's name: each process
// appends to a file of its own, the stem with a dot and the process identifier behind it. Without a
// stem, or where the file can't be opened, lines go to the standard error stream. All this is
// settled when the log is opened.
//
// Threads. All three functions may run on any thread at any time. A line is written whole, so that
// lines of different threads do not mix.
#ifndef QRX_LOG_H_
#define QRX_LOG_H_

#include <stdbool.h>

#include "qrx/export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Opens the log with the present settings. False if it was open already, and without memory; then
// nothing changes.
QRX_API bool qrx_open_log(void);

// Logs a message, if its level is not above the log's; opens the log first if it is closed.
//   tag         the component, such as "QRX"
//   level_name  "ERROR", "WARNING", "INFO" or the like
//   where       the calling function, such as "bool load()"
//   echo        true: level name, ": " and message also go to the standard error stream, whatever
//               the level
//   format      as for printf; null: nothing happens
// Null texts count as empty; an empty level name has the letter '?'. Without memory the message is
// lost.
QRX_API void qrx_printlog(const char* tag, int level, const char* level_name, const char* where,
                          bool echo, const char* format, ...) __attribute__((format(printf, 6, 7)));

// Closes the log; the next message opens it again, with the settings of that moment (they change by
// qrx::conf::Settings::reload). False if it was not open. The file itself stays open, for threads
// that are still writing their line.
QRX_API bool qrx_close_log(void);

#ifdef __cplusplus
}  // extern "C"
#endif

#endif  // QRX_LOG_H_

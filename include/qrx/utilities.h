// Small functions about the process, its paths and its texts.
//
// Ownership. Results described as "new text" come from malloc and are released by the caller with
// free. All other texts stay their owner's.
//
// Errors. Functions report by their result and print nothing. A null buffer and a capacity of 0 or
// less count as no room: nothing is written. Capacities are in bytes, terminator included.
//
// Threads. The functions keep no state and may run on any number of threads at once, as long as no
// thread changes the environment under those that read it.
#ifndef QRX_UTILITIES_H_
#define QRX_UTILITIES_H_

#include <stdbool.h>
#include <stdint.h>

#include "qrx/export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Formats into the buffer, always terminated, and returns the number of characters stored, which
// is at most capacity - 1. Negative if the text can't be formatted or there is no room at all.
QRX_API int qrxSprintf(char* buffer, int capacity, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The path of the running executable, cut to the capacity; returns its length, or -1 if it is not
// known.
QRX_API int qrxGetCurrentProcessExe(char* buffer, int capacity);

// The first word of the command line, or "Unknown" if there is none and the capacity is above 7.
QRX_API void qrxGetCurrentProcessName(char* buffer, int capacity);

// What stands behind the last '/' of the path; the path itself if it has none. Points into `path`.
QRX_API const char* qrxBasename(const char* path);

// New text with a number of bytes for people: "0 bytes", "1023 bytes", "1.0 KiB", "2.5 GiB". Null
// without memory.
QRX_API char* qrxFormatSize(uint64_t size);

// Splits a text at any of the delimiters and stores a new text for each word, up to `capacity`
// words. Returns the number of entries filled: 0 for a null or empty text, and where there is no
// room for an entry. A text of nothing but delimiters fills one entry with null. An entry is null
// too if there was no memory for it.
QRX_API unsigned qrxStrsplit(const char* text, char** entries, unsigned capacity,
                             const char* delimiters);

// New text with the parts joined by '/'; the list of parts ends with a null pointer. Empty parts
// are skipped, a part's own closing '/' or '\' is not doubled, and the result has none at its end.
// Null if the path would have more than 4094 characters, if the first part is null, and without
// memory.
QRX_API char* qrxBuildFilename(const char* first, ...) __attribute__((sentinel));

// Whether a list of words separated by single blanks holds the word. False if either is null and
// if the word is empty or holds a blank.
QRX_API bool qrxMatchExtension(const char* list, const char* word);

// Whether the path ends in the name. Parts of a file name match too: "firefox" is at the end of
// "/bin/notfirefox". False if either is null.
QRX_API bool qrxMatchAppName(const char* name, const char* path);

// The environment variable HOME, or the empty text if it is unset. A value that does not fit
// leaves the buffer as it was.
QRX_API void qrxGetHome(char* buffer, int capacity);

// The folder in which the product is installed: the environment variable QRX_ROOT, or
// "/opt/brel/qrx". Values and room as in qrx::Env::getString.
QRX_API void qrxGetRoot(char* buffer, int capacity);

// New text with the folder of the product's libraries: "lib" under the root.
QRX_API char* qrxGetLibDir(void);

#ifdef __cplusplus
}  // extern "C"
#endif

#endif  // QRX_UTILITIES_H_

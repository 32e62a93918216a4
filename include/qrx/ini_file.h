// Configuration files of sections with keys and values.
//
// The grammar, line by line:
//
//   ; comment         # comment         lines that start so, and empty ones, are ignored
//   [section]                           a name of up to 49 characters; longer ones are cut
//   name = value  ; comment             or "name: value" if the line has no '='
//
// White space round names and values is dropped. A ';' starts a comment only at the start of a line
// or behind white space. A value may be empty. There is no quoting, no escape and no continuation.
// A line of more than 199 characters is read in pieces of 199, each of which counts as a line. What
// follows a zero byte in a line is ignored.
//
// Sections and names are compared without regard to case, and of several lines with the same key
// the last one counts.
//
// Threads. The classes take no lock: an object belongs to one thread at a time.
//
// Errors. Failures are kept as a state that the caller asks for; std::bad_alloc passes through when
// memory runs out.
#ifndef QRX_INI_FILE_H_
#define QRX_INI_FILE_H_

#include <cstdio>

#include "qrx/export.h"

namespace qrx {

// The record of a failure.
//
//   code  message
//   1     "Parser error."                 a line that fits no form
//   2     "User function error."          the handler returned 0
//   3     "No user function available."   the handler is null
//   4     "Invalid argument"              the file name of the reader is null
//   5     "Out of memory."                the file name could not be copied
//   6     "No such file or directory."    the file did not open, for whatever reason
struct ErrorState {
  int code;
  int line;  // from 1; 0 when no line is concerned
  char message[128];
};

// Reads a file from its start to its end, once.
class QRX_API IniReader {
 public:
  // Gets each key with its value, in the order of the file. The texts are valid during the call
  // only; section is empty in front of the first section line. 0 ends the reading.
  using Handler = int (*)(void* user, const char* section, const char* name, const char* value);

  // Opens the file. On failure the object holds an error and nothing can be read from it.
  explicit IniReader(const char* filename);
  ~IniReader();
  IniReader(const IniReader&) = delete;
  IniReader& operator=(const IniReader&) = delete;

  // True if the end of the file was reached. False on the first error; the handler has then been
  // called for the lines before it.
  bool parseIniFile(Handler handler, void* user);

  // The latest error, owned by the reader, or null if there is none.
  const ErrorState* getParserState() const;

 private:
  bool parseLine(char* text, char (&section)[50], Handler handler, void* user, int line);
  bool fail(const ErrorState& error);

  bool failed;
  std::FILE* file;
  char* filename;
  ErrorState state;
};

// The keys and values of a file, to look up, to change and to write back.
//
// A load that fails leaves the object in error state: getValue, setValue and removeValue then do
// nothing but write a line to the standard error stream, until a later load succeeds.
class QRX_API IniFile {
 public:
  // Empty, without a file name.
  IniFile();
  // Takes a copy of the name, which may be null, and loads the file if `parse` is true.
  IniFile(const char* filename, bool parse);
  virtual ~IniFile();
  IniFile(const IniFile&) = delete;
  IniFile& operator=(const IniFile&) = delete;

  // The file's name, or null; valid until the name changes.
  const char* getFilename() const;
  // The error of the latest load, owned by the object, or null if all is well.
  const ErrorState* getParserState() const;

  // Takes another name, which may be null. With `parse` the entries that came with the earlier name
  // are dropped and the file is loaded.
  void setFilename(const char* filename, bool parse);

  // Drops all entries and loads the file; null means the name it has. True if the whole file was
  // read. A file that can't be opened or has a line outside the grammar is told on the standard
  // error stream.
  bool parse(const char* filename);

  // The value, or null if there is none. It belongs to the object and is valid until the entry
  // changes. Here and below a null or empty section or name is told on the standard error stream,
  // and nothing happens.
  const char* getValue(const char* section, const char* name) const;
  // Adds or changes an entry; with `keep` an entry that exists stays as it is. The value must not
  // be empty.
  void setValue(const char* section, const char* name, const char* value, bool keep);
  // Removes the entry, if it exists.
  void removeValue(const char* section, const char* name);

  // Writes all entries, section by section, in upper case and in no particular order; null means
  // the name it has, any other name becomes the file's name. Then flushes the system's disk caches.
  // False if the file could not be opened or written.
  bool write(const char* filename);

 private:
  struct Private;
  Private* d;
};

}  // namespace qrx

#endif  // QRX_INI_FILE_H_

// Names of outputs, with the checks that keep a user's files.
#include "tools/commands/outputs.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <utility>

#include "tools/support/error.h"
#include "tools/support/files.h"

namespace qrx::tool {
namespace {

namespace fs = std::filesystem;

using FileId = std::pair<dev_t, ino_t>;

// Of a regular file that is there.
bool identify(const std::string& path, FileId& id) {
  struct stat status;
  if (isStream(path) || stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  id = {status.st_dev, status.st_ino};
  return true;
}

bool isFolder(const std::string& path) {
  std::error_code ignored;
  return path.ends_with('/') || fs::is_directory(path, ignored);
}

std::string inFolder(const std::string& folder, const std::string& input,
                     const std::string& extension) {
  const std::string stem = isStream(input) ? "stdin" : fs::path(input).stem().string();
  return (fs::path(folder) / (stem + extension)).string();
}

std::string folderOf(const std::string& path) {
  const std::string folder = fs::path(path).parent_path().string();
  return folder.empty() ? "." : folder;
}

// Extensions that promise a certain kind of file; all others promise nothing.
bool promisesKind(const std::string& extension) {
  constexpr const char* kKnown[] = {".jpg",  ".jpeg", ".jpe",  ".jfif", ".png", ".ppm", ".pgm",
                                    ".pbm",  ".pnm",  ".pam",  ".qpk",  ".gif", ".bmp", ".tif",
                                    ".tiff", ".webp", ".avif", ".heic", ".jxl", ".jp2", ".svg",
                                    ".pdf",  ".txt",  ".json", ".raw",  ".zip"};
  return std::find(std::begin(kKnown), std::end(kKnown), extension) != std::end(kKnown);
}

bool promisesAnotherKind(const std::string& extension, const OutputKind& kind) {
  return promisesKind(extension) && std::find(kind.extensions.begin(), kind.extensions.end(),
                                              extension) == kind.extensions.end();
}

std::vector<FilePair> pairUp(const OutputOptions& options, const OutputKind& kind) {
  std::vector<std::string> inputs = options.files;
  std::string output = options.output;
  if (output.empty()) {
    if (inputs.size() < 2) throw Error("no output is given: name it second or by -o", kUsage);
    if (inputs.size() > 2) {
      throw Error("several inputs need a folder for their outputs: give -o FOLDER", kUsage);
    }
    output = inputs.back();
    inputs.pop_back();
  }
  const bool folder = inputs.size() > 1 || isFolder(output);
  if (folder && isStream(output)) {
    throw Error("several outputs cannot go to standard output: give -o FOLDER", kUsage);
  }
  if (folder && !isFolder(output) && promisesKind(extensionOf(output))) {
    throw Error(
        output + ": several inputs need a folder, and this is a file's name: give -o FOLDER/",
        kUsage);
  }
  std::vector<FilePair> pairs;
  pairs.reserve(inputs.size());
  for (const std::string& input : inputs) {
    pairs.push_back({input, folder ? inFolder(output, input, kind.extensions.front()) : output});
  }
  return pairs;
}

void checkNames(const std::vector<FilePair>& pairs) {
  std::set<FileId> inputs;
  std::set<std::string> outputs;
  FileId id;
  for (const FilePair& pair : pairs) {
    if (identify(pair.input, id)) inputs.insert(id);
  }
  for (const FilePair& pair : pairs) {
    if (identify(pair.output, id) && inputs.contains(id)) {
      throw Error(pair.output + ": the output is an input as well: give it another name", kUsage);
    }
    if (!outputs.insert(pair.output).second) {
      throw Error(pair.output + ": two inputs have this output: encode them into two folders",
                  kUsage);
    }
  }
}

}  // namespace

std::string extensionOf(const std::string& path) {
  std::string extension = fs::path(path).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return extension;
}

void addOutputOptions(CLI::App& command, OutputOptions& options, const char* inputText,
                      const char* outputText) {
  command
      .add_option("input", options.files,
                  std::string(inputText) + "; - for standard input. " + outputText)
      ->required()
      ->type_name("[OUTPUT]");
  command
      .add_option("-o,--output", options.output,
                  "The output: a file, - for standard output, or a folder, which several inputs "
                  "need. Made if it is missing")
      ->type_name("PATH");
  command.add_option("--jobs", options.jobs, "Files at work at a time (default: the processors)")
      ->check(CLI::Range(1, 1024))
      ->type_name("N");
  command.add_flag("--no-clobber", options.noClobber, "Keep outputs that are there, and fail");
  command.add_flag("--force", options.force,
                   "Write even under a name that promises another kind of file");
}

std::vector<FilePair> planOutputs(const OutputOptions& options, const OutputKind& kind) {
  std::vector<FilePair> pairs = pairUp(options, kind);
  checkNames(pairs);
  for (const FilePair& pair : pairs) {
    const std::string extension = extensionOf(pair.output);
    if (!options.force && promisesAnotherKind(extension, kind)) {
      throw Error(pair.output + ": this would be " + kind.name + " under the name of another " +
                      "kind: call it " + kind.extensions.front() + ", or give --force",
                  kUsage);
    }
  }
  if (pairs.size() > 1 || isFolder(options.output.empty() ? options.files.back() : options.output))
    makeFolder(folderOf(pairs.front().output));
  return pairs;
}

}  // namespace qrx::tool

// Which input goes to which output, and what may stand in the way.
#ifndef QRX_TOOLS_COMMANDS_OUTPUTS_H_
#define QRX_TOOLS_COMMANDS_OUTPUTS_H_

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "tools/commands/options.h"
#include "tools/support/progress.h"

namespace qrx::tool {

struct FilePair {
  std::string input, output;
};

struct OutputOptions {
  std::vector<std::string> files;  // the inputs; without `output` an input and an output
  std::string output;              // a file or a folder
  bool noClobber = false;
  bool force = false;  // under a name of another kind too
  int jobs = 0;        // 0: as many as there are processors
};

// What a command writes.
struct OutputKind {
  std::string name;                     // "a JPEG", for messages
  std::vector<std::string> extensions;  // lower case; the first is for files in a folder
};

// The files, -o, --jobs, --no-clobber and --force.
void addOutputOptions(CLI::App& command, OutputOptions& options, const char* inputText,
                      const char* outputText);

// Throws Error for a usage that does not tell the output, for an output that is an input, for two
// of the same name, and for a name that belongs to another kind of file. Makes the output folder.
std::vector<FilePair> planOutputs(const OutputOptions& options, const OutputKind& kind);

// The extension of a name in lower case, with its dot; empty for none.
std::string extensionOf(const std::string& path);

using PairWork = std::function<int(const FilePair&, PixelCount&)>;

// Does `work` for each pair, one alone in this process, several in processes of their own, so that
// neither a crash nor the memory of one reaches another. Messages and results come in the order of
// the pairs; with `json` the results' objects are the elements of one object. The exit code is that
// of the only pair; else 0, 2 where some failed, 1 where all did.
int runPairs(const std::vector<FilePair>& pairs, int jobs, const TalkOptions& talk, bool json,
             const PairWork& work);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_COMMANDS_OUTPUTS_H_

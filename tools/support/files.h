// Whole files and standard streams ("-") as bytes.
#ifndef QRX_TOOLS_SUPPORT_FILES_H_
#define QRX_TOOLS_SUPPORT_FILES_H_

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qrx::tool {

inline bool isStream(const std::string& path) { return path == "-"; }

// The path, or "standard stream", for messages.
std::string displayName(const std::string& path);

// Throws Error with the path and the system's reason.
std::vector<std::uint8_t> readFile(const std::string& path);

// Writes under a temporary name in the same folder and renames, so that the path never holds a
// part of a file. A link is followed; what is not a regular file (a device, a pipe) is written
// in place. With `keep` a path that is there, or comes to be meanwhile, is an Error.
void writeFile(const std::string& path, std::span<const std::uint8_t> data, bool keep = false);

// Makes a folder and those above it; one that is there is fine.
void makeFolder(const std::string& path);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_SUPPORT_FILES_H_

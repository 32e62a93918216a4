// Runs a fuzz target on files and folders of files, without a fuzzer. Reads by functions of C: the
// memory sanitizer does not know what the standard library's streams have written.
#include <dirent.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

int g_files = 0;

void run(const char* path) {
  const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path, "rb"), std::fclose);
  if (file == nullptr) return;
  std::vector<std::uint8_t> bytes(1 << 20);
  const std::size_t size = std::fread(bytes.data(), 1, bytes.size(), file.get());
  // A copy of exactly the size, so that a sanitizer sees reads behind it.
  const std::vector<std::uint8_t> input(bytes.begin(),
                                        bytes.begin() + static_cast<std::ptrdiff_t>(size));
  LLVMFuzzerTestOneInput(input.data(), input.size());
  ++g_files;
}

void runAll(const char* folder, DIR* listing) {
  while (const dirent* entry = readdir(listing)) {
    char path[4096];
    std::snprintf(path, sizeof path, "%s/%s", folder, entry->d_name);
    if (entry->d_type == DT_REG) run(path);
  }
  closedir(listing);
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (DIR* listing = opendir(argv[i])) {
      runAll(argv[i], listing);
    } else {
      run(argv[i]);
    }
  }
  std::printf("%d inputs\n", g_files);
  return g_files > 0 ? 0 : 1;
}

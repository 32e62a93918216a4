// Settings from any texts: in the environment, and in the three files at once. A number is what
// strtol and strtod make of the whole text; what is not usable leaves the next source or the
// default.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>

#include "fuzz/kit.h"
#include "fuzz/scratch_file.h"
#include "qrx/product_settings.h"

namespace {

using fuzz::require;

std::string text(const fuzz::Bytes& bytes) {
  return std::string(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
}

bool isNone(const std::string& text) { return text.empty() || text == "<null>"; }

// The places of the three files, which are links to memory.
struct Files {
  fuzz::ScratchFile admin, user, system;

  Files() {
    std::string folder = (std::filesystem::temp_directory_path() / "qrx_fuzz_XXXXXX").string();
    require(mkdtemp(folder.data()) != nullptr);
    const std::filesystem::path root = folder;
    std::filesystem::create_directories(root / "conf");
    std::filesystem::create_directories(root / "user");
    std::filesystem::create_symlink(admin.path(), root / "conf" / "qrx.conf.admin");
    std::filesystem::create_symlink(user.path(), root / "user" / "qrx.conf");
    std::filesystem::create_symlink(system.path(), root / "conf" / "qrx.conf");
    setenv("QRX_ROOT", folder.c_str(), 1);
    setenv("QRX_USER_CONFIG_DIR", (root / "user").c_str(), 1);
    folder_ = folder;
    std::atexit([] { std::filesystem::remove_all(folder_); });
  }

 private:
  inline static std::string folder_;
};

// As an environment variable counts: without white space round it, and only if it is short.
std::string ofEnvironment(const std::string& text) {
  constexpr char kSpace[] = " \t\n\v\f\r";
  const std::size_t first = text.find_first_not_of(kSpace);
  if (first == std::string::npos || text.size() > 31) return "";
  return text.substr(first, text.find_last_not_of(kSpace) + 1 - first);
}

std::optional<int> asInt(const std::string& text) {
  char* end = nullptr;
  errno = 0;
  const long value = std::strtol(text.c_str(), &end, 10);
  const bool isWhole = !isNone(text) && end != text.c_str() && *end == '\0';
  if (!isWhole || errno != 0 || value < INT_MIN || value > INT_MAX) return std::nullopt;
  return static_cast<int>(value);
}

void convert(const std::string& text) {
  const std::optional<int> expected = asInt(text);
  bool failed = false;
  const int value = qrx::Settings::toInt(text.c_str(), &failed);
  require(failed != expected.has_value() && value == expected.value_or(-1));

  const bool flag = qrx::Settings::toBool(text.c_str(), &failed);
  const bool isTrue = strcasecmp(text.c_str(), "true") == 0 || expected == 1;
  const bool isFalse = strcasecmp(text.c_str(), "false") == 0 || expected == 0;
  require(failed == !(isTrue || isFalse) && flag == isTrue);

  const double number = qrx::Settings::toDouble(text.c_str(), &failed);
  require(!failed || number == 0.0);
  char* end = nullptr;
  const double whole = std::strtod(text.c_str(), &end);
  require(failed || number == whole || (std::isnan(number) && std::isnan(whole)));

  char* const copy = qrx::Settings::toString(text.c_str());
  require(isNone(text) ? copy == nullptr : copy == text);
  std::free(copy);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Files files;
  fuzz::Input input(data, size);
  const auto cutAt = static_cast<std::ptrdiff_t>(input.value<std::uint16_t>());
  const std::string variable = text(input.bytes(static_cast<std::size_t>(input.below(40))));
  const fuzz::Bytes content = input.rest();
  convert(variable);

  // The files share what is left: two of one part and one of the other.
  const auto cut = content.begin() +
                   std::min<std::ptrdiff_t>(cutAt, static_cast<std::ptrdiff_t>(content.size()));
  files.admin.fill(fuzz::Bytes(content.begin(), cut));
  files.user.fill(fuzz::Bytes(cut, content.end()));
  files.system.fill(content);
  if (variable.empty()) {
    unsetenv("ZMT_IMAGE_QUALITY");
  } else {
    setenv("ZMT_IMAGE_QUALITY", variable.c_str(), 1);
  }
  qrx::conf::Settings settings;
  std::size_t length = 0;
  for (const char* value : {settings.log_level, settings.log_file, settings.codec_tcp}) {
    length += value == nullptr ? 0 : std::strlen(value);
  }
  require(length < 1024 && settings.log_level != nullptr && settings.codec_tcp != nullptr);
  if (content.empty()) {
    require(settings.image_quality == asInt(ofEnvironment(variable)).value_or(80));
  }
  settings.parse();
  return 0;
}

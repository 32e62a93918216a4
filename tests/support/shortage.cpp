#include "tests/support/shortage.h"

#include <locale.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace qrx::test {
namespace {

std::atomic<int> g_live;
thread_local int t_left = INT_MAX;  // allocations that the thread still gets
thread_local bool t_forEver = false;
thread_local bool t_met = false;

bool isRefused() {
  if (t_left == INT_MAX) return false;
  if (t_left > 0) {
    --t_left;
    return false;
  }
  if (!t_forEver) t_left = INT_MAX;
  t_met = true;
  errno = ENOMEM;
  return true;
}

template <typename Block>
Block* counted(Block* block) {
  if (block != nullptr) ++g_live;
  return block;
}

}  // namespace

Shortage::Shortage(Lack lack, int index) {
  t_left = index;
  t_forEver = lack == Lack::kFromThereOn;
  t_met = false;
}

Shortage::~Shortage() { t_left = INT_MAX; }

bool Shortage::met() { return t_met; }

int liveBlocks() { return g_live; }

}  // namespace qrx::test

// What the linker puts in the place of the C library's functions, by the names that it gives them.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

using qrx::test::counted;
using qrx::test::isRefused;

void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
void __real_free(void* block);
char* __real_strdup(const char* text);
int __real_vasprintf(char** text, const char* format, va_list arguments);
std::FILE* __real_fopen(const char* path, const char* mode);
int __real_fclose(std::FILE* file);
locale_t __real_newlocale(int mask, const char* name, locale_t base);
void __real_freelocale(locale_t locale);
int __real_pthread_setspecific(pthread_key_t key, const void* value);

void* __wrap_malloc(size_t size) { return isRefused() ? nullptr : counted(__real_malloc(size)); }
void* __wrap_calloc(size_t count, size_t size) {
  return isRefused() ? nullptr : counted(__real_calloc(count, size));
}
void* __wrap_realloc(void* block, size_t size) {
  if (isRefused()) return nullptr;
  void* const grown = __real_realloc(block, size);
  return block == nullptr ? counted(grown) : grown;
}
void __wrap_free(void* block) {
  if (block != nullptr) --qrx::test::g_live;
  __real_free(block);
}
char* __wrap_strdup(const char* text) {
  return isRefused() ? nullptr : counted(__real_strdup(text));
}
int __wrap_vasprintf(char** text, const char* format, va_list arguments) {
  if (isRefused()) return -1;
  const int length = __real_vasprintf(text, format, arguments);
  if (length >= 0) counted(*text);
  return length;
}
// The same by the name that _FORTIFY_SOURCE gives it.
int __wrap___vasprintf_chk(char** text, int, const char* format, va_list arguments) {
  return __wrap_vasprintf(text, format, arguments);
}
std::FILE* __wrap_fopen(const char* path, const char* mode) {
  return isRefused() ? nullptr : counted(__real_fopen(path, mode));
}
int __wrap_fclose(std::FILE* file) {
  --qrx::test::g_live;
  return __real_fclose(file);
}
locale_t __wrap_newlocale(int mask, const char* name, locale_t base) {
  return isRefused() ? nullptr : counted(__real_newlocale(mask, name, base));
}
void __wrap_freelocale(locale_t locale) {
  --qrx::test::g_live;
  __real_freelocale(locale);
}
int __wrap_pthread_setspecific(pthread_key_t key, const void* value) {
  return isRefused() ? ENOMEM : __real_pthread_setspecific(key, value);
}
void __wrap_sync() {}  // takes long, and a test has nothing of it
}
// NOLINTEND(bugprone-reserved-identifier)

void* operator new(std::size_t size) {
  void* const block = __wrap_malloc(size > 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return __wrap_malloc(size > 0 ? size : 1);
}
void operator delete(void* block) noexcept { __wrap_free(block); }
void operator delete(void* block, std::size_t) noexcept { __wrap_free(block); }

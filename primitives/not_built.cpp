// Stand-ins for primitives that have no form yet: they refuse every call.
#include "primitives/form.h"
namespace {
struct {
  operator IppStatus() const { return ippStsBadArgErr; }
  operator const IppLibraryVersion*() const { return nullptr; }
} notBuilt;
}  // namespace
#pragma GCC diagnostic ignored "-Wunused-parameter"
#define PRIMITIVE(slots, result, name, parameters, arguments) \
  __attribute__((weak)) result FORM(name) parameters { return notBuilt; }
#include "primitives/primitives.def"

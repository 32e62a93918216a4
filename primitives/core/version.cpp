// The version record of each form. Major, minor, build and date stand in the comment of every
// encoded image, so they are the same in all forms.
#include "primitives/form.h"
#include "qrx/primitives.h"

namespace {

constexpr IppLibraryVersion record(const char (&code)[3], const char* name) {
  return {7, 1, 1, 37466, {code[0], code[1], 0, 0}, name, "7.1.1 (r37466)", "Sep 24 2012"};
}

// Named like the forms, so that QRX_FORM is an index.
enum Form { w7, v8, s8, p8, g9, h9, ref };

constexpr IppLibraryVersion kVersions[] = {
    record("w7", "veigri SSE2 (w7)"),     record("v8", "veigri SSSE3 (v8)"),
    record("s8", "veigri Atom (s8)"),     record("p8", "veigri SSE4.1/4.2 (p8)"),
    record("g9", "veigri AVX (g9)"),      record("h9", "veigri AVX2 (h9)"),
    record("px", "veigri portable (px)"),
};

// Slot 4 serves processors with and without SSE4.2 and tells them apart by name.
constexpr IppLibraryVersion kVersionSse42 = record("p8", "veigri SSE4.1/4.2 (p8)+");
constexpr uint64_t kFeatureSse42 = 0x80;

}  // namespace

const IppLibraryVersion* FORM(ippjGetLibVersion)() {
  if (QRX_FORM == p8 && ownGetFeature(kFeatureSse42) != 0) return &kVersionSse42;
  return &kVersions[QRX_FORM];
}

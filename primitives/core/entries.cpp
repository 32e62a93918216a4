// The dispatch: one table of seven forms and one entry point for each row of primitives.def.
//
// An entry point is a tail jump through the slot word: no test, no copy of an argument. This file
// is always compiled with -O2 and without instrumentation, so that it stays one.
#include "qrx/primitives.h"

extern "C" {

// Zero-initialised, so that slot 0 serves before ippInit. Read through the symbol, not an alias:
// a host that defines or copies the word is obeyed.
QRX_API int32_t ippJumpIndexForMergedLibs = 0;
QRX_API int32_t ippJumpIndexForMergedLibsLP = 0;

#ifdef QRX_PORTABLE
#define DECLARE_FORMS(result, name, parameters) result ref_##name parameters;
#define SLOTS_SS(name) \
  { ref_##name, ref_##name, ref_##name, ref_##name, ref_##name, ref_##name, ref_##name }
#define SLOTS_VV(name) SLOTS_SS(name)
#define SLOTS_VS(name) SLOTS_SS(name)
#else
#define DECLARE_FORMS(result, name, parameters) \
  result w7_##name parameters;                  \
  result v8_##name parameters;                  \
  result s8_##name parameters;                  \
  result p8_##name parameters;                  \
  result g9_##name parameters;                  \
  result h9_##name parameters;
#define SLOTS_SS(name) \
  { w7_##name, w7_##name, s8_##name, s8_##name, p8_##name, g9_##name, h9_##name }
#define SLOTS_VV(name) \
  { w7_##name, w7_##name, v8_##name, v8_##name, p8_##name, g9_##name, h9_##name }
#define SLOTS_VS(name) \
  { w7_##name, w7_##name, v8_##name, s8_##name, p8_##name, g9_##name, h9_##name }
#endif

// The hidden alias lets an entry point reach its own table without going through the symbol.
#define PRIMITIVE(slots, result, name, parameters, arguments)         \
  DECLARE_FORMS(result, name, parameters)                             \
  typedef result(*name##_form) parameters;                            \
  extern QRX_API const name##_form name##_arraddr[7];                 \
  const name##_form name##_arraddr[7] = SLOTS_##slots(name);          \
  extern const name##_form own_##name##_arraddr[7]                    \
      __attribute__((alias(#name "_arraddr"), visibility("hidden"))); \
  result name parameters { return own_##name##_arraddr[ippJumpIndexForMergedLibs] arguments; }

#include "primitives/primitives.def"

}  // extern "C"

// The strip routes by slot, as constant data.
#include "primitives/strips/strips.h"

extern "C" {

#ifdef QRX_PORTABLE
extern const qrx::strips::Routes ref_strip_routes;
#define SLOTS(form) &ref_strip_routes
#else
extern const qrx::strips::Routes w7_strip_routes, v8_strip_routes, s8_strip_routes, p8_strip_routes,
    g9_strip_routes, h9_strip_routes;
#define SLOTS(form) &form##_strip_routes
#endif

}  // extern "C"

namespace qrx::strips {

constinit const Routes* const kRoutes[7] = {SLOTS(w7), SLOTS(w7), SLOTS(v8), SLOTS(s8),
                                            SLOTS(p8), SLOTS(g9), SLOTS(h9)};

}  // namespace qrx::strips

// The strip and band routes by slot, as constant data.
#include "primitives/strips/bands.h"

extern "C" {

#ifdef QRX_PORTABLE
extern const qrx::strips::Routes ref_strip_routes;
extern const qrx::strips::BandRoutes ref_band_routes;
#define SLOTS(name) \
  { &ref##name, &ref##name, &ref##name, &ref##name, &ref##name, &ref##name, &ref##name }
#else
extern const qrx::strips::Routes w7_strip_routes, v8_strip_routes, s8_strip_routes, p8_strip_routes,
    g9_strip_routes, h9_strip_routes;
extern const qrx::strips::BandRoutes w7_band_routes, v8_band_routes, s8_band_routes, p8_band_routes,
    g9_band_routes, h9_band_routes;
#define SLOTS(name) \
  { &w7##name, &w7##name, &v8##name, &s8##name, &p8##name, &g9##name, &h9##name }
#endif

}  // extern "C"

namespace qrx::strips {

constinit const Routes* const kRoutes[7] = SLOTS(_strip_routes);
constinit const BandRoutes* const kBandRoutes[7] = SLOTS(_band_routes);

}  // namespace qrx::strips

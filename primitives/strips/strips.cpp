// The strip and band routes of one form.
#include "primitives/form.h"
#include "primitives/strips/bands.h"
#ifdef QRX_SCALAR
#include "primitives/strips/bands_ref.h"
#include "primitives/strips/strips_ref.h"
#else
#include "primitives/strips/bands_in.h"
#include "primitives/strips/bands_keep.h"
#include "primitives/strips/bands_out.h"
#include "primitives/strips/code_row.h"
#include "primitives/strips/decode_row.h"
#include "primitives/strips/to_pixels.h"
#include "primitives/strips/to_planes.h"
#endif

extern "C" const qrx::strips::Routes FORM(strip_routes) = {strips::toPlanes,  strips::code,
                                                           strips::decode,    strips::settle,
                                                           strips::transform, strips::toPixels};

extern "C" const qrx::strips::BandRoutes FORM(band_routes) = {
    strips::keep, strips::gather, strips::code, strips::decodeBand, strips::note};

// The strip routes of one form.
#include "primitives/strips/strips.h"

#include "primitives/form.h"
#ifdef QRX_SCALAR
#include "primitives/strips/strips_ref.h"
#else
#include "primitives/strips/code_row.h"
#include "primitives/strips/decode_row.h"
#include "primitives/strips/to_pixels.h"
#include "primitives/strips/to_planes.h"
#endif

extern "C" const qrx::strips::Routes FORM(strip_routes) = {
    strips::toPlanes, strips::code, strips::decode, strips::transform, strips::toPixels};

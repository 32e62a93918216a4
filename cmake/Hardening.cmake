# Guards against what should not happen: canaries on the stack, and calls of the C library that know
# how large their buffers are. For everything but the form objects, whose loops take lengths from the
# coders and call nothing; there they are switched off, whatever the compiler's default.
option(QRX_HARDEN "Stack protector and _FORTIFY_SOURCE in coders and common" ON)
add_library(qrx_hardening INTERFACE)
if(QRX_HARDEN AND NOT QRX_SANITIZE)
  # _FORTIFY_SOURCE needs an optimising build.
  target_compile_options(
    qrx_hardening INTERFACE -fstack-protector-strong
                            $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE>
                            $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=2>)
endif()
set(QRX_FORM_HARDENING -fno-stack-protector -U_FORTIFY_SOURCE)

# Warnings for all of our own code. Presets turn them into errors with QRX_WERROR.
add_library(qrx_warnings INTERFACE)
target_compile_options(qrx_warnings INTERFACE -Wall -Wextra -Wconversion -Wshadow)
if(QRX_WERROR)
  target_compile_options(qrx_warnings INTERFACE -Werror)
endif()

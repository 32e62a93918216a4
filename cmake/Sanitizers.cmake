# QRX_SANITIZE: empty, "address,undefined", "thread", "memory" (needs clang), or "fuzzer" (address,
# undefined and the fuzzer's coverage; needs clang).
set(QRX_SANITIZE "" CACHE STRING "Sanitizers to build with")
add_library(qrx_sanitizers INTERFACE)
if(QRX_SANITIZE STREQUAL "fuzzer")
  set(flags -fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=all)
elseif(QRX_SANITIZE)
  set(flags -fsanitize=${QRX_SANITIZE} -fno-sanitize-recover=all)
endif()
if(QRX_SANITIZE)
  target_compile_options(qrx_sanitizers INTERFACE ${flags} -fno-omit-frame-pointer -g1)
  target_link_options(qrx_sanitizers INTERFACE ${flags})
  if(QRX_SANITIZE STREQUAL "memory")
    # Strings come from our own objects: the memory sanitizer does not see what the standard library's
    # objects write.
    target_compile_definitions(qrx_sanitizers INTERFACE _GLIBCXX_EXTERN_TEMPLATE=0)
  endif()
endif()

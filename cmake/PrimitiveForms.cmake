# Compiles the primitive families once per processor form.
#
# Each form is an object library `qrx_form_<code>` of the same sources with QRX_FORM set to its
# prefix and only the instruction sets that the selection of its slot tests. `ref` is the scalar
# reference: tests compare with it, and a portable build has it in all slots.

set(QRX_FORM_SOURCES
    primitives/core/version.cpp
    primitives/colour/forward.cpp
    primitives/colour/inverse.cpp
    primitives/huffman/decode_baseline.cpp
    primitives/huffman/decode_progressive.cpp
    primitives/huffman/decode_tables.cpp
    primitives/huffman/encode_baseline.cpp
    primitives/huffman/encode_progressive.cpp
    primitives/huffman/encode_tables.cpp
    primitives/lossless/lossless.cpp
    primitives/movers/convert.cpp
    primitives/movers/copy.cpp
    primitives/movers/vector.cpp
    primitives/sampling/sampling.cpp
    primitives/strips/strips.cpp
    primitives/transform/forward.cpp
    primitives/transform/inverse.cpp
    primitives/transform/quant_tables.cpp)
list(TRANSFORM QRX_FORM_SOURCES PREPEND ${PROJECT_SOURCE_DIR}/)

set(QRX_FORM_FLAGS_w7 "")
set(QRX_FORM_FLAGS_v8 -mssse3)
set(QRX_FORM_FLAGS_s8 -mssse3)  # most s8 functions also stand in slot 2, which has no MOVBE
set(QRX_FORM_FLAGS_p8 -msse4.1)
set(QRX_FORM_FLAGS_g9 -mavx)
set(QRX_FORM_FLAGS_h9 -mavx2 -mbmi -mbmi2)
set(QRX_FORM_FLAGS_ref "")

function(qrx_add_form form)
  add_library(qrx_form_${form} OBJECT EXCLUDE_FROM_ALL ${QRX_FORM_SOURCES})
  target_compile_definitions(qrx_form_${form} PRIVATE QRX_FORM=${form})
  if(form STREQUAL "ref")
    target_compile_definitions(qrx_form_${form} PRIVATE QRX_SCALAR)
  endif()
  # No link to standard library templates and no exceptions: form objects own all their code.
  target_compile_options(
    qrx_form_${form} PRIVATE ${QRX_FORM_FLAGS_${form}} ${QRX_FORM_HARDENING} -fno-exceptions
                             -fno-rtti -ffunction-sections -fdata-sections)
  # Forms are optimised in every configuration: at -O0 the sanitizer builds would take minutes.
  target_compile_options(qrx_form_${form} PRIVATE $<$<CONFIG:Debug>:-O1>)
  target_link_libraries(qrx_form_${form} PRIVATE qrx_build_flags)
  # What loops over pixels compare tells the fuzzer nothing, and took most of its time.
  if(QRX_SANITIZE STREQUAL "fuzzer")
    target_compile_options(qrx_form_${form} PRIVATE -fno-sanitize-coverage=trace-cmp)
  endif()
endfunction()

function(qrx_add_primitive_forms result)
  if(QRX_PORTABLE)
    set(forms ref)
  else()
    set(forms w7 v8 s8 p8 g9 h9)
  endif()
  set(objects "")
  foreach(form IN LISTS forms)
    qrx_add_form(${form})
    list(APPEND objects $<TARGET_OBJECTS:qrx_form_${form}>)
  endforeach()
  if(NOT QRX_PORTABLE)
    qrx_add_form(ref)
  endif()
  set(${result} "${objects}" PARENT_SCOPE)
endfunction()

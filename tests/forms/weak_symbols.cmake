# Fails when a form object defines a symbol that the linker may share with another form: weak
# (W, V) or unique (u). Run with -DNM=... -DOBJECTS=a.o,b.o.
string(REPLACE "," ";" objects "${OBJECTS}")
if(NOT objects)
  message(FATAL_ERROR "no objects given")
endif()
execute_process(
  COMMAND ${NM} --print-file-name ${objects}
  OUTPUT_VARIABLE symbols
  COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]* [WVu] [^\n]*" shared "${symbols}")
if(shared)
  string(REPLACE ";" "\n" shared "${shared}")
  message(FATAL_ERROR "symbols shared between forms:\n${shared}")
endif()

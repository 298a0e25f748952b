# Writes the module of `TOOL schema` to OUTPUT, leaving OUTPUT untouched when
# it already holds that text, so what is built from it is rebuilt only when
# the module changes.
execute_process(COMMAND "${TOOL}" schema OUTPUT_VARIABLE module RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${TOOL} schema failed with ${rc}")
endif()
file(WRITE "${OUTPUT}.new" "${module}")
configure_file("${OUTPUT}.new" "${OUTPUT}" COPYONLY)
file(REMOVE "${OUTPUT}.new")

# Runs GENERATOR (with the arguments GENERATOR_ARGS, a list, when given) and
# compares its output with the checked-in DOCUMENT.
execute_process(COMMAND "${GENERATOR}" ${GENERATOR_ARGS} OUTPUT_VARIABLE generated RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${GENERATOR} ${GENERATOR_ARGS} failed with ${rc}")
endif()
file(READ "${DOCUMENT}" checked_in)
if(NOT generated STREQUAL checked_in)
  message(FATAL_ERROR "${DOCUMENT} is out of date: run scripts/gen-docs.sh")
endif()

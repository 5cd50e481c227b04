# Runs KAVMATH with ARGS ('|'-separated) and checks its exit status RC, its
# exact standard output STDOUT and its standard error against STDERR (regex).
# EMULATOR ('|'-separated, may be empty) is the command that starts KAVMATH.
string(REPLACE "|" ";" args "${ARGS}")
string(REPLACE "|" ";" emulator "${EMULATOR}")
execute_process(COMMAND ${emulator} ${KAVMATH} ${args}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
set(problems "")
if(NOT rc STREQUAL RC)
  string(APPEND problems "exit status ${rc}, expected ${RC}\n")
endif()
if(NOT out STREQUAL STDOUT)
  string(APPEND problems "stdout [${out}], expected [${STDOUT}]\n")
endif()
if(NOT err MATCHES "${STDERR}")
  string(APPEND problems "stderr [${err}] does not match [${STDERR}]\n")
endif()
if(problems)
  message(FATAL_ERROR "kavmath ${args}:\n${problems}")
endif()

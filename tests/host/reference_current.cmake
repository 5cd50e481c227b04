# Fails when the committed reference DOC differs from what KAVMATH (started
# through EMULATOR, '|'-separated, may be empty) prints for the module LIB,
# leaving what it printed in OUT; or when README.md or host/kavmath.1 under
# SOURCE words the units otherwise than the reference.
string(REPLACE "|" ";" emulator "${EMULATOR}")
execute_process(COMMAND ${emulator} ${KAVMATH} --lib ${LIB} --reference
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
file(WRITE ${OUT} "${out}")
file(READ ${DOC} doc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "kavmath --reference failed with status ${rc}:\n${err}")
endif()
if(NOT out STREQUAL doc)
  message(FATAL_ERROR "${DOC} differs from what kavmath prints (${OUT}); regenerate it with\n"
                      "  build/default/host/kavmath --reference > doc/reference.md")
endif()
string(REGEX MATCH "## Units\n\n([^#]*)" units "${out}")
string(REGEX REPLACE "[ \n]+" " " units "${CMAKE_MATCH_1}")
string(STRIP "${units}" units)
foreach(file README.md host/kavmath.1)
  file(READ ${SOURCE}/${file} text)
  string(REGEX REPLACE "[ \n]+" " " text "${text}")
  string(FIND "${text}" "${units}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "${file} does not word the units as the reference does:\n${units}")
  endif()
endforeach()

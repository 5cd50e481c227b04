# Fails when the committed reference DOC differs from what KAVMATH (started
# through EMULATOR, '|'-separated, may be empty) prints for the module LIB;
# what it printed is left in OUT.
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

# Fails unless LIBRARY exports exactly the expected names: those of a LIST file, one a line, or those that a HEADER declares.
# {size_t} in the list stands for the letter of that type in mangled names, SIZE_T.
cmake_minimum_required(VERSION 3.25)

if(LIST)
  file(STRINGS ${LIST} expected)
  list(TRANSFORM expected REPLACE "{size_t}" ${SIZE_T})
else()
  file(READ ${HEADER} text)
  string(REGEX MATCHALL "PELTA_API [^;(]*" expected "${text}")
  list(TRANSFORM expected REPLACE ".*[ *]" "")
endif()

execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]+" exported "${symbols}")
list(TRANSFORM exported REPLACE ".* " "")

set(missing ${expected})
list(REMOVE_ITEM missing ${exported})
set(surplus ${exported})
list(REMOVE_ITEM surplus ${expected})
if(missing OR surplus)
  list(JOIN missing "\n  " missing)
  list(JOIN surplus "\n  " surplus)
  message(FATAL_ERROR "${LIBRARY}\nis expected to export\n  ${missing}\nand exports besides what it should\n  ${surplus}")
endif()

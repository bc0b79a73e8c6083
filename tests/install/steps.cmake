# What the tests of this folder share.
cmake_minimum_required(VERSION 3.25)


# run(output command ...): fails when the command does.
function(run output)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE text ERROR_VARIABLE text COMMAND_ECHO STDOUT)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "ended with ${result}:\n${text}")
  endif()
  set(${output} "${text}" PARENT_SCOPE)
endfunction()

# refused(pattern command ...): fails when the command does not fail, or says nothing that matches.
function(refused pattern)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE text ERROR_VARIABLE text COMMAND_ECHO STDOUT)
  if(result EQUAL 0)
    message(FATAL_ERROR "should have been refused")
  elseif(NOT text MATCHES "${pattern}")
    message(FATAL_ERROR "was refused for another reason:\n${text}")
  endif()
endfunction()

separate_arguments(cFlags UNIX_COMMAND "${C_FLAGS}")
separate_arguments(cxxFlags UNIX_COMMAND "${CXX_FLAGS}")
set(toolchain -G ${GENERATOR} -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} -DCMAKE_C_COMPILER=${C_COMPILER}
  -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER} "-DCMAKE_C_FLAGS=${C_FLAGS}"
  "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}")

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})

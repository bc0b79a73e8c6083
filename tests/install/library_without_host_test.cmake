# Builds the library for a host of its own: what host.h declares, and nothing else, is left for that host to define. Of it the
# library asks for everything but xindex.
include(${CMAKE_CURRENT_LIST_DIR}/steps.cmake)

run(output ${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build ${toolchain} -DPELTA_HOST=OFF -DPELTA_X86_LEVEL=v1
  -DCMAKE_BUILD_TYPE=Debug)
run(output ${CMAKE_COMMAND} --build ${WORK}/build --parallel 2)
run(output ${CMAKE_COMMAND} --install ${WORK}/build --prefix ${WORK}/installed)
file(GLOB_RECURSE traces ${WORK}/installed/*peltahost*)
if(traces)
  message(FATAL_ERROR "the stand-in was installed: ${traces}")
endif()
file(READ ${WORK}/installed/${LIBRARY_FOLDER}/pkgconfig/pelta.pc package)
if(package MATCHES "peltahost")
  message(FATAL_ERROR "pelta.pc names the stand-in:\n${package}")
endif()

# The system's libraries give their names versions; what has none comes from nothing that the library is linked with.
run(undefined ${NM} -D --undefined-only ${WORK}/installed/${LIBRARY_FOLDER}/libpelta.so)
string(REGEX MATCHALL " U [A-Za-z0-9_]+\n" wanted "${undefined}")
list(TRANSFORM wanted REPLACE " U ([A-Za-z0-9_]+)\n" "\\1")
file(READ ${SOURCE}/include/pelta/host.h header)
string(REGEX MATCHALL "PELTA_API [^;(]*" declared "${header}")
list(TRANSFORM declared REPLACE ".*[ *]" "")
set(unknown ${wanted})
list(REMOVE_ITEM unknown ${declared})
set(unused ${declared})
list(REMOVE_ITEM unused ${wanted} xindex)
if(unknown OR unused)
  message(FATAL_ERROR "left undefined: ${wanted}\ndeclared in host.h: ${declared}")
endif()

# Without optimisation the compiler leaves more of the standard library's templates to be exported.
run(output ${CMAKE_COMMAND} -DNM=${NM} -DLIBRARY=${WORK}/installed/${LIBRARY_FOLDER}/libpelta.so
  -DLIST=${SOURCE}/tests/exports.txt -P ${SOURCE}/tests/exports_test.cmake)

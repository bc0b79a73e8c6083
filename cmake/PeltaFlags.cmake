# Compiler settings that every target of the house shares (link pelta_flags).
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_C_FLAGS_RELEASE "-O3 -DNDEBUG" CACHE STRING "" FORCE)
set(CMAKE_CXX_FLAGS_RELEASE "-O3 -DNDEBUG" CACHE STRING "" FORCE)

# For code that is long to optimise and works for a moment only: tests, and what reads options.
set(PELTA_SHORT_WORK $<$<CONFIG:Release>:-O1> $<$<CONFIG:Sanitize>:-O0>)

add_library(pelta_flags INTERFACE)
# Every product and sum is rounded by itself: results are the same bits on every machine.
target_compile_options(pelta_flags INTERFACE -ffp-contract=off -fno-fast-math)
# Nothing reads errno after a mathematics function; without it a square root is one instruction over lanes, with the same bits.
target_compile_options(pelta_flags INTERFACE -fno-math-errno)
target_compile_definitions(pelta_flags INTERFACE _FILE_OFFSET_BITS=64 _LARGEFILE64_SOURCE)

set(warnings -Wall -Wextra -Wshadow -Wvla -Wpointer-arith)
target_compile_options(pelta_flags INTERFACE ${warnings})
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # gcc 12 sees overlaps in its own std::string concatenation.
  target_compile_options(pelta_flags INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
endif()
if(PELTA_WERROR)
  target_compile_options(pelta_flags INTERFACE -Werror)
endif()

if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # The x87 unit keeps intermediate values in extended precision; SSE rounds to the type.
  target_compile_options(pelta_flags INTERFACE -msse2 -mfpmath=sse)
endif()

if(PELTA_X86_LEVEL STREQUAL "dispatch")
  target_compile_definitions(pelta_flags INTERFACE PELTA_DISPATCH=1)
elseif(PELTA_X86_LEVEL STREQUAL "v1")
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    target_compile_options(pelta_flags INTERFACE -march=x86-64)
  endif()
else()
  target_compile_options(pelta_flags INTERFACE -march=x86-64-${PELTA_X86_LEVEL})
endif()

if(PELTA_SANITIZE)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # The sanitizers' checks make gcc see uninitialised members in variants, and at -O1 it inlines a test's own operator
    # delete without its operator new.
    target_compile_options(pelta_flags INTERFACE -Wno-maybe-uninitialized
      $<$<COMPILE_LANGUAGE:CXX>:-Wno-mismatched-new-delete>)
  endif()
  target_compile_options(pelta_flags INTERFACE -fsanitize=${PELTA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(pelta_flags INTERFACE -fsanitize=${PELTA_SANITIZE})
endif()

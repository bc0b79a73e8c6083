# pelta_unit(family/unit): registers lib/family/unit.cpp together with its test tests/lib/family/unit_test.cpp.
# A unit without a test does not configure. Tests of the inside (unit_internal_test.cpp) and long ones
# (unit_exhaustive_test.cpp) are taken along where they stand.
function(pelta_unit unit)
  set(test ${PROJECT_SOURCE_DIR}/tests/lib/${unit}_test.cpp)
  if(NOT EXISTS ${test})
    message(FATAL_ERROR "unit ${unit} has no test: write ${test}")
  endif()
  target_sources(pelta_objects PRIVATE ${unit}.cpp)
  set_property(GLOBAL APPEND PROPERTY PELTA_UNITS ${unit})
endfunction()

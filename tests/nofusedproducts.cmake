# cmake -DOBJDUMP=... -DLIBRARY=... -P nofusedproducts.cmake: fails where a library holds an instruction that multiplies and adds
# in one rounding. -ffp-contract=off does not keep gcc 12 from making one of alternating sums and differences of products, and
# then a machine that has such instructions gives other bits than one that has not.
execute_process(COMMAND ${OBJDUMP} -d --no-show-raw-insn ${LIBRARY} OUTPUT_VARIABLE code COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCH "[^\n]*vfn?m(add|sub)[^\n]*" fused "${code}")
if(fused)
  message(FATAL_ERROR "${LIBRARY} fuses a product with a sum: ${fused}")
endif()

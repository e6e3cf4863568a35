# The drivers, one for each reader, and what they share.
set(VESMARA_FUZZERS normalise format global local device_info device_map roundtrip)

# One driver. The arguments behind the name are further sources.
function(vesmara_fuzzer name)
    set(folder "${CMAKE_CURRENT_FUNCTION_LIST_DIR}")
    add_executable(fuzz_${name} "${folder}/fuzz_${name}.cpp" "${folder}/FuzzSupport.cpp" ${ARGN})
    vesmara_target(fuzz_${name})
    target_link_libraries(fuzz_${name} PRIVATE ConfigLib)
endfunction()

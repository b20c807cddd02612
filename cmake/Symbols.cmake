# quorline_part_symbols(<target>...)
# In what ships, the symbols stand in a file of their own beside the program or DLL, which names it: debuggers find it,
# and nobody else has to map it. For debugging builds everything stays in one file.
function(quorline_part_symbols)
    if(NOT CMAKE_BUILD_TYPE STREQUAL "Release")
        return()
    endif()
    foreach(target IN LISTS ARGN)
        add_custom_command(TARGET ${target} POST_BUILD
            COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}> $<TARGET_FILE:${target}>.debug
            COMMAND ${CMAKE_OBJCOPY} --strip-debug --strip-unneeded
                    --add-gnu-debuglink=$<TARGET_FILE:${target}>.debug $<TARGET_FILE:${target}>
            VERBATIM)
    endforeach()
endfunction()

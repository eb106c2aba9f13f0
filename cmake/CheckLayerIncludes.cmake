# Fails when a target's sources include a header from a src/ folder it does not link. Every
# library's include root is src/, so the compiler alone would let a lower layer reach up.
#   cmake -DSCOPE=<file setting TARGET, LAYERS, ALLOWED, FILES> -DSTAMP=<file> -P CheckLayerIncludes.cmake
cmake_minimum_required(VERSION 3.21)
include(${SCOPE})

set(complaints "")
foreach(source IN LISTS FILES)
    file(STRINGS ${source} includes REGEX "^[ \t]*#[ \t]*include[ \t]*[\"<][a-z_]+/")
    foreach(line IN LISTS includes)
        string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*[\"<]([a-z_]+)/.*" "\\1" folder "${line}")
        if(folder IN_LIST LAYERS AND NOT folder IN_LIST ALLOWED)
            string(APPEND complaints "\n  ${source}: ${line}")
        endif()
    endforeach()
endforeach()

if(complaints)
    list(JOIN ALLOWED ", " allowed)
    message(FATAL_ERROR "${TARGET} includes from a layer it does not link (it links: ${allowed}):${complaints}")
endif()
file(TOUCH ${STAMP})

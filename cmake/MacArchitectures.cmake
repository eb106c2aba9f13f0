# Which architectures the Mac build makes: both when the Qt in use is universal, else Qt's own.
#
# Detected, not an option: a universal app can only link against a universal Qt, and a universal
# Qt (the online installer's) should give a universal app without anyone remembering a switch.
# Homebrew's Qt holds one architecture, so a build against it stays single-architecture instead
# of failing at link time. -DCMAKE_OSX_ARCHITECTURES=… on the command line still wins.
if(CMAKE_OSX_ARCHITECTURES)
    message(STATUS "macOS architectures: ${CMAKE_OSX_ARCHITECTURES} (given)")
    return()
endif()

find_program(TARNWICK_LIPO lipo)
get_target_property(_qtcore_binary Qt6::Core LOCATION)
set(_qt_archs "")
if(TARNWICK_LIPO AND _qtcore_binary)
    execute_process(COMMAND "${TARNWICK_LIPO}" -archs "${_qtcore_binary}"
                    OUTPUT_VARIABLE _qt_archs OUTPUT_STRIP_TRAILING_WHITESPACE
                    RESULT_VARIABLE _lipo_result ERROR_QUIET)
    if(NOT _lipo_result EQUAL 0)
        set(_qt_archs "")
    endif()
endif()
separate_arguments(_qt_archs UNIX_COMMAND "${_qt_archs}")

if("arm64" IN_LIST _qt_archs AND "x86_64" IN_LIST _qt_archs)
    # Set before any target exists, so every target (and its OSX_ARCHITECTURES) takes it.
    set(CMAKE_OSX_ARCHITECTURES "arm64;x86_64")
    message(STATUS "macOS architectures: arm64;x86_64 (Qt is universal)")
else()
    message(STATUS "macOS architectures: this Mac's only; Qt holds '${_qt_archs}' (${_qtcore_binary})")
endif()
unset(_qtcore_binary)
unset(_qt_archs)
unset(_lipo_result)

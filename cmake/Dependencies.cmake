# Imported targets for the libraries that scripts/deps/build-deps.sh puts into QUORLINE_DEPS:
#   Quorline::log4cxx  Quorline::expat  Quorline::json  Quorline::cli11
#   Quorline::gtest  Quorline::gtest_main  Quorline::gmock  Quorline::benchmark
# and QUORLINE_RUNTIME_DLLS, the DLLs to ship beside every program.
set(QUORLINE_DEPS ${PROJECT_SOURCE_DIR}/build/deps CACHE PATH "Prefix with the cross-built dependencies")
if(NOT EXISTS ${QUORLINE_DEPS}/.stamp)
    message(FATAL_ERROR "No dependencies in ${QUORLINE_DEPS}: run `make deps` first.")
endif()

function(_quorline_header_only name)
    add_library(Quorline::${name} INTERFACE IMPORTED GLOBAL)
    set_target_properties(Quorline::${name} PROPERTIES
        INTERFACE_SYSTEM_INCLUDE_DIRECTORIES ${QUORLINE_DEPS}/include
        INTERFACE_INCLUDE_DIRECTORIES ${QUORLINE_DEPS}/include)
endfunction()

function(_quorline_static name archive)
    add_library(Quorline::${name} STATIC IMPORTED GLOBAL)
    set_target_properties(Quorline::${name} PROPERTIES
        IMPORTED_LOCATION ${QUORLINE_DEPS}/lib/${archive}
        INTERFACE_INCLUDE_DIRECTORIES ${QUORLINE_DEPS}/include)
endfunction()

add_library(Quorline::log4cxx SHARED IMPORTED GLOBAL)
set_target_properties(Quorline::log4cxx PROPERTIES
    IMPORTED_LOCATION ${QUORLINE_DEPS}/bin/log4cxx.dll
    IMPORTED_IMPLIB ${QUORLINE_DEPS}/lib/liblog4cxx.dll.a
    INTERFACE_INCLUDE_DIRECTORIES ${QUORLINE_DEPS}/include)

_quorline_static(expat libexpat.a)
set_target_properties(Quorline::expat PROPERTIES INTERFACE_COMPILE_DEFINITIONS "XML_STATIC;XML_UNICODE_WCHAR_T")

_quorline_static(gtest libgtest.a)
_quorline_static(gtest_main libgtest_main.a)
set_target_properties(Quorline::gtest_main PROPERTIES INTERFACE_LINK_LIBRARIES Quorline::gtest)
_quorline_static(gmock libgmock.a)
set_target_properties(Quorline::gmock PROPERTIES INTERFACE_LINK_LIBRARIES Quorline::gtest)

_quorline_static(benchmark libbenchmark.a)
set_target_properties(Quorline::benchmark PROPERTIES
    INTERFACE_COMPILE_DEFINITIONS BENCHMARK_STATIC_DEFINE INTERFACE_LINK_LIBRARIES shlwapi)

_quorline_header_only(json)
_quorline_header_only(cli11)

set(QUORLINE_RUNTIME_DLLS
    ${QUORLINE_DEPS}/bin/log4cxx.dll
    ${QUORLINE_DEPS}/bin/libstdc++-6.dll
    ${QUORLINE_DEPS}/bin/libgcc_s_seh-1.dll
    ${QUORLINE_DEPS}/bin/libwinpthread-1.dll)

# Where they are copied to has to be a folder before the first of them comes.
if(CMAKE_RUNTIME_OUTPUT_DIRECTORY AND NOT IS_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    file(REMOVE ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    file(MAKE_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
endif()

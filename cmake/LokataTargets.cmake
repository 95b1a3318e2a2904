# What every target of this tree is built with. All of it is private to the build:
# nothing here reaches a client of the installed package.

find_program(LOKATA_CCACHE ccache)
if(LOKATA_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${LOKATA_CCACHE}")
endif()

function(lokata_private_warnings target)
    target_compile_options(${target} PRIVATE
        # Log lines name source files from the top of the tree, wherever it lies.
        -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=
        -Wall -Wextra -Wpedantic -Wshadow -Wold-style-cast -Woverloaded-virtual
        -Wnon-virtual-dtor -Wcast-qual -Wformat=2 -Wimplicit-fallthrough -Werror)
endfunction()

# The test programs that belong into the ThreadSanitizer run.
add_custom_target(threaded-tests)

# lokata_add_tests(NAME SOURCES a.cpp ... LIBRARIES x ... [LABELS threads])
# One GoogleTest program, its cases known to ctest one by one. The label "threads" puts a
# program into the ThreadSanitizer run.
function(lokata_add_tests name)
    if(NOT LOKATA_BUILD_TESTS)
        return()
    endif()
    cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES;LABELS" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    lokata_private_warnings(${name})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/platform/tests/support)
    target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gmock_main)
    set(properties TIMEOUT 300)
    if(arg_LABELS)
        list(APPEND properties LABELS "${arg_LABELS}")
        if("threads" IN_LIST arg_LABELS)
            add_dependencies(threaded-tests ${name})
        endif()
    endif()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST TEST_PREFIX "${name}." PROPERTIES ${properties})
endfunction()

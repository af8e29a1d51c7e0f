# Functions that make the tests. One program is one test of ctest.
#
#   ztk_add_test(<name> <sources>...)        against the shipped library
#   ztk_add_fault_test(<name> <sources>...)  against the variant whose memory can be refused; run three
#                                            times over, and fails if more and more stays behind

if(WIN32)
    # There are no prebuilt ones for this compiler; Debian ships the sources.
    set(ZTK_GTEST_SOURCES /usr/src/googletest CACHE PATH "Sources of GoogleTest for the Windows builds")
    set(BUILD_GMOCK OFF)
    set(INSTALL_GTEST OFF)
    set(BUILD_SHARED_LIBS OFF)
    add_subdirectory(${ZTK_GTEST_SOURCES} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
else()
    find_package(GTest REQUIRED)
endif()

# What every test links beside the library under test.
add_library(ztk_test_support OBJECT ${PROJECT_SOURCE_DIR}/tests/support/text.cpp)
if(NOT WIN32)
    target_sources(ztk_test_support PRIVATE
        ${PROJECT_SOURCE_DIR}/tests/support/name_server_posix.cpp
        ${PROJECT_SOURCE_DIR}/tests/support/watchdog_posix.cpp)
endif()
target_include_directories(ztk_test_support PUBLIC ${PROJECT_SOURCE_DIR}/tests)
target_link_libraries(ztk_test_support PUBLIC ztk_build_flags ztk_wide_text GTest::gtest_main)

# What a program of three rounds links beside.
add_library(ztk_leak_watch OBJECT
    ${PROJECT_SOURCE_DIR}/tests/support/leak_watch.cpp
    ${PROJECT_SOURCE_DIR}/tests/support/open_handles_$<IF:$<BOOL:${WIN32}>,windows,posix>.cpp)
target_include_directories(ztk_leak_watch PRIVATE ${PROJECT_SOURCE_DIR}/include)
target_link_libraries(ztk_leak_watch PUBLIC ztk_test_support)

# Windows tests share one Wine prefix. It is made before the first of them, because programs that start
# at the same time in a missing prefix get in each other's way.
set(ztk_test_properties TIMEOUT 120)
if(WIN32 AND CMAKE_CROSSCOMPILING)
    set(ztk_wine_environment ENVIRONMENT WINEPREFIX=${PROJECT_BINARY_DIR}/wine)
    list(APPEND ztk_test_properties FIXTURES_REQUIRED wine ${ztk_wine_environment})
    foreach(step IN ITEMS SETUP CLEANUP)
        string(TOLOWER ${step} verb)
        add_test(NAME wine_${verb} COMMAND ${PROJECT_SOURCE_DIR}/scripts/wine-run --${verb})
        set_tests_properties(wine_${verb} PROPERTIES
            TIMEOUT 300 FIXTURES_${step} wine ${ztk_wine_environment})
    endforeach()
endif()

function(ztk_add_test_program name library)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE ${library} ztk_test_support)
    add_test(NAME ${name} COMMAND ${name} ${test_arguments})
    set_tests_properties(${name} PROPERTIES ${ztk_test_properties})
endfunction()

function(ztk_add_test name)
    ztk_add_test_program(${name} ZTK::AgentLib ${ARGN})
endfunction()

function(ztk_add_fault_test name)
    set(test_arguments --gtest_repeat=3 --gtest_recreate_environments_when_repeating)
    ztk_add_test_program(${name} ZtkAgentLibFaulty ${ARGN})
    target_link_libraries(${name} PRIVATE ztk_leak_watch)
endfunction()

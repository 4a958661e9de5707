# Shared helpers for the project's targets.
include(GoogleTest)
find_package(GTest REQUIRED)

# lm_add_test(<name> SOURCES ... [LIBS ...] [LABELS ...])
# One gtest executable; its cases are discovered into CTest.
function(lm_add_test name)
    cmake_parse_arguments(T "" "" "SOURCES;LIBS;LABELS" ${ARGN})
    add_executable(${name} ${T_SOURCES})
    target_link_libraries(${name} PRIVATE ${T_LIBS} lm_testkit GTest::gtest_main GTest::gmock)
    set(labels unit ${T_LABELS})
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS "${labels}")
endfunction()

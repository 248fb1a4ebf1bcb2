include(GoogleTest)

# The main of every test executable: each process works in a temporary folder of its own.
function(vantor_test_main_library)
  if(NOT TARGET vantor_test_main)
    add_library(vantor_test_main STATIC ${PROJECT_SOURCE_DIR}/tests/support/TestMain.cpp)
    vantor_target(vantor_test_main)
    target_link_libraries(vantor_test_main PUBLIC GTest::gtest)
  endif()
endfunction()

# vantor_add_test(NAME SOURCES src... LIBS lib...)
# One GoogleTest executable; every test runs in its own process (process-wide caches start
# fresh). In the Windows build the tests run under Wine through CMAKE_CROSSCOMPILING_EMULATOR.
function(vantor_add_test name)
  cmake_parse_arguments(T "" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  vantor_target(${name})
  vantor_test_main_library()
  target_link_libraries(${name} PRIVATE ${T_LIBS} GTest::gtest GTest::gmock vantor_test_main Threads::Threads)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support)
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 120)
  endif()
  gtest_discover_tests(${name}
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT ${T_TIMEOUT} LABELS "${T_LABELS}")
endfunction()

# vantor_add_fuzzer(NAME SOURCES src... LIBS lib...): a libFuzzer target (fuzz preset, clang).
function(vantor_add_fuzzer name)
  cmake_parse_arguments(F "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${F_SOURCES})
  vantor_target(${name})
  target_compile_options(${name} PRIVATE -fsanitize=fuzzer,address,undefined)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer,address,undefined)
  target_link_libraries(${name} PRIVATE ${F_LIBS})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support)
  set_property(GLOBAL APPEND PROPERTY VANTOR_FUZZERS ${name})
endfunction()

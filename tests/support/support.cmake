# hotspot_module_test(name sources... [LABELS labels...]): one test program around the module's own
# objects, with the scripted host of this folder.

include_guard(GLOBAL)

# Emulated machines are slow.
set(HOTSPOT_TEST_SECONDS 60)
if(CMAKE_CROSSCOMPILING)
  set(HOTSPOT_TEST_SECONDS 600)
endif()

add_library(hotspot-test-support OBJECT
  ${CMAKE_CURRENT_LIST_DIR}/fake_host.cc
  ${CMAKE_CURRENT_LIST_DIR}/messages.cc
  ${CMAKE_CURRENT_LIST_DIR}/page_dir.cc
  ${CMAKE_CURRENT_LIST_DIR}/system.cc
  ${CMAKE_CURRENT_LIST_DIR}/visit.cc)
hotspot_flags(hotspot-test-support)

function(hotspot_module_test name)
  cmake_parse_arguments(PARSE_ARGV 1 test "" "" LABELS)
  add_executable(${name} ${test_UNPARSED_ARGUMENTS})
  hotspot_flags(${name})
  target_link_libraries(${name} PRIVATE
    hotspot-test-support hotspot-objects hotspot-platform GTest::gtest GTest::gtest_main)
  set(properties TIMEOUT ${HOTSPOT_TEST_SECONDS})
  if(test_LABELS)
    list(APPEND properties LABELS "${test_LABELS}")
  endif()
  gtest_discover_tests(${name} PROPERTIES ${properties})
endfunction()

# The same with the module's system calls going through wrapped_system.h.
function(hotspot_wrapped_module_test name)
  hotspot_module_test(${name} ${PROJECT_SOURCE_DIR}/tests/support/wrapped_system.cc ${ARGN})
  foreach(call open open64 mmap mmap64 munmap close pthread_mutex_lock pthread_mutex_unlock malloc free)
    target_link_options(${name} PRIVATE -Wl,--wrap=${call})
  endforeach()
endfunction()

# zx_add_test_module(name SOURCES ... LIBS ...): one GoogleTest executable per module.
include(GoogleTest)
find_package(GTest REQUIRED)

function(zx_add_test_module name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} zx_test_support GTest::gtest GTest::gtest_main zx_flags)
  target_compile_definitions(${name} PRIVATE ZX_BINARY_DIR="${CMAKE_BINARY_DIR}"
                                             ZX_SOURCE_DIR="${CMAKE_SOURCE_DIR}")
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 600)
  # Cases instantiated under the prefix Long (Long/Suite.Test/row) run only on request.
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/${name}_long_label.cmake
       "foreach(test \${${name}_TESTS})\n"
       "  if(test MATCHES \"^Long/\")\n"
       "    set_tests_properties(\${test} PROPERTIES LABELS long)\n"
       "  endif()\n"
       "endforeach()\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES
               ${CMAKE_CURRENT_BINARY_DIR}/${name}_long_label.cmake)
endfunction()

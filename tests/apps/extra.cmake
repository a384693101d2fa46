# Tests of the `tarvo` runner: its option parsing in process, and the program itself run as a
# child process (virtual time, so nothing waits in real time).
if(TARGET tarvo_app)
  set(runner_test apps_tarvo_runner_test)
  add_executable(${runner_test} ${CMAKE_CURRENT_LIST_DIR}/tarvo_runner_test.cpp)
  target_include_directories(${runner_test} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${runner_test} PRIVATE tarvo_runner GTest::gtest GTest::gtest_main)
  set_target_properties(${runner_test} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  # The test plug-ins are made by tests/host/extra.cmake.
  add_dependencies(${runner_test} tarvo_app testplugin testplugin_notag)
  target_compile_definitions(${runner_test} PRIVATE
    TARVO_PROGRAM="$<TARGET_FILE:tarvo_app>"
    TARVO_LIBRARY_PATH="$<TARGET_FILE:tarvo>"
    TEST_PLUGIN_PATH="$<TARGET_FILE:testplugin>"
    TEST_PLUGIN_NOTAG_PATH="$<TARGET_FILE:testplugin_notag>"
    EXAMPLES_DIR="${PROJECT_SOURCE_DIR}/examples")
  gtest_discover_tests(${runner_test} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS apps)
endif()

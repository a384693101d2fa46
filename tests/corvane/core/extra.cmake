# The plug-in test loads libcorvane.so by path, as the platform does.
if(TARGET corvane_plugin_load_test)
  target_compile_definitions(corvane_plugin_load_test PRIVATE
    CORVANE_PLUGIN_PATH="$<TARGET_FILE:corvane>")
endif()

# The recording tests run the module against the simulated transmitter and compare the line's
# transcript with the golden files beside them.
if(TARGET corvane_recording_test AND TARGET corvane_sim)
  target_link_libraries(corvane_recording_test PRIVATE corvane_sim)
  target_compile_definitions(corvane_recording_test PRIVATE
    CORVANE_GOLDEN_DIR="${CMAKE_CURRENT_LIST_DIR}/golden")
endif()

# The formats' golden messages sit beside their test.
if(TARGET corvane_format_golden_test)
  target_compile_definitions(corvane_format_golden_test PRIVATE
    FORMAT_GOLDEN_DIR="${PROJECT_SOURCE_DIR}/tests/corvane/formats/golden")
endif()

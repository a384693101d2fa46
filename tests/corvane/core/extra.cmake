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

# The plug-in test loads libcorvane.so by path, as the platform does.
if(TARGET core_plugin_load_test)
  target_compile_definitions(core_plugin_load_test PRIVATE
    CORVANE_PLUGIN_PATH="$<TARGET_FILE:corvane>")
endif()

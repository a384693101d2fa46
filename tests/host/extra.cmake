# The host's test plug-ins: a tiny plug-in, and the same without GetSetupTag. They are built
# into tests/plugins, away from bin/, so that `tarvo` never loads them by default.
if(TARGET tarvo)
  set(plugin_src ${CMAKE_CURRENT_LIST_DIR}/plugin/test_plugin.cpp)
  foreach(variant testplugin testplugin_notag)
    add_library(${variant} MODULE ${plugin_src})
    target_include_directories(${variant} PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(${variant} PRIVATE tarvo)
    set_target_properties(${variant} PROPERTIES PREFIX "lib"
                          LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests/plugins)
  endforeach()
  target_compile_definitions(testplugin_notag PRIVATE TEST_PLUGIN_WITHOUT_SETUP_TAG)

  foreach(test host_engine_test)
    if(TARGET ${test})
      add_dependencies(${test} testplugin testplugin_notag)
      target_compile_definitions(${test} PRIVATE
        TEST_PLUGIN_PATH="$<TARGET_FILE:testplugin>"
        TEST_PLUGIN_NOTAG_PATH="$<TARGET_FILE:testplugin_notag>"
        TARVO_LIBRARY_PATH="$<TARGET_FILE:tarvo>")
    endif()
  endforeach()
endif()

# The operator-interface tests run the module against the simulated transmitter, and load it
# into the engine by path, as the platform does, so that recording stops and starts through it.
foreach(test corvane_maintenance_dialogs_test corvane_control_panel_test
             corvane_front_panel_menu_test)
  if(TARGET ${test} AND TARGET corvane_sim)
    target_link_libraries(${test} PRIVATE corvane_sim)
    target_compile_definitions(${test} PRIVATE CORVANE_PLUGIN_PATH="$<TARGET_FILE:corvane>")
  endif()
endforeach()

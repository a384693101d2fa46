# Tests of the programs: the `tarvo` runner's option parsing and summaries in process, the
# program itself run as a child process (virtual time, so nothing waits in real time), and one
# run in real time against corvane-sim on a pseudo-terminal.
if(TARGET tarvo_app)
  set(apps_support ${CMAKE_CURRENT_LIST_DIR}/support/child_process.cpp)

  # tests/apps/NAME.cpp as the gtest program apps_NAME, with the programs' paths compiled in.
  function(tarvo_app_test name)
    set(target apps_${name})
    add_executable(${target} ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/${name}.cpp ${apps_support})
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(${target} PRIVATE tarvo_runner GTest::gtest GTest::gmock
                                            GTest::gtest_main)
    set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    # The test plug-ins are made by tests/host/extra.cmake; the Corvane plug-in is the one
    # installed beside tarvo.
    add_dependencies(${target} tarvo_app corvane testplugin testplugin_notag)
    if(TARGET corvane-sim)
      add_dependencies(${target} corvane-sim)
    endif()
    target_compile_definitions(${target} PRIVATE
      TARVO_PROGRAM="$<TARGET_FILE:tarvo_app>"
      TARVO_LIBRARY_PATH="$<TARGET_FILE:tarvo>"
      CORVANE_SIM_PROGRAM="${CMAKE_BINARY_DIR}/bin/corvane-sim"
      TEST_PLUGIN_PATH="$<TARGET_FILE:testplugin>"
      TEST_PLUGIN_NOTAG_PATH="$<TARGET_FILE:testplugin_notag>"
      EXAMPLES_DIR="${PROJECT_SOURCE_DIR}/examples"
      APPS_GOLDEN_DIR="${CMAKE_CURRENT_FUNCTION_LIST_DIR}/golden")
  endfunction()

  tarvo_app_test(tarvo_runner_test)
  gtest_discover_tests(apps_tarvo_runner_test DISCOVERY_TIMEOUT 60 PROPERTIES LABELS apps)
  tarvo_app_test(river_gauge_golden_test)
  gtest_discover_tests(apps_river_gauge_golden_test DISCOVERY_TIMEOUT 60 PROPERTIES LABELS apps)
  tarvo_app_test(tide_station_golden_test)
  gtest_discover_tests(apps_tide_station_golden_test DISCOVERY_TIMEOUT 60 PROPERTIES LABELS apps)
  tarvo_app_test(run_summary_test)
  gtest_discover_tests(apps_run_summary_test DISCOVERY_TIMEOUT 60 PROPERTIES LABELS apps)
  tarvo_app_test(exchange_watch_test)
  gtest_discover_tests(apps_exchange_watch_test DISCOVERY_TIMEOUT 60 PROPERTIES LABELS apps)
  # Thirty simulated days on a line with faults: one run serves all of its tests, so the program
  # is one test here rather than one per case.
  tarvo_app_test(tarvo_check_test)
  gtest_discover_tests(apps_tarvo_check_test DISCOVERY_TIMEOUT 60 PROPERTIES LABELS apps)
  tarvo_app_test(soak_test)
  add_test(NAME apps_ThirtySimulatedDaysOnAFaultyLine COMMAND apps_soak_test)
  set_tests_properties(apps_ThirtySimulatedDaysOnAFaultyLine PROPERTIES LABELS apps TIMEOUT 600)
  # A real-time run takes its --for of real time by design (the point is the real port), hence
  # the label, so that a quick pass can leave it out with `ctest -LE realtime`. (One label only:
  # a list would not survive being passed on as test properties.)
  add_test(NAME apps_SameSimulatedDayRunTwiceGivesTheSameTranscriptLogAndSummary
           COMMAND ${CMAKE_COMMAND} -DTARVO=$<TARGET_FILE:tarvo_app>
                   -DSETUP=${PROJECT_SOURCE_DIR}/examples/river-gauge.xml
                   -DWORK=${CMAKE_BINARY_DIR}/tests/same-day-twice
                   -P ${CMAKE_CURRENT_LIST_DIR}/same_day_twice.cmake)
  set_tests_properties(apps_SameSimulatedDayRunTwiceGivesTheSameTranscriptLogAndSummary
                       PROPERTIES LABELS apps)
  # The flood day: the group's alarm at 10:00 reported within the minute, and the same bytes
  # twice.
  add_test(NAME apps_TheFloodDayReportsItsAlarmTheSameWayTwice
           COMMAND ${CMAKE_COMMAND} -DTARVO=$<TARGET_FILE:tarvo_app>
                   -DSETUP=${PROJECT_SOURCE_DIR}/examples/flood-day.xml -DFOR=25h
                   "-DEXPECT=2026-03-01 10:00:45  random           channel  77  sent \"FLD@@J|@CH@CH\""
                   -DWORK=${CMAKE_BINARY_DIR}/tests/flood-day-twice
                   -P ${CMAKE_CURRENT_LIST_DIR}/same_day_twice.cmake)
  set_tests_properties(apps_TheFloodDayReportsItsAlarmTheSameWayTwice PROPERTIES LABELS apps)
  # Bad input at the shell: exit statuses and the first line of each message.
  if(TARGET corvane-sim)
    add_test(NAME apps_BadInputGivesClearMessagesAndExitStatuses
             COMMAND bash ${CMAKE_CURRENT_LIST_DIR}/error_cases.sh $<TARGET_FILE:tarvo_app>
                     $<TARGET_FILE:corvane-sim> ${PROJECT_SOURCE_DIR}/examples)
    set_tests_properties(apps_BadInputGivesClearMessagesAndExitStatuses PROPERTIES LABELS apps)
  endif()
  tarvo_app_test(tarvo_realtime_test)
  gtest_discover_tests(apps_tarvo_realtime_test DISCOVERY_TIMEOUT 60
                       PROPERTIES LABELS realtime TIMEOUT 300)
endif()

# `tarvo call` against the in-process simulator, and a simulated day with a second plug-in that
# takes over the Corvane module's messages through its exported SetBasicHook.
if(TARGET tarvo_app)
  add_library(messagehookplugin MODULE ${CMAKE_CURRENT_LIST_DIR}/plugin/message_hook_plugin.cpp)
  target_include_directories(messagehookplugin PRIVATE ${PROJECT_SOURCE_DIR})
  # A folder of its own: the host's plug-in tests count what tests/plugins holds.
  set_target_properties(messagehookplugin PROPERTIES PREFIX "lib"
                        LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests/hook-plugin)
  tarvo_app_test(tarvo_call_test)
  add_dependencies(apps_tarvo_call_test messagehookplugin)
  target_compile_definitions(apps_tarvo_call_test PRIVATE
    CORVANE_PLUGIN_PATH="$<TARGET_FILE:corvane>"
    HOOK_PLUGIN_PATH="$<TARGET_FILE:messagehookplugin>")
  gtest_discover_tests(apps_tarvo_call_test DISCOVERY_TIMEOUT 60 PROPERTIES LABELS apps)
endif()

# `tarvo panel` at a terminal: tmux (installed by scripts/install-deps) gives it one of 80x24.
if(TARGET tarvo_app)
  tarvo_app_test(tarvo_panel_test)
  target_sources(apps_tarvo_panel_test PRIVATE ${CMAKE_CURRENT_LIST_DIR}/support/tmux_screen.cpp)
  gtest_discover_tests(apps_tarvo_panel_test DISCOVERY_TIMEOUT 60 PROPERTIES LABELS apps)
endif()

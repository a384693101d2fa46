# The program test runs the corvane-sim binary as a child, as the programs' tests run theirs;
# the fuzz target needs clang's libFuzzer.
if(TARGET sim_program_test AND TARGET corvane-sim)
  add_dependencies(sim_program_test corvane-sim)
  target_sources(sim_program_test PRIVATE ${PROJECT_SOURCE_DIR}/tests/apps/support/child_process.cpp)
  target_compile_definitions(sim_program_test PRIVATE
                             CORVANE_SIM_PATH="$<TARGET_FILE:corvane-sim>")
endif()

if(TARVO_BUILD_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(WARNING "TARVO_BUILD_FUZZ needs clang; the simulator's fuzz target is not built")
  else()
    # The model alone, without the host faces, so that the target needs nothing but itself.
    file(GLOB sim_model_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/sim/model/*.cpp
         ${PROJECT_SOURCE_DIR}/sim/wire/*.cpp)
    add_executable(sim_fuzz ${CMAKE_CURRENT_LIST_DIR}/fuzz/transmitter_fuzz.cpp
                            ${sim_model_sources})
    target_include_directories(sim_fuzz PRIVATE ${PROJECT_SOURCE_DIR})
    target_compile_options(sim_fuzz PRIVATE -O1 -fsanitize=fuzzer,address,undefined)
    target_link_options(sim_fuzz PRIVATE -fsanitize=fuzzer,address,undefined)
    set_target_properties(sim_fuzz PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz)
  endif()
endif()

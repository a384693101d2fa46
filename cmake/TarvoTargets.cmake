# Targets are made from the files present, so that each folder's owner adds files without
# touching a shared list. CONFIGURE_DEPENDS re-globs on every build.

# tarvo_glob_library(NAME TYPE DIR...): a library of every .cpp under the given folders.
# No target is made while the folders hold no source yet.
function(tarvo_glob_library name type)
  set(globs)
  foreach(dir ${ARGN})
    list(APPEND globs ${PROJECT_SOURCE_DIR}/${dir}/*.cpp)
  endforeach()
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${globs})
  if(sources)
    add_library(${name} ${type} ${sources})
  endif()
endfunction()

# tarvo_glob_tests(AREA LIBS...): one test program per *_test.cpp anywhere under tests/AREA/
# (the folders mirror the tree), named AREA_<name>_test; files in any support/ folder under
# tests/AREA/ are shared by that area's tests.
function(tarvo_glob_tests area)
  set(dir ${PROJECT_SOURCE_DIR}/tests/${area})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${dir}/*.cpp)
  set(tests ${sources})
  list(FILTER tests INCLUDE REGEX "_test\\.cpp$")
  set(support ${sources})
  list(FILTER support INCLUDE REGEX "/support/[^/]*\\.cpp$")
  foreach(src ${tests})
    get_filename_component(stem ${src} NAME_WE)
    set(target ${area}_${stem})
    add_executable(${target} ${src} ${support})
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${target} PRIVATE ${ARGN} GTest::gtest GTest::gmock GTest::gtest_main)
    set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    gtest_discover_tests(${target} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS ${area})
  endforeach()
endfunction()

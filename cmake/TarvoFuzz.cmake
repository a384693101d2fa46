# Fuzz targets of the readers, and the corpus replay that runs their seeds in every build.
#
# tarvo_fuzz_target(NAME SOURCE): with TARVO_BUILD_FUZZ and clang, the libFuzzer program NAME
# (in <build>/fuzz) from SOURCE, which defines LLVMFuzzerTestOneInput, linked against
# instrumented static copies of the host and the module, so that coverage reaches into both.
#
# tarvo_fuzz_replay(TEST NAME SOURCE LIBS...): compiles SOURCE into the gtest program TEST
# with its entry point renamed to NAME (so that several targets link into one program), without
# libFuzzer: an ordinary compile that each preset's sanitizers apply to.
include_guard(GLOBAL)

function(tarvo_fuzz_libraries)
  if(TARGET tarvo_fuzz_host)
    return()
  endif()
  # The module and the host go in as they are, only instrumented: a crash in a reader is a
  # crash in the code that ships.
  tarvo_glob_library(tarvo_fuzz_host STATIC host)
  tarvo_glob_library(tarvo_fuzz_corvane STATIC corvane)
  target_link_libraries(tarvo_fuzz_host PUBLIC tarvo_platform Threads::Threads LibXml2::LibXml2
                                               ${NCURSESW_LIBRARY} ${TINFO_LIBRARY}
                                               ${CMAKE_DL_LIBS})
  target_link_libraries(tarvo_fuzz_corvane PUBLIC tarvo_fuzz_host)
  foreach(lib tarvo_fuzz_host tarvo_fuzz_corvane)
    target_compile_options(${lib} PRIVATE -O1 -g -fsanitize=fuzzer-no-link,address,undefined
                                          -fno-sanitize-recover=all)
    set_target_properties(${lib} PROPERTIES ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz/lib)
  endforeach()
endfunction()

function(tarvo_fuzz_target name source)
  if(NOT TARVO_BUILD_FUZZ)
    return()
  endif()
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(WARNING "TARVO_BUILD_FUZZ needs clang; the fuzz target ${name} is not built")
    return()
  endif()
  tarvo_fuzz_libraries()
  add_executable(${name} ${source})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE tarvo_fuzz_corvane)
  target_compile_options(${name} PRIVATE -O1 -g -fsanitize=fuzzer,address,undefined
                                         -fno-sanitize-recover=all)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer,address,undefined)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz)
endfunction()

function(tarvo_fuzz_replay test name source)
  if(NOT TARGET ${test})
    return()
  endif()
  set(object ${test}_${name})
  add_library(${object} OBJECT ${source})
  target_include_directories(${object} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${object} PRIVATE ${ARGN})
  target_compile_definitions(${object} PRIVATE LLVMFuzzerTestOneInput=${name})
  target_link_libraries(${test} PRIVATE ${object})
endfunction()

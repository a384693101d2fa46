# The module's readers as libFuzzer targets (built with TARVO_BUILD_FUZZ and clang; scripts/fuzz
# runs them), and the replay of every target's seed corpus in every build, the host's targets
# included: this area's tests link both the module and the host.
include(${PROJECT_SOURCE_DIR}/cmake/TarvoFuzz.cmake)
tarvo_fuzz_target(setup_fuzz ${CMAKE_CURRENT_LIST_DIR}/setup_fuzz.cpp)
tarvo_fuzz_target(reply_fuzz ${CMAKE_CURRENT_LIST_DIR}/reply_fuzz.cpp)
tarvo_fuzz_target(nos_table_fuzz ${CMAKE_CURRENT_LIST_DIR}/nos_table_fuzz.cpp)

set(host_fuzz ${PROJECT_SOURCE_DIR}/tests/host/fuzz)
tarvo_fuzz_replay(corvane_corpus_replay_test SetupFuzzOneInput
                  ${CMAKE_CURRENT_LIST_DIR}/setup_fuzz.cpp corvane tarvo)
tarvo_fuzz_replay(corvane_corpus_replay_test ReplyFuzzOneInput
                  ${CMAKE_CURRENT_LIST_DIR}/reply_fuzz.cpp corvane tarvo)
tarvo_fuzz_replay(corvane_corpus_replay_test NosTableFuzzOneInput
                  ${CMAKE_CURRENT_LIST_DIR}/nos_table_fuzz.cpp corvane tarvo)
tarvo_fuzz_replay(corvane_corpus_replay_test CsvSourceFuzzOneInput
                  ${host_fuzz}/csv_source_fuzz.cpp tarvo)
tarvo_fuzz_replay(corvane_corpus_replay_test TimeTextFuzzOneInput
                  ${host_fuzz}/time_text_fuzz.cpp tarvo)
if(TARGET corvane_corpus_replay_test)
  target_compile_definitions(corvane_corpus_replay_test PRIVATE
    SETUP_CORPUS="${CMAKE_CURRENT_LIST_DIR}/corpus/setup"
    REPLY_CORPUS="${CMAKE_CURRENT_LIST_DIR}/corpus/reply"
    NOS_TABLE_CORPUS="${CMAKE_CURRENT_LIST_DIR}/corpus/nos_table"
    CSV_SOURCE_CORPUS="${host_fuzz}/corpus/csv_source"
    TIME_TEXT_CORPUS="${host_fuzz}/corpus/time_text")
endif()

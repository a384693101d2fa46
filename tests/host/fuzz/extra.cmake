# The host's readers as libFuzzer targets (built with TARVO_BUILD_FUZZ and clang; scripts/fuzz
# runs them). Their seed corpora are replayed by corvane_corpus_replay_test.
include(${PROJECT_SOURCE_DIR}/cmake/TarvoFuzz.cmake)
tarvo_fuzz_target(time_text_fuzz ${CMAKE_CURRENT_LIST_DIR}/time_text_fuzz.cpp)
tarvo_fuzz_target(csv_source_fuzz ${CMAKE_CURRENT_LIST_DIR}/csv_source_fuzz.cpp)

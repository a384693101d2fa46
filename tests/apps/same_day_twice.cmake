# Runs a station (SETUP) for FOR of simulated time (a day by default) twice from the same start
# and requires the two runs to give the same bytes: the transmitter's transcript, the printed
# summary and the platform log at debug level. The virtual clock runs one thread at a time in a
# fixed order, so even the order of entries stamped with the same instant must not change.
# Called with -DTARVO=... -DSETUP=... -DWORK=... [-DFOR=...] [-DEXPECT=text the summary holds]
if(NOT FOR)
  set(FOR 24h)
endif()
foreach(run a b)
  set(dir ${WORK}/${run})
  file(REMOVE_RECURSE ${dir})
  file(MAKE_DIRECTORY ${dir})
  execute_process(
    COMMAND ${TARVO} run ${SETUP} --for ${FOR} --start "2026-03-01 00:00:00"
            --transcript ${dir}/transcript.jsonl --log ${dir}/platform.log --level debug
    WORKING_DIRECTORY ${dir}
    RESULT_VARIABLE rc
    OUTPUT_FILE ${dir}/summary.txt
    ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "run ${run} exited with ${rc}:\n${err}")
  endif()
endforeach()
foreach(name transcript.jsonl platform.log summary.txt)
  file(READ ${WORK}/a/${name} first)
  file(READ ${WORK}/b/${name} second)
  if(first STREQUAL "")
    message(FATAL_ERROR "${name} of the first run is empty: nothing to compare")
  endif()
  if(NOT first STREQUAL second)
    message(FATAL_ERROR "${name} differs between two runs of the same day "
                        "(see ${WORK}/a and ${WORK}/b)")
  endif()
endforeach()
if(EXPECT)
  file(READ ${WORK}/a/summary.txt summary)
  string(FIND "${summary}" "${EXPECT}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "the summary does not hold \"${EXPECT}\" (see ${WORK}/a/summary.txt)")
  endif()
endif()

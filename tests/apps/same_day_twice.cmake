# Runs the river-gauge station for a simulated day twice from the same start and requires the
# two runs to give the same timeline: the transmitter's transcript and the printed summary
# byte for byte, and the platform log at debug level entry for entry at the same instants.
# Threads that run at one virtual instant (the two messengers starting together) are truly
# concurrent, so only the order of log entries stamped with the same instant may differ; the
# log is compared sorted, which still catches any entry that moved in time or changed.
# Called with -DTARVO=... -DSETUP=... -DWORK=...
foreach(run a b)
  set(dir ${WORK}/${run})
  file(REMOVE_RECURSE ${dir})
  file(MAKE_DIRECTORY ${dir})
  execute_process(
    COMMAND ${TARVO} run ${SETUP} --for 24h --start "2026-03-01 00:00:00"
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
  if(name STREQUAL "platform.log")
    foreach(text first second)
      string(REPLACE ";" "\\;" ${text} "${${text}}")
      string(REPLACE "\n" ";" ${text} "${${text}}")
      list(SORT ${text})
    endforeach()
  endif()
  if(first STREQUAL "")
    message(FATAL_ERROR "${name} of the first run is empty: nothing to compare")
  endif()
  if(NOT first STREQUAL second)
    message(FATAL_ERROR "${name} differs between two runs of the same day "
                        "(see ${WORK}/a and ${WORK}/b)")
  endif()
endforeach()

# Fails when a source includes a header its folder may not use. Dependencies point one way:
# programs -> module and host -> platform declarations; inside the module, the link layer and
# the shared helpers sit below the messengers and formats, and only core/ and ui/ see the
# device object. Run as: cmake -DROOT=<tree> -P CheckDependencyRules.cmake
#
# One row a folder: FOLDER|PREFIX,PREFIX,...  Every quoted include of a source under FOLDER must
# start with one of the prefixes. The first row whose folder holds the file applies.
set(rules
  "corvane/link/|platform/,corvane/link/"
  "corvane/shared/|platform/,corvane/shared/"
  "corvane/formats/|platform/,corvane/link/,corvane/shared/,corvane/formats/"
  "corvane/selftimed/|platform/,corvane/link/,corvane/shared/,corvane/formats/,corvane/selftimed/"
  "corvane/random/|platform/,corvane/link/,corvane/shared/,corvane/formats/,corvane/selftimed/,corvane/random/"
  "corvane/core/|platform/,corvane/"
  "corvane/ui/|platform/,corvane/"
  "corvane/|platform/,corvane/"
  "platform/|platform/"
  "host/|platform/,host/"
  "sim/|platform/,host/,sim/"
)
# What each row means, for the failure message.
set(why_corvane/link/ "the link layer includes only platform/ and itself")
set(why_corvane/shared/ "the shared helpers include only platform/ and themselves")
set(why_corvane/formats/ "formats read blocks through their own interface: never core/, selftimed/ or random/")
set(why_corvane/selftimed/ "the self-timed messenger and blocks never include the device object (core/) or random/")
set(why_corvane/random/ "the random messenger and blocks never include the device object (core/)")
set(why_corvane/core/ "the module includes platform/ and its own folders only, never host/, sim/, apps/ or tests/")
set(why_corvane/ui/ "the module includes platform/ and its own folders only, never host/, sim/, apps/ or tests/")
set(why_corvane/ "the module includes platform/ and its own folders only, never host/, sim/, apps/ or tests/")
set(why_platform/ "the platform declarations include only each other")
set(why_host/ "the host implements platform/ and never includes the module, the simulator or the programs")
set(why_sim/ "the simulator shares no code with the module")

# Files whose name starts with PREFIX may not include the listed headers even where their folder
# may: the messenger threads say what they want of the transmitter in its verbs and leave the
# packets to the link. One row a prefix: PREFIX|HEADER,HEADER,...
set(forbidden
  "corvane/selftimed/self_timed_msgr|corvane/link/command_codes.h,corvane/link/packet.h"
  "corvane/random/random_msgr|corvane/link/command_codes.h,corvane/link/packet.h"
)

cmake_policy(SET CMP0057 NEW)
set(bad "")
file(GLOB_RECURSE sources RELATIVE ${ROOT}
     ${ROOT}/platform/*.h ${ROOT}/host/*.h ${ROOT}/host/*.cpp ${ROOT}/corvane/*.h
     ${ROOT}/corvane/*.cpp ${ROOT}/sim/*.h ${ROOT}/sim/*.cpp ${ROOT}/apps/*.h ${ROOT}/apps/*.cpp
     ${ROOT}/tests/*.h ${ROOT}/tests/*.cpp ${ROOT}/bench/*.cpp)
foreach(f ${sources})
  file(STRINGS ${ROOT}/${f} lines REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
  set(allowed "")
  set(folder "")
  foreach(rule ${rules})
    string(REPLACE "|" ";" parts "${rule}")
    list(GET parts 0 rule_folder)
    string(FIND "${f}" "${rule_folder}" at)
    if(at EQUAL 0)
      set(folder ${rule_folder})
      string(REPLACE "${rule_folder}|" "" allowed "${rule}")
      string(REPLACE "," ";" allowed "${allowed}")
      break()
    endif()
  endforeach()
  set(banned "")
  foreach(row ${forbidden})
    string(REPLACE "|" ";" parts "${row}")
    list(GET parts 0 row_prefix)
    string(FIND "${f}" "${row_prefix}" at)
    if(at EQUAL 0)
      list(GET parts 1 row_headers)
      string(REPLACE "," ";" row_headers "${row_headers}")
      list(APPEND banned ${row_headers})
    endif()
  endforeach()
  foreach(line ${lines})
    string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*\"([^\"]*)\".*" "\\1" inc "${line}")
    if(inc IN_LIST banned)
      string(APPEND bad "  ${f}: #include \"${inc}\": a messenger thread speaks to the transmitter in its verbs (link/transmitter.h), never in packets\n")
    endif()
    # A folder's internal/ headers are that folder's alone (its tests may look inside).
    if(inc MATCHES "^(.*/)internal/")
      set(owner ${CMAKE_MATCH_1})
      string(FIND "${f}" "${owner}" in_owner)
      string(FIND "${f}" "tests/${owner}" in_owner_tests)
      if(NOT in_owner EQUAL 0 AND NOT in_owner_tests EQUAL 0)
        string(APPEND bad "  ${f}: #include \"${inc}\": only ${owner} may use its internal/ headers\n")
      endif()
    endif()
    if(folder STREQUAL "")
      continue()
    endif()
    set(ok FALSE)
    foreach(prefix ${allowed})
      string(FIND "${inc}" "${prefix}" at)
      if(at EQUAL 0)
        set(ok TRUE)
      endif()
    endforeach()
    # Headers beside the file (same folder, no path) are the folder's own.
    if(NOT inc MATCHES "/")
      set(ok TRUE)
    endif()
    if(NOT ok)
      string(APPEND bad "  ${f}: #include \"${inc}\": ${why_${folder}}\n")
    endif()
  endforeach()
endforeach()
if(bad)
  message(FATAL_ERROR "Dependency rules broken:\n${bad}")
endif()
